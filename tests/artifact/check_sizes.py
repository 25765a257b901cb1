#!/usr/bin/env python3
"""Holds the built libraries against packaging/size-budget.json.

    check_sizes.py [--markdown]

Prints what each library weighs, section by section, and fails where one is over its budget.
--markdown prints the table of targets that README.md shows; its last column comes from the report
that ./test has ctest write beside each build.
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


def deepest_stack(budget):
    if "compiler" not in budget:
        return None
    checker = ROOT / "tests/artifact/check_stack.py"
    command = [checker, "--compiler", budget["compiler"], "--limit", str(budget["stack"])]
    command.append(f"--options={budget.get('options', '')}")
    done = subprocess.run(command, capture_output=True, text=True)
    match = re.search(r"deepest (\d+) bytes", done.stdout)
    if not match or "unlisted" in done.stdout or "unknown size" in done.stdout:
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
        "stack": deepest_stack(budget),
        "tests": test_status(preset),
    }


def main():
    budgets = json.loads((ROOT / "packaging/size-budget.json").read_text())
    budgets.pop("//")
    rows = {preset: measure(preset, budget) for preset, budget in budgets.items()}

    if "--markdown" in sys.argv[1:]:
        print("| preset | processor | file, stripped | code | constants | memory beyond the records "
              "| deepest stack | tests |")  # fmt: skip
        print("|---|---|---|---|---|---|---|---|")
        for preset, row in rows.items():
            print(f"| `{preset}` | {row['target']}, {row['order']} | {row['file']} | {row['text']} | {row['rodata']} "
                  f"| {row['memory']} | {row['stack'] or 'as `release`'} | {row['tests']} |")  # fmt: skip
        return

    over = False
    for preset, row in rows.items():
        for what in ("file", "memory", "stack"):
            if row[what] is not None and row[what] > budgets[preset][what]:
                over = True
                print(f"{preset}: {what} is {row[what]} bytes, budget {budgets[preset][what]}")
        print(f"{preset}: {row}")
    sys.exit(1 if over else 0)


if __name__ == "__main__":
    main()
