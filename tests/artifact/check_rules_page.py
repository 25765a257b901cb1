#!/usr/bin/env python3
"""Checks that every statement of docs/what-the-rules-do.md ends with the name of a packet test that exists."""

import ast
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGE = ROOT / "docs" / "what-the-rules-do.md"
NAME = re.compile(r"`(\w+)\.(test_\w+)`")


def tests():
    """module.test of every packet test."""
    found = set()
    for path in (ROOT / "tests" / "lab").glob("*_test.py"):
        for node in ast.walk(ast.parse(path.read_text())):
            if isinstance(node, ast.FunctionDef) and node.name.startswith("test_"):
                found.add((path.stem, node.name))
    return found


def main():
    page, known = PAGE.read_text(), tests()
    problems = [f"there is no test {module}.{name}" for module, name in NAME.findall(page)
                if (module, name) not in known]  # fmt: skip
    statements = [item.split("\n\n")[0].strip() for item in re.split(r"^- ", page, flags=re.M)[1:]]
    for statement in statements:
        if not NAME.fullmatch(statement.splitlines()[-1].strip()):
            problems.append(f"no test behind: {statement.splitlines()[0]}")
    for problem in problems:
        print(problem)
    print(f"{len(statements)} statements, {len(problems)} problems")
    sys.exit(1 if problems or not statements else 0)


if __name__ == "__main__":
    main()
