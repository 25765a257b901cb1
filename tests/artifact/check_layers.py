#!/usr/bin/env python3
"""Checks that every #include points to its own floor or to one below it, and a few house rules that a
reader relies on: who may call system(), who may open files, who may name a chain's commands."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]

# Folder -> folders whose files it may include; the longest match of a path decides.
MAY_USE = {
    "include/l3_advance": ["include/l3_advance"],
    "src/firewall/base": ["include/l3_advance", "src/firewall/base"],
    "src/conf_file": ["include/l3_advance", "src/firewall/base", "src/conf_file"],
    "src/firewall/filters": ["include/l3_advance", "src/firewall/base", "src/firewall/filters/range_split.hpp"],
    "src/route_qos": ["include/l3_advance", "src/firewall/base"],
    "src/vpn_pass_through": ["include/l3_advance", "src/firewall/base"],
    "src/firewall/control": ["include/l3_advance", "src/firewall/base"],
    "platform/linux": ["include/l3_advance/platform.h", "platform/linux"],
    "settings": ["include/l3_advance", "settings"],
    "executor": ["executor"],
    "l3ctl": ["include/l3_advance", "settings", "executor", "platform/linux", "l3ctl"],
}
HEADERS_ALLOWED = {"stdint.h", "stddef.h"}
# Only these may use the call; what each does is said in its comment.
ONLY_IN = {
    r"(?<![\w:.>\"])system\(": {"src/firewall/base/command.cpp", "src/conf_file/migration.cpp"},
    r"(?<![\w:.>])open\(": {"src/conf_file/transfer.cpp", "src/conf_file/configuration_file.cpp",
                            "src/conf_file/record_file.cpp"},
    r"-t filter -F ": {"src/firewall/base/chains.hpp"},
}  # fmt: skip


def resolve(source, name):
    """The file of ours that an include means, or None for a system header."""
    for base in (ROOT / "src", ROOT / "include", ROOT, source.parent):
        if (base / name).is_file():
            return (base / name).relative_to(ROOT).as_posix()
    return None


def floor_of(path):
    matches = [folder for folder in MAY_USE if path.startswith(folder + "/")]
    return max(matches, key=len) if matches else None


def check_file(path, problems):
    relative = path.relative_to(ROOT).as_posix()
    floor = floor_of(relative)
    if floor is None:
        problems.append(f"{relative}: no floor of the house is named for this folder")
        return
    text = path.read_text()
    for kind, name in re.findall(r'^#include ([<"])([^>"]+)[>"]', text, flags=re.M):
        target = resolve(path, name) if kind == '"' else None
        if kind == '"' and target is None:
            problems.append(f"{relative}: includes {name}, which is nowhere")
        elif target and not any(target == allowed or target.startswith(allowed + "/")
                                for allowed in MAY_USE[floor]):
            problems.append(f"{relative}: includes {target}, which {floor} may not use")
        elif kind == "<" and floor == "include/l3_advance" and name not in HEADERS_ALLOWED:
            problems.append(f"{relative}: a public header includes <{name}>")
    if relative.startswith("src/"):
        code = re.sub(r"/\*.*?\*/", "", re.sub(r"//.*", "", text), flags=re.S)
        for pattern, allowed in ONLY_IN.items():
            if relative not in allowed and re.search(pattern, code):
                problems.append(f"{relative}: matches {pattern!r}, which only {sorted(allowed)} may")


def main():
    problems, seen = [], 0
    for folder in ("include", "src", "platform", "settings", "executor", "l3ctl"):
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".h", ".hpp", ".cpp"):
                seen += 1
                check_file(path, problems)
    for problem in problems:
        print(problem)
    print(f"{seen} files, {len(problems)} problems")
    sys.exit(1 if problems or seen == 0 else 0)


if __name__ == "__main__":
    main()
