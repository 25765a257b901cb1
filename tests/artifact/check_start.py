#!/usr/bin/env python3
"""Checks how many instructions l3ctl takes to start and to answer. Time would depend on the machine; a
million instructions are less than a millisecond on any. A named command is the only one that the parser learns."""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
L3CTL = ROOT / "build/release/l3ctl"
MOST = {"--version": 6_000_000, "status": 1_500_000, "url-filter list": 1_500_000}


def instructions(command):
    callgrind = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]
    done = subprocess.run([ROOT / "tests/sandbox", *callgrind, L3CTL, *command.split()],
                          capture_output=True, text=True, check=False)  # fmt: skip
    found = re.search(r"refs:\s+([\d,]+)", done.stderr)
    if done.returncode != 0 or found is None:
        sys.exit(f"l3ctl {command} under valgrind ended with {done.returncode}: {done.stderr}")
    return int(found[1].replace(",", ""))


too_many = 0
for command, most in MOST.items():
    taken = instructions(command)
    print(f"l3ctl {command}: {taken} instructions, at most {most}")
    too_many += taken > most
sys.exit(1 if too_many else 0)
