#!/usr/bin/env python3
"""Holds gcovr's JSON against the list of known exceptions.

    check_coverage.py COVERAGE.json EXCEPTIONS.txt

An exception names a file, a piece of the line's text and the reason. A line that is uncovered, or has an
uncovered branch, without an exception is a failure; so is an exception that nothing needs any more.
"""

import json
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]


def read_exceptions(path):
    exceptions = []
    for number, line in enumerate(pathlib.Path(path).read_text().splitlines(), 1):
        if line and not line.startswith("#"):
            parts = line.split(": ", 2)
            if len(parts) != 3 or not parts[2].strip():
                sys.exit(f"{path}:{number}: FILE: TEXT: REASON is wanted")
            exceptions.append(tuple(parts))
    return exceptions


def main():
    report = json.loads(pathlib.Path(sys.argv[1]).read_text())
    exceptions = read_exceptions(sys.argv[2])
    used, problems = set(), []
    lines = covered_lines = branches = covered_branches = 0

    for file in report["files"]:
        source = (ROOT / file["file"]).read_text().splitlines()
        for line in file["lines"]:
            if line.get("gcovr/noncode"):
                continue
            text = source[line["line_number"] - 1].strip()
            missed = [branch for branch in line["branches"] if branch["count"] == 0]
            lines += 1
            covered_lines += line["count"] > 0
            branches += len(line["branches"])
            covered_branches += len(line["branches"]) - len(missed)
            if line["count"] > 0 and not missed:
                continue
            known = [e for e in exceptions if e[0] == file["file"] and e[1] in text]
            used.update(known)
            if not known:
                what = "line" if line["count"] == 0 else f"{len(missed)} of {len(line['branches'])} branches"
                problems.append(f"{file['file']}:{line['line_number']}: {what} not reached: {text}")

    problems += [f"no longer needed: {': '.join(e)}" for e in exceptions if e not in used]
    for problem in problems:
        print(problem)
    print(f"lines {covered_lines}/{lines}, branches {covered_branches}/{branches}, "
          f"{len(exceptions)} exceptions, {len(problems)} problems")  # fmt: skip
    sys.exit(1 if problems or lines == 0 else 0)


if __name__ == "__main__":
    main()
