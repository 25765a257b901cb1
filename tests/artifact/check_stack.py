#!/usr/bin/env python3
"""The deepest stack that any exported call of the library needs, libc not counted.

    check_stack.py [--compiler g++] [--options=-mips16] [--limit 2560] [--list N]

Compiles the library's sources with the compiler's own call graph and frame sizes and takes the
longest path from every exported function. A function that calls itself, or a ring of functions,
counts as often as RECURSION says it can be active at once; a ring that is not listed, and a frame
whose size is not known when compiling, are failures.
"""

import argparse
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
FLAGS = (
    "-std=c++20 -Os -DNDEBUG -fPIC -fno-exceptions -fno-rtti -fno-threadsafe-statics"
    " -fvisibility=hidden -fno-asynchronous-unwind-tables -fno-unwind-tables -ffunction-sections"
    " -fdata-sections -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2"
    " -fcallgraph-info=su -Isrc -Iinclude"
).split()

# Part of a function's name -> how many of its frames can be on the stack at once, and why.
RECURSION = {
    # The split of a range: no series goes deeper than that of .127 to .255.
    "config_acl_ip_range_24_mask": 8,
    "config_acl_ip_range_16_mask": 8,
    "5splitIL": 8,  # where a compiler does not merge it into the two above
}


def compile_all(compiler, options, folder):
    for number, source in enumerate(sorted((ROOT / "src").rglob("*.cpp"))):
        subprocess.run(
            [compiler, *FLAGS, *options, "-c", str(source.relative_to(ROOT)), "-o", f"{folder}/{number}.o"],
            cwd=ROOT,
            check=True,
        )


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
            return 0, ()  # libc or the platform
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


def exported():
    text = (ROOT / "src/l3_advance.map").read_text()
    names = re.sub(r"#.*", "", text.split("global:")[1].split("local:")[0])
    return [name.strip() for name in names.split(";") if name.strip()]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--compiler", default="g++")
    parser.add_argument("--options", default="")
    parser.add_argument("--limit", type=int, default=2560)
    parser.add_argument("--list", type=int, default=3)
    arguments = parser.parse_args()
    sys.setrecursionlimit(10000)

    with tempfile.TemporaryDirectory() as folder:
        compile_all(arguments.compiler, arguments.options.split(), folder)
        frames, edges = read_graph(folder)
    stack = Stack(frames, edges)
    calls = sorted(((stack.depth(name), name) for name in exported() if name in frames), reverse=True)
    if not calls:
        sys.exit("no exported function was found in the call graph")
    for (bytes_needed, path), name in calls[: arguments.list]:
        print(f"{bytes_needed:5} {name}: {' > '.join(re.sub(r'.*:', '', part) for part in path)}")
    for problem in sorted(set(stack.problems)):
        print(problem)
    deepest = calls[0][0][0]
    print(f"{arguments.compiler} {arguments.options}: {len(calls)} calls, deepest {deepest} bytes, limit {arguments.limit}")
    sys.exit(1 if deepest >= arguments.limit or stack.problems else 0)


if __name__ == "__main__":
    main()
