#!/usr/bin/env python3
"""Checks the layers that docs/architecture.md draws.

    check_layers.py [TREE]

Every #include points to a directory that its own may use, and no file includes itself through others, a header and its
source taken as one. No message below the front end names one of its commands. The library's sources can all include every public header, so their object files are checked too,
as the preset "release" has built them: which directory takes names from which, and who calls system() and opens files.
"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else __file__ + "/../../..").resolve()
OBJECTS = ROOT / "build/release/src/CMakeFiles/l3_advance.dir"

# Directory -> directories, or files, that it may include from beside itself; the longest match of a path decides.
INTERFACE = "include/l3_advance"
MANAGEMENT = ["system", "devices", "store", "rules", "change", "health"]  # each uses those before it
INCLUDES = {
    INTERFACE: [],
    "src/firewall/base": [INTERFACE],
    "src/conf_file": [INTERFACE, "src/firewall/base"],
    "src/firewall/filters": [INTERFACE, "src/firewall/base"],
    "src/route_qos": [INTERFACE, "src/firewall/base"],
    "src/vpn_pass_through": [INTERFACE, "src/firewall/base"],
    "src/firewall/control": [INTERFACE, "src/firewall/base"],
    "platform/linux": [INTERFACE + "/platform.h"],
    "executor": [],
    "settings": [INTERFACE],
    "settings/stored_file": [INTERFACE, "settings"],
    "settings/simulation": [INTERFACE, "settings"],
    "management": [INTERFACE, "settings", "executor", "platform/linux"],
    "console/broker": [],  # console code only runs l3ctl
    "console/server": ["console/broker/operations.hpp", "console/broker/protocol.hpp"],
    "l3ctl": [INTERFACE, "settings", "executor", "platform/linux", "management"],
}
for number, part in enumerate(MANAGEMENT):
    below = [f"management/{lower}" for lower in MANAGEMENT[:number]]
    INCLUDES[f"management/{part}"] = [*INCLUDES["management"], "management/error.hpp", "management/options.hpp",
                                      "management/remedy.hpp", *below]
# The library's own commands name the chains and jumps that are the gateway's.
INCLUDES["management/rules"].append("src/firewall/base/chain_tree.hpp")
# The transactions of other programs take what needs no JSON, and print nothing.
INCLUDES["transaction"] = [INTERFACE, "executor", "management/error.hpp", "management/system", "management/store"]
for part in ("views", "input"):
    INCLUDES[f"l3ctl/{part}"] = [*INCLUDES["l3ctl"], "l3ctl/context.hpp", "l3ctl/answer.hpp", "l3ctl/usage_error.hpp"]
# main hands these words to the management layer.
INCLUDES["l3ctl"].append("l3ctl/views/remedy_words.hpp")
INCLUDES["l3ctl/commands"] = [*INCLUDES["l3ctl"], "l3ctl"]
# Directory of the library -> directories whose names its object files may take.
TAKES = {
    "firewall/base": [],
    "conf_file": ["firewall/base"],
    "firewall/filters": ["firewall/base", "conf_file"],
    "route_qos": ["firewall/base", "conf_file"],
    "vpn_pass_through": ["firewall/base", "conf_file"],
    "firewall/control": ["firewall/base", "conf_file", "firewall/filters", "route_qos", "vpn_pass_through"],
}
# Two files of one of these may only take names from each other as this says.
FILTERS = {"access_list": {"range_split"}}
# libc's call -> the files, or directories, that may call it; no other file of the library may.
CALLS = {
    "system": ("firewall/base/command", "conf_file/migration"),  # the migration renames one file by it
    "(open|creat|openat|fopen)(64)?": ("conf_file/",),
    r"popen|exec\w+|posix_spawnp?|v?fork|rename|unlink|remove": (),
}
# Only here may a chain's flush be written out.
CHAINS = ("-t filter -F ", "src/firewall/base/chains.hpp")
TOPS = ("include", "src", "platform", "settings", "executor", "management", "transaction", "l3ctl", "console")
PUBLIC_MAY_USE = {"stdint.h", "stddef.h"}
# How commands are called is only known above these.
WITHOUT_COMMANDS = ("management/", "settings/", "executor/")


def resolve(source, name):
    """The file of the tree that an include means, or None."""
    for base in (source.parent, ROOT / "src", ROOT / "include", ROOT):
        if (base / name).is_file():
            return (base / name).resolve().relative_to(ROOT).as_posix()
    return None


def directory_of(path):
    return max((known for known in INCLUDES if path.startswith(known + "/")), key=len, default=None)


def check_includes(path, units):
    """Yields what is wrong with a file's includes, and notes which unit uses which."""
    name = path.relative_to(ROOT).as_posix()
    own = directory_of(name)
    if own is None:
        yield f"{name}: nothing is said about this directory"
        return
    text = path.read_text()
    uses = units.setdefault(name.rpartition(".")[0], set())
    for kind, included in re.findall(r'^#include ([<"])([^>"]+)[>"]', text, flags=re.M):
        target = resolve(path, included) if kind == '"' else None
        if target is None:
            if kind == '"':
                yield f"{name}: there is no {included}"
            elif own == INTERFACE and included not in PUBLIC_MAY_USE:
                yield f"{name}: a public header includes <{included}>"
            continue
        uses |= {target.rpartition(".")[0]} - {name.rpartition(".")[0]}
        if directory_of(target) != own and not any((target + "/").startswith(one + "/") for one in INCLUDES[own]):
            yield f"{name}: includes {target}, which {own} may not use"
        elif own.startswith("src/") and target.startswith("src/firewall/filters/"):
            if pathlib.Path(target).stem not in {path.stem, *FILTERS.get(path.stem, ())}:
                yield f"{name}: includes {target}, another filter"
    if name.startswith(WITHOUT_COMMANDS):
        for literal in re.findall(r'"(?:[^"\\\n]|\\.)*"', re.sub(r"/\*.*?\*/|//[^\n]*", "", text, flags=re.S)):
            if "l3ctl " in literal:
                yield f"{name}: {literal} names a command of the front end"
    if own.startswith("src/") and CHAINS[0] in re.sub(r"//.*|/\*.*?\*/", "", text) and name != CHAINS[1]:
        yield f"{name}: writes {CHAINS[0]!r}, which only {CHAINS[1]} may"


def cycles(units):
    """Each group of units that include each other."""
    reached = {}
    for unit in units:
        seen, waiting = set(), [unit]
        while waiting:
            new = units.get(waiting.pop(), set()) - seen
            seen |= new
            waiting += new
        reached[unit] = seen
    return {tuple(sorted(other for other in seen if unit in reached[other]))
            for unit, seen in reached.items() if unit in seen}  # fmt: skip


def names_of(path):
    """The strong names that an object file defines, and those that it takes."""
    defined, taken = set(), set()
    for line in subprocess.run(["nm", "-P", path], capture_output=True, text=True, check=True).stdout.splitlines():
        name, kind = line.split()[:2]
        if kind == "U":
            taken.add(name)
        elif kind in "TDBRVC":
            defined.add(name)
    return defined, taken


def check_objects(objects):
    """objects: {directory/file of the library: (defined names, taken names)}"""
    place = {name: unit for unit, (defined, _) in objects.items() for name in defined}
    for unit, (_, taken) in objects.items():
        own, _, file = unit.rpartition("/")
        if own not in TAKES:
            yield f"src/{unit}: nothing is said about this directory"
            continue
        for name in sorted(taken):
            target, _, other = place.get(name, "").rpartition("/")
            if target == own:
                if own == "firewall/filters" and other not in {file, *FILTERS.get(file, ())}:
                    yield f"src/{unit}: takes {name} from another filter, {other}"
            elif target and target not in TAKES[own]:
                yield f"src/{unit}: takes {name} from src/{target}, which src/{own} may not"
            for calls, allowed in CALLS.items():
                if re.fullmatch(calls, name) and not unit.startswith(allowed):
                    yield f"src/{unit}: calls {name}(), which only {allowed or 'nobody'} may"


def main():
    problems, units, count = [], {}, 0
    for path in sorted(path for top in TOPS for path in (ROOT / top).rglob("*")):
        if path.suffix in (".h", ".hpp", ".cpp"):
            count += 1
            problems += check_includes(path, units)
    problems += (f"include cycle: {', '.join(cycle)}" for cycle in sorted(cycles(units)))
    objects = {path.relative_to(OBJECTS).as_posix().removesuffix(".cpp.o"): names_of(path)
               for path in sorted(OBJECTS.rglob("*.o"))}  # fmt: skip
    sources = {path.relative_to(ROOT / "src").as_posix().removesuffix(".cpp") for path in (ROOT / "src").rglob("*.cpp")}
    if sources != objects.keys():
        problems.append(f"object files of other sources than the tree's: {sorted(sources ^ objects.keys())}")
    problems += check_objects(objects)
    print(*problems, f"{count} files, {len(objects)} object files, {len(problems)} problems", sep="\n")
    sys.exit(1 if problems or not count or not objects else 0)


if __name__ == "__main__":
    main()
