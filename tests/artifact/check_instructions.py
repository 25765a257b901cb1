#!/usr/bin/env python3
"""Checks the targets that are instruction counts, under callgrind: the same on every run, however busy the machine.

An unchanged set runs no command, touches no file and stays under 2,000 instructions; each rule of a filter has a
limit beside its command; l3ctl starts within its limit. What the library itself executes is the same whether the
platform writes the log or not, since that is the platform's decision.
"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bench"))
sys.dont_write_bytecode = True

from l3bench import instructions  # noqa: E402
from l3bench.targets import RULE, RULE6, UNCHANGED  # noqa: E402

# A million instructions take less than a millisecond on any processor that l3ctl is for.
L3CTL = {"--version": 1_100_000, "status": 1_450_000, "url-filter list": 1_450_000}


def missed_by_the_library(calls):
    for name, call in calls.items():
        if name.endswith(" unchanged"):
            work = call["commands"] + call["file calls"]
            if work or call["process"] >= UNCHANGED:
                yield f"{name}: {call['process']} instructions, {work} commands and file calls"
        if call["library"] != call["library, log on"]:
            yield f"{name}: {call['library']} instructions, {call['library, log on']} with the log on"
    costs = instructions.per_rule(calls)
    for kind, cost in costs.items():
        if cost > (RULE6 if kind == "ip6_filter" else RULE):
            yield f"{kind}: {cost} instructions a rule"
    if len(costs) < 8 or not any(name.endswith(" unchanged") for name in calls):
        yield f"too few calls were measured: {sorted(calls)}"


def missed_by_l3ctl():
    for words, most in L3CTL.items():
        command = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", ROOT / "build/release/l3ctl"]
        done = subprocess.run([ROOT / "tests/sandbox", *command, *words.split()],
                              capture_output=True, text=True, check=False)  # fmt: skip
        found = re.search(r"refs:\s+([\d,]+)", done.stderr)
        if done.returncode != 0 or found is None:
            sys.exit(f"l3ctl {words} under callgrind ended with {done.returncode}: {done.stderr}")
        taken = int(found[1].replace(",", ""))
        print(f"l3ctl {words}: {taken} instructions, at most {most}")
        if taken > most:
            yield f"l3ctl {words}: {taken} instructions, at most {most}"


def main():
    calls = instructions.of_the_calls()
    missed = [*missed_by_the_library(calls), *missed_by_l3ctl()]
    print(*missed, f"{len(calls)} calls, {len(missed)} targets missed", sep="\n")
    sys.exit(1 if missed else 0)


if __name__ == "__main__":
    main()
