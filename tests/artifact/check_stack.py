#!/usr/bin/env python3
"""The deepest stack that any exported call of a built library needs, libc not counted.

    check_stack.py [--limit 2560] [--list N] BUILD_FOLDER

Compiles the library's sources as the build folder's compile_commands.json has it, with the compiler's
own call graph and frame sizes beside, and takes the longest path from every exported function. A
function that calls itself, or a ring of functions, counts as often as RECURSION says it can be active
at once. Failures are: a ring that is not listed, a frame whose size is not known when compiling, and
a callee without a frame that is neither the platform's nor listed, a call through a pointer among them.
"""

import argparse
import concurrent.futures
import json
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

from check_library import ALIASES, LIBC, names_in_headers, names_in_version_script

# Part of a function's name -> how many of its frames can be on the stack at once, and why.
RECURSION = {
    # The split of a range; tests/unit/filters/range_split_depth_test.cpp measures it over all ranges.
    "config_acl_ip_range_24_mask": 8,
    "config_acl_ip_range_16_mask": 8,
    "5splitIL": 8,  # where a compiler does not merge it into the two above
}

# Callees without a frame in the graph that count nothing, beside libc's and the platform's functions, whose
# stack is their own affair.
UNCOUNTED = {
    "__stack_chk_fail": "ends the process",
    "__clzsi2": "libgcc, counts bits: a leaf",
    "__ctzsi2": "libgcc, counts bits: a leaf",
    "__aeabi_idiv": "libgcc, divides: a leaf",
    "__aeabi_idivmod": "libgcc, divides: a leaf",
    "__aeabi_uidiv": "libgcc, divides: a leaf",
    "__aeabi_uidivmod": "libgcc, divides: a leaf",
}


def is_outside(callee):
    name = callee.removeprefix("*")
    name = re.sub(r"^__(\w+)_chk$", r"\1", ALIASES.get(name, name))
    return name in LIBC or name in UNCOUNTED or name in names_in_headers()[2]


def compile_all(build, folder):
    commands = json.loads((pathlib.Path(build) / "compile_commands.json").read_text())
    ours = [entry for entry in commands if "/l3_advance.dir/" in entry["command"]]
    if not ours:
        sys.exit(f"{build} does not compile the library")

    def compile_one(number):
        words = shlex.split(ours[number]["command"])
        words[words.index("-o") + 1] = f"{folder}/{number}.o"
        subprocess.run([*words, "-fcallgraph-info=su"], cwd=ours[number]["directory"], check=True)

    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        list(pool.map(compile_one, range(len(ours))))


def read_graph(folder):
    frames, edges = {}, {}
    for file in pathlib.Path(folder).glob("*.ci"):
        text = file.read_text()
        # A local function's title bears its file's name; titles are unique within the library.
        for title, label in re.findall(r'node: \{ title: "([^"]+)" label: "([^"]*)"', text):
            size = re.search(r"(\d+) bytes \((\w[\w,]*)\)", label)
            if size:
                frames[title] = (int(size.group(1)), size.group(2))
        for source, target in re.findall(r'edge: \{ sourcename: "([^"]+)" targetname: "([^"]+)"', text):
            edges.setdefault(source, set()).add(target)
    return frames, edges


class Stack:
    def __init__(self, frames, edges):
        self.frames, self.edges = frames, edges
        self.problems = []
        self.deepest = {}

    def times(self, function):
        for part, times in RECURSION.items():
            if part in function:
                return times
        return None

    def depth(self, function, path=()):
        """Bytes from this function down, and the functions on the way."""
        if function in path:
            ring = path[path.index(function) :]
            if not any(self.times(member) for member in ring):
                self.problems.append("unlisted recursion: " + " -> ".join((*ring, function)))
            return 0, ()
        if function in self.deepest:
            return self.deepest[function]
        if function not in self.frames:
            if not is_outside(function):
                self.problems.append(f"{path[-1]} calls {function}, whose frame is not known")
            return 0, ()
        size, kind = self.frames[function]
        if kind.startswith("dynamic") and "bounded" not in kind:
            self.problems.append(f"{function}: frame of unknown size")
        below = max(
            (self.depth(callee, (*path, function)) for callee in self.edges.get(function, ())),
            default=(0, ()),
        )
        result = size * (self.times(function) or 1) + below[0], (function, *below[1])
        if not path or not any(self.times(member) for member in path):
            self.deepest[function] = result
        return result


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build")
    parser.add_argument("--limit", type=int, default=2560)
    parser.add_argument("--list", type=int, default=3)
    arguments = parser.parse_args()
    sys.setrecursionlimit(10000)

    with tempfile.TemporaryDirectory() as folder:
        compile_all(arguments.build, folder)
        frames, edges = read_graph(folder)
    stack = Stack(frames, edges)
    functions = [name for name in names_in_version_script() if name in frames]
    calls = sorted(((stack.depth(name), name) for name in functions), reverse=True)
    if not calls:
        sys.exit("no exported function was found in the call graph")
    for (bytes_needed, path), name in calls[: arguments.list]:
        print(f"{bytes_needed:5} {name}: {' > '.join(re.sub(r'.*:', '', part) for part in path)}")
    for problem in sorted(set(stack.problems)):
        print(f"FAILED {problem}")
    deepest = calls[0][0][0]
    print(f"{arguments.build}: {len(calls)} calls, deepest {deepest} bytes, limit {arguments.limit}")
    sys.exit(1 if deepest >= arguments.limit or stack.problems else 0)


if __name__ == "__main__":
    main()
