"""What bench/run does inside the gateway of the lab, on one backend: times everything, writes a JSON file.

    python3 -m l3bench.inside OUTPUT [PATTERN]
"""

import itertools
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

from l3bench import lines, memory, others, timing, update_gap, whole_settings
from l3bench.instructions import BUILD
from l3lab import rules

WORK = pathlib.Path("/tmp/bench")
# Not more: without privileges outside the sandbox, one message of the nft tools carries under a thousand rules.
FOREIGN = (0, 100, 250, 500)
ROUNDS, SECONDS = 31, 2.5
SLOW_ROUNDS = 3
# Ranges are in the instruction counts; their commands are like those of the others.
LEFT_OUT = ("unchanged", "acl_ranges")
ONE_MORE = "ip_filter add one to 50"


def state_after(folder, steps):
    """Both tables after one run of a competitor, as iptables-save prints them."""
    timing.time_competitors(folder, {"one": steps}, 1, 0)
    return {family: rules.saved(family) for family in (4, 6)}


def other_rules(state, expected):
    """The first rule that stands elsewhere than in the baseline's tables, or none. The order of the chains says
    nothing, that of the rules in each does."""
    for family in (4, 6):
        pairs = itertools.zip_longest(*(sorted(one[family].splitlines(), key=_chain) for one in (state, expected)))
        for here, there in pairs:
            if here != there:
                return f"leaves '{here}', not '{there}'"
    return None


def _chain(line):
    words = line.split()
    return words[:2] if line.startswith("-A") else words[:1]


def competitors_of(folder, case, backend):
    """({name: steps}, {name: why it is not there}). What leaves other rules than the baseline is no competitor."""
    made, absent = {"baseline": [["baseline"]]}, {}
    expected = state_after(folder, made["baseline"])
    for family in (4, 6):
        (folder / f"after{family}").write_text(expected[family])
    if case:
        made["library"] = [["call", case]]
        made["transaction"] = [["run", BUILD / "bench_transaction", case]]
        made["refill"] = [["run", BUILD / "bench_transaction", case, "refill"]]
    made["shell script"] = [["run", "sh", lines.write_script(folder)]]
    made["restore"] = [["run", *command] for command, _ in lines.write_restore(folder)]
    made["ferm"] = [others.ferm(folder)]
    for name in list(made)[1:]:
        try:
            if why := other_rules(state_after(folder, made[name]), expected):
                absent[name] = why
        except timing.Failed as failed:
            absent[name] = str(failed)
    add_nft(folder, backend, made, absent)
    return {name: steps for name, steps in made.items() if name not in absent}, absent


def add_nft(folder, backend, made, absent):
    """On the legacy backend nft's own tables stand beside the others, and get ready before the clock starts."""
    path, why = lines.write_nft(folder)
    if why:
        absent["nft"] = why
        return
    made["nft"] = [["run", "nft", "-f", path]]
    if backend == "legacy":
        made["nft"].insert(0, ["first", "nft", "-f", folder / "before.nft"])
    try:
        # What nft itself makes, iptables-save cannot always read.
        timing.time_competitors(folder, {"nft": made["nft"]}, 2, 0)
    except timing.Failed as failed:
        absent["nft"] = str(failed)


def measure_case(case, backend, fullest):
    folder = WORK / re.sub(r"\W", "_", case)
    timing.stopwatch("prepare", case, folder)
    made, absent = competitors_of(folder, case, backend)
    peaks = memory.of_competitors(folder, made) if fullest else {}
    slow = {name: made.pop(name) for name in ("ferm",) if name in made}
    samples = timing.time_competitors(folder, made, ROUNDS, SECONDS)
    found = timing.summary(samples)
    if slow:
        found |= timing.summary(timing.time_competitors(folder, slow | {"baseline": made["baseline"]}, 5, 0))
    return {
        "competitors": found | timing.summary(samples),
        "pairs": timing.pair_ratios(samples, "library"),
        "beside refill": timing.pair_ratios(samples, "transaction", "refill") if "refill" in samples else [],
        "absent": absent,
        "memory": peaks,
        "commands": len(lines.read(folder)),
    }


def measure_managers(backend, cases):
    """{manager: {case: summary or why not}}: the IP filter alone, which all of them can express."""
    found = {}
    for kind in others.MANAGERS:
        found[kind.name] = {}
        try:
            manager = kind(backend)
        except RuntimeError as failed:
            found[kind.name] = {case: str(failed) for case in cases}
            continue
        for case in cases:
            found[kind.name][case] = measure_manager(manager, case)
        manager.close()
    return found


def measure_manager(manager, case):
    folder = WORK / re.sub(r"\W", "_", case)
    wanted = others.ip_rules(folder)
    try:
        steps = {manager.name: [manager.say(wanted)], "baseline": [["baseline"]]}
        state = state_after(folder, steps[manager.name])
        if missing := [rule.source for rule in wanted if not _in_kernel(rule, state[4])]:
            return f"{len(missing)} rules are not in the kernel"
        summary = timing.summary(timing.time_competitors(folder, steps, SLOW_ROUNDS, 0))[manager.name]
        return summary | {"memory": memory.of_competitor(folder, steps[manager.name]), **manager.daemon_memory()}
    except (timing.Failed, RuntimeError) as failed:
        return str(failed)


def _in_kernel(rule, saved):
    if f"-s {rule.source}/32" in saved:
        return True
    listing = subprocess.run(["nft", "list", "ruleset"], capture_output=True, text=True).stdout
    return f"ip saddr {rule.source} " in listing


def measure_foreign(case):
    """{number of foreign rules: summary}: the same call where others have rules in the table too."""
    folder = WORK / re.sub(r"\W", "_", case)
    before = (folder / "before4").read_text()
    found = {}
    for number in FOREIGN:
        foreign = "".join(f"-A FORWARD -s 10.{i // 250}.{i % 250}.1/32 -j ACCEPT\n" for i in range(number))
        (folder / "before4").write_text(before.replace("COMMIT", foreign + "COMMIT"))
        competitors = {"baseline": [["baseline"]], "library": [["call", case]]}
        competitors["restore"] = [["run", *command] for command, _ in lines.write_restore(folder)]
        found[number] = timing.summary(timing.time_competitors(folder, competitors, 11, 2))
    (folder / "before4").write_text(before)
    return found


def measure_parts(case):
    """What one command is made of: {part: summary}, each holding what the part before it does, and more."""
    folder = WORK / "parts"
    shutil.copytree(WORK / re.sub(r"\W", "_", case), folder)
    rule = next(line for line in lines.read(folder) if " -A " in line)
    (folder / "lines").write_text(rule + "\0")
    parts = {
        "a process": [["run", "true"]],
        "a shell": [["run", "sh", "-c", ":"]],
        "iptables, loaded": [["run", "iptables", "--version"]],
        "iptables, one rule": [["run", *rule.split()]],
        "baseline": [["baseline"]],
    }
    return timing.summary(timing.time_competitors(folder, parts, 2 * ROUNDS, SECONDS))


def main():
    output, pattern = sys.argv[1], (sys.argv[2:] or [""])[0]
    backend = os.environ["L3LAB_BACKEND"]
    WORK.mkdir()
    others.lay_over(backend)
    others.choose_backend(backend)
    cases = [name for name in timing.stopwatch("cases").splitlines()
              if not any(part in name for part in LEFT_OUT) and re.search(pattern, name)]  # fmt: skip
    fullest = {case.rpartition(" ")[0]: case for case in cases}.values()
    result = {"cases": {}, "loading memory": memory.of_loading()}
    for case in cases:
        print(f"{backend}: {case}", file=sys.stderr, flush=True)
        result["cases"][case] = measure_case(case, backend, fullest=case in fullest)
    print(f"{backend}: l3ctl", file=sys.stderr, flush=True)
    if not pattern or "l3ctl" in pattern:
        result["whole settings"] = whole_settings.measure(WORK, ROUNDS)
        result["update gap"] = update_gap.measure()
    filters = [case for case in cases if case.startswith("ip_filter ")]
    if filters:
        print(f"{backend}: foreign rules, and other managers", file=sys.stderr, flush=True)
        result["parts"] = measure_parts(filters[-1])
        result["foreign"] = measure_foreign(filters[min(1, len(filters) - 1)])
        # These load a whole rule set whatever changes, so one of the changes of one entry stands for all.
        result["managers"] = measure_managers(backend, [case for case in filters if " one " not in case or case == ONE_MORE])
    pathlib.Path(output).write_text(json.dumps(result, indent=1))


if __name__ == "__main__":
    main()
