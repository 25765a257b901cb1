#!/usr/bin/env python3
"""Holds the built libraries against packaging/size-budget.json, and README.md's table against them.

    check_sizes.py [--markdown]

Prints what each library weighs, section by section, and fails where one is over its budget, or where
the table in README.md says another size. --markdown prints that table; its last column comes from the
report that ./test has ctest write beside each build.
"""

import json
import pathlib
import re
import subprocess
import sys
import tempfile

from elf import Library, readelf
from results import cases

ROOT = pathlib.Path(__file__).resolve().parents[2]
TABLES = 6168 + 8572 + 248 + 45104 + 4
STRIP = {"mips": "mips-linux-gnu-strip", "mips16": "mips-linux-gnu-strip", "arm": "arm-linux-gnueabihf-strip"}


def stripped_size(preset, path):
    with tempfile.NamedTemporaryFile() as out:
        subprocess.run([STRIP.get(preset, "strip"), "-o", out.name, str(path)], check=True)
        return pathlib.Path(out.name).stat().st_size


def deepest_stack(preset, limit):
    checker = ROOT / "tests/artifact/check_stack.py"
    done = subprocess.run([checker, "--limit", str(limit), ROOT / f"build/{preset}"], capture_output=True, text=True)
    match = re.search(r"deepest (\d+) bytes", done.stdout)
    if not match or "FAILED" in done.stdout:
        sys.exit(done.stdout + done.stderr)
    return int(match.group(1))


def test_status(preset):
    """What the last whole run of the preset's tests said about the library that lies there."""
    report = ROOT / f"build/{preset}/tests.xml"
    library = ROOT / f"build/{preset}/libl3_advance.so"
    if not report.exists():
        return "not run"
    if report.stat().st_mtime < library.stat().st_mtime:
        return "not run since it was built"
    passed, failed = cases(report)
    return f"{passed} passed, {failed} failed"


def measure(preset, budget):
    path = ROOT / f"build/{preset}/libl3_advance.so"
    if not path.exists():
        sys.exit(f"{path.relative_to(ROOT)} is not built: cmake --preset {preset} && "
                 f"cmake --build --preset {preset} --target l3_advance")  # fmt: skip
    library = Library(str(path))
    header = readelf("-h", str(path))
    size = library.section_size
    return {
        "target": re.search(r"Machine:\s+(.*)", header).group(1),
        "order": "big-endian" if "big endian" in header else "little-endian",
        "file": stripped_size(preset, path),
        "text": size(".text"),
        "rodata": size(".rodata") + size(".data.rel.ro"),
        "memory": size(".data") + size(".sdata") + size(".bss") + size(".sbss") - TABLES,
        "stack": deepest_stack(preset, budget["stack"]),
        "tests": test_status(preset),
    }


def table(rows):
    yield ("| preset | processor | file, stripped | code | constants | memory beyond the records "
           "| deepest stack | tests |")  # fmt: skip
    yield "|---|---|---|---|---|---|---|---|"
    for preset, row in rows.items():
        yield (f"| `{preset}` | {row['target']}, {row['order']} | {row['file']} | {row['text']} | {row['rodata']} "
               f"| {row['memory']} | {row['stack']} | {row['tests']} |")  # fmt: skip


def without_tests(lines):
    """The rows of the table, whose last column is another matter, in whatever alignment."""
    return [[cell.strip() for cell in line.split("|")[1:-2]] for line in lines if line.startswith("| `")]


def stale_rows(page, rows):
    """The rows that the page should have and has not, in words."""
    section = page.partition("\n## Targets\n")[2].partition("\n## ")[0]
    shown, measured = without_tests(section.splitlines()), without_tests(table(rows))
    if shown == measured:
        return []
    return [f"README.md says {row}, measured are {measured}" for row in shown if row not in measured] or [
        f"README.md has {len(shown)} targets, measured are {len(measured)}"
    ]


def over_budget(rows, budgets):
    return [
        f"{preset}: {what} is {row[what]} bytes, budget {budgets[preset][what]}"
        for preset, row in rows.items()
        for what in ("file", "text", "rodata", "memory", "stack")
        if row[what] > budgets[preset][what]
    ]


def main():
    budgets = json.loads((ROOT / "packaging/size-budget.json").read_text())
    budgets.pop("//")
    rows = {preset: measure(preset, budget) for preset, budget in budgets.items()}

    if "--markdown" in sys.argv[1:]:
        print("\n".join(table(rows)))
        return

    page = (ROOT / "README.md").read_text()
    # A table that is a byte off, and a budget that is, have to be seen first.
    first = next(iter(rows.values()))
    assert stale_rows(page.replace(f" {first['text']} ", f" {first['text'] + 1} "), rows)
    assert over_budget(rows, {preset: {**row, "text": row["text"] - 1} for preset, row in rows.items()})

    for preset, row in rows.items():
        print(f"{preset}: {row}")
    wrong = over_budget(rows, budgets) + stale_rows(page, rows)
    print("\n".join(wrong))
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
