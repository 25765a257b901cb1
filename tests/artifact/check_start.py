#!/usr/bin/env python3
"""Checks how many instructions l3ctl takes to start and to answer. Time would depend on the machine; eight
million instructions are a few milliseconds on any."""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
L3CTL = ROOT / "build/release/l3ctl"
MOST = {"--version": 8_000_000, "status": 8_000_000}


def instructions(argument):
    done = subprocess.run(
        [ROOT / "tests/sandbox", "valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", L3CTL, argument],
        capture_output=True, text=True, check=False)  # fmt: skip
    found = re.search(r"refs:\s+([\d,]+)", done.stderr)
    if done.returncode != 0 or found is None:
        sys.exit(f"l3ctl {argument} under valgrind ended with {done.returncode}: {done.stderr}")
    return int(found[1].replace(",", ""))


too_many = 0
for command, most in MOST.items():
    taken = instructions(command)
    print(f"l3ctl {command}: {taken} instructions, at most {most}")
    too_many += taken > most
sys.exit(1 if too_many else 0)
