#!/usr/bin/env python3
"""Prints the size of every built library, section by section, and fails where one exceeds packaging/size-budget.json.

    check_sizes.py [--markdown]     --markdown prints the table of docs/porting.md instead
"""

import json
import pathlib
import re
import subprocess
import sys
import tempfile

from elf import Library, readelf

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
    }


def table(rows):
    yield "| preset | processor | file, stripped | code | constants | memory beyond the records | deepest stack |"
    yield "|---|---|---|---|---|---|---|"
    for preset, row in rows.items():
        yield (f"| `{preset}` | {row['target']}, {row['order']} | {row['file']} | {row['text']} | {row['rodata']} "
               f"| {row['memory']} | {row['stack']} |")  # fmt: skip


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

    # A library that is a byte over its budget has to be noticed.
    assert over_budget(rows, {preset: {**row, "text": row["text"] - 1} for preset, row in rows.items()})
    wrong = over_budget(rows, budgets)
    print(*(f"{preset}: {row}" for preset, row in rows.items()), *wrong, sep="\n")
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
