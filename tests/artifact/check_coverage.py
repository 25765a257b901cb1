#!/usr/bin/env python3
"""Fails where gcovr's JSON report has a line or a branch that was not reached: check_coverage.py COVERAGE.json

A line that nothing can reach is marked in the source with LCOV_EXCL_LINE, a branch with LCOV_EXCL_BR_LINE, and the
reason.
"""

import json
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
total, missed = 0, []
for file in json.loads(pathlib.Path(sys.argv[1]).read_text())["files"]:
    source = (ROOT / file["file"]).read_text().splitlines()
    for line in file["lines"]:
        if line.get("gcovr/noncode") or line.get("gcovr/excluded"):
            continue
        total += 1 + len(line["branches"])
        branches = sum(branch["count"] == 0 for branch in line["branches"])
        if line["count"] == 0 or branches:
            what = "line" if line["count"] == 0 else f"{branches} of {len(line['branches'])} branches"
            number = line["line_number"]
            missed.append(f"{file['file']}:{number}: {what} not reached: {source[number - 1].strip()}")
print(*missed, f"{total} lines and branches, {len(missed)} lines with a part that is not reached", sep="\n")
sys.exit(1 if missed or total == 0 else 0)
