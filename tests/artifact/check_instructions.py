#!/usr/bin/env python3
"""Holds the library's instruction counts against bench/instructions.json.

    check_instructions.py [--update]

Runs a fixed set of calls under callgrind and fails where one executes over 5 % more instructions than the
table says, runs another number of commands or makes another number of file calls, and where a target is
missed: an unchanged set, and what a rule costs beside its command. What the library itself executes has to be the
same whether the log is on or off: that is for the platform to decide. --update writes the table anew.
"""

import json
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bench"))

from l3bench import instructions, loading  # noqa: E402
from l3bench.targets import RULE, RULE6, UNCHANGED  # noqa: E402

TABLE = ROOT / "bench/instructions.json"
GROWTH = 1.05
COUNTS = ("library", "library, log on", "process", "process, log on")
EXACT = ("commands", "file calls")


def measure():
    return {"loading": loading.totals(loading.measure())["library"], "calls": instructions.of_the_calls()}


def grown(name, now, before):
    """What is worse than in the table, in words."""
    found = []
    for what in COUNTS:
        if now[what] > before[what] * GROWTH:
            found.append(f"{name}: {what}: {now[what]} instructions, the table says {before[what]}")
    if now["library"] != now["library, log on"]:
        found.append(f"{name}: library: {now['library']} instructions, {now['library, log on']} with the log on")
    for what in EXACT:
        if now[what] != before[what]:
            found.append(f"{name}: {now[what]} {what}, the table says {before[what]}")
    return found


def missed(calls):
    """The targets that are missed, in words."""
    found = []
    for name, call in calls.items():
        if name.endswith(" unchanged"):
            work = call["commands"] + call["file calls"]
            if work or call["process"] >= UNCHANGED:
                found.append(f"{name}: {call['process']} instructions and {work} commands and file calls")
    costs = instructions.per_rule(calls)
    for kind, cost in costs.items():
        if cost > (RULE6 if kind == "ip6_filter" else RULE):
            found.append(f"{kind}: {cost} instructions a rule")
    if len(costs) < 8 or not any(name.endswith(" unchanged") for name in calls):
        found.append(f"too few calls were measured: {sorted(calls)}")
    return found


def main():
    now = measure()
    if sys.argv[1:] == ["--update"]:
        TABLE.write_text(json.dumps(now, indent=1) + "\n")
        return
    before = json.loads(TABLE.read_text())
    wrong = missed(now["calls"])
    if now["loading"] > before["loading"] * GROWTH:
        wrong.append(f"loading: {now['loading']} instructions, the table says {before['loading']}")
    if now["calls"].keys() != before["calls"].keys():
        wrong.append(f"other calls than in the table: {sorted(now['calls'].keys() ^ before['calls'].keys())}")
    for name in now["calls"].keys() & before["calls"].keys():
        wrong += grown(name, now["calls"][name], before["calls"][name])
    print("\n".join(sorted(wrong)) or f"{len(now['calls'])} calls as in the table")
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
