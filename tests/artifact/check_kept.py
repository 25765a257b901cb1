#!/usr/bin/env python3
"""Holds docs/kept-behaviour.md and the `Kept:` marks of the library's sources together: every file with
marks has a section of its name, with one entry for each mark."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]


def main():
    page = (ROOT / "docs/kept-behaviour.md").read_text()
    listed = {}
    for section in re.split(r"^## ", page, flags=re.M)[1:]:
        name, _, body = section.partition("\n")
        listed[name.strip()] = len(re.findall(r"^- ", body, flags=re.M))
    marked = {}
    for path in sorted((ROOT / "src").rglob("*")):
        if path.suffix in (".cpp", ".hpp") and (marks := path.read_text().count("Kept:")):
            marked[path.relative_to(ROOT).as_posix()] = marks
    wrong = sorted(name for name in listed.keys() | marked.keys() if listed.get(name) != marked.get(name))
    for name in wrong:
        print(f"{name}: {marked.get(name, 0)} marks, {listed.get(name, 0)} entries")
    print(f"{sum(marked.values())} marks in {len(marked)} files")
    sys.exit(1 if wrong or not marked else 0)


if __name__ == "__main__":
    main()
