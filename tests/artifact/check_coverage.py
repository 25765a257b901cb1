#!/usr/bin/env python3
"""Holds gcovr's JSON against the list of known exceptions.

    check_coverage.py COVERAGE.json EXCEPTIONS.txt

An exception is two lines of a file, one below the other, and the reason why the second is not reached, or not
into every branch. It stands for one place: the file must have the two lines once. A line that is uncovered, or
has an uncovered branch, without an exception is a failure; so is an exception that nothing needs any more.
"""

import json
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]


def lines_of(file):
    return [line.strip() for line in (ROOT / file).read_text().splitlines()]


def places_of(before, text, source):
    """The numbers of lines with this text whose nearest line before, blank ones left out, is `before`."""
    numbered = [(number, line) for number, line in enumerate(source, 1) if line]
    return [number for (_, above), (number, line) in zip(numbered, numbered[1:]) if (above, line) == (before, text)]


def read_exceptions(path):
    """The reason by file and line number, and what is wrong with the list itself."""
    places, problems = {}, []
    for paragraph in pathlib.Path(path).read_text().split("\n\n"):
        entry = [line.strip() for line in paragraph.splitlines() if line and not line.startswith("#")]
        if not entry:
            continue
        if len(entry) != 4 or not entry[3].startswith("= ") or not (ROOT / entry[0]).is_file():
            sys.exit(f"{path}: a file, two lines of it and '= REASON' are wanted, not: {' | '.join(entry)}")
        file, before, text, reason = entry
        found = places_of(before, text, lines_of(file))
        if len(found) != 1:
            problems.append(f"{file} has {len(found)} times: {before} | {text}")
        elif (file, found[0]) in places:
            problems.append(f"{file}:{found[0]}: excepted twice")
        else:
            places[file, found[0]] = reason
    return places, problems


def main():
    report = json.loads(pathlib.Path(sys.argv[1]).read_text())
    exceptions, problems = read_exceptions(sys.argv[2])
    used = set()
    lines = covered_lines = branches = covered_branches = 0

    for file in report["files"]:
        source = lines_of(file["file"])
        for line in file["lines"]:
            if line.get("gcovr/noncode"):
                continue
            missed = [branch for branch in line["branches"] if branch["count"] == 0]
            lines += 1
            covered_lines += line["count"] > 0
            branches += len(line["branches"])
            covered_branches += len(line["branches"]) - len(missed)
            if line["count"] > 0 and not missed:
                continue
            place = file["file"], line["line_number"]
            used.add(place)
            if place not in exceptions:
                what = "line" if line["count"] == 0 else f"{len(missed)} of {len(line['branches'])} branches"
                problems.append(f"{place[0]}:{place[1]}: {what} not reached: {source[place[1] - 1]}")

    problems += [f"no longer needed: {file}:{number}" for file, number in exceptions if (file, number) not in used]
    for problem in problems:
        print(problem)
    print(f"lines {covered_lines}/{lines}, branches {covered_branches}/{branches}, "
          f"{len(exceptions)} exceptions, {len(problems)} problems")  # fmt: skip
    sys.exit(1 if problems or lines == 0 else 0)


if __name__ == "__main__":
    main()
