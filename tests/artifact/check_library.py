#!/usr/bin/env python3
"""Checks that a built library is the one that its callers may load.

    check_library.py [--without hardening|fortify|relro]… LIBRARY [LIBRARY…]

Exported names equal the version script equal the headers; libc is all it needs; what it leaves
undefined is the documented platform calls, every one and weakly, and a listed set of libc functions;
nothing of it runs at load; no text relocation, no segment that is writable and executable. It is hardened:
stack protector, checked variants of the print functions, RELRO, immediate binding, a stack that is
not executable. --without names what the build was told to leave out: L3_HARDENING (all of these),
L3_FORTIFY or L3_RELRO; on MIPS RELRO is never asked for.
"""

import argparse
import pathlib
import re
import sys

from elf import Library, readelf

ROOT = pathlib.Path(__file__).resolve().parents[2]

LIBC = {
    "__errno_location", "access", "close", "inet_ntop", "inet_pton", "lseek", "memcmp", "memcpy", "memmove", "memset",
    "open", "printf", "putchar", "puts", "read", "snprintf", "sprintf", "sscanf", "strchr", "strcmp", "strcpy",
    "strcspn", "strlen", "strnlen", "strspn", "strstr", "system", "vsnprintf", "write",
}  # fmt: skip
# How glibc spells some of them, and what compilers bring along.
ALIASES = {"__isoc99_sscanf": "sscanf"}
TOOLCHAIN = {
    "raise", "__stack_chk_fail", "__stack_chk_guard", "__tls_get_addr",
    "__aeabi_unwind_cpp_pr0", "__aeabi_unwind_cpp_pr1", "_DYNAMIC_LINKING",
}  # fmt: skip
# What FORTIFY replaces at every call; it knows when a copy cannot overrun, and leaves that as it is.
PRINTS = {"printf", "snprintf", "sprintf", "vsnprintf"}
LEAVES_OUT = {"hardening": {"protector", "fortify", "relro", "now", "stack"}, "fortify": {"fortify"}, "relro": {"relro"}}


def names_in_version_script():
    text = (ROOT / "src/l3_advance.map").read_text()
    exported = text.split("global:")[1].split("local:")[0]
    exported = re.sub(r"#.*", "", exported)
    return [name.strip() for name in exported.split(";") if name.strip()]


def names_in_headers():
    """Functions and globals that the headers declare, without the platform's calls."""
    functions, objects, platform = set(), set(), set()
    for header in sorted((ROOT / "include/l3_advance").glob("*.h")):
        text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
        for declaration in re.findall(r"L3_API\s+([^;]+);", text):
            if declaration.startswith("extern"):
                objects.add(re.search(r"(\w+)(\[\w+\])?$", declaration).group(1))
                continue
            name = re.search(r"(\w+)\s*\(", declaration).group(1)
            (platform if header.name == "platform.h" else functions).add(name)
    return functions, objects, platform


class Report:
    def __init__(self):
        self.failures = 0

    def check(self, good, text):
        if not good:
            self.failures += 1
            print(f"  FAILED {text}")

    def same(self, left, right, text):
        missing, extra = sorted(right - left), sorted(left - right)
        self.check(left == right, f"{text}: missing {missing}, unexpected {extra}")


def check_hardening(library, undefined, asked, report):
    if "protector" in asked:
        report.check("__stack_chk_fail" in undefined, "no stack protector: nothing takes __stack_chk_fail")
    if "fortify" in asked:
        report.check(any(f"__{name}_chk" in undefined for name in PRINTS), "no FORTIFY: nothing takes __*printf_chk")
        report.check(not undefined & PRINTS, f"unchecked beside FORTIFY: {sorted(undefined & PRINTS)}")
    if "relro" in asked:
        report.check("GNU_RELRO" in library.segments, "no RELRO segment")
    if "now" in asked:
        report.check(re.search(r"BIND_NOW|FLAGS_1.*NOW", library.dynamic), "symbols are not bound at load")
    if "stack" in asked:
        # Without the segment the kernel takes the stack to be executable.
        stack = re.search(r"GNU_STACK(?:\s+0x[0-9a-f]+){5}\s+([RWE ]+?)\s+0x", library.segments)
        report.check(stack and "E" not in stack.group(1), "the stack is executable")


def check(path, asked, report):
    library = Library(path)
    functions, objects, platform = names_in_headers()
    listed = names_in_version_script()

    report.check(len(listed) == len(set(listed)), "the version script lists a name twice")
    report.same(set(listed), functions | objects, "version script against the headers")
    report.same(library.exported("FUNC"), functions, "exported functions against the headers")
    report.same(library.exported("OBJECT"), objects, "exported globals against the headers")
    report.check(len(platform) == 10, f"the platform has {len(platform)} calls, not 10")

    report.check(library.soname() == ["libl3_advance.so"], f"SONAME is {library.soname()}")
    needed = [name for name in library.needed() if not re.match(r"(libc|ld)[.-]", name)]
    report.check(not needed, f"it needs {needed} beside libc")

    undefined = {ALIASES.get(name, name) for name in library.undefined()}
    unchecked = {re.sub(r"^__(\w+)_chk$", r"\1", name) for name in undefined}
    report.check(platform <= undefined, f"platform calls that it does not take: {sorted(platform - undefined)}")
    strong = platform & library.strongly_undefined()
    report.check(not strong, f"platform calls without which it does not load: {sorted(strong)}")
    strangers = unchecked - platform - LIBC - TOOLCHAIN
    report.check(not strangers, f"undefined beyond the platform and libc: {sorted(strangers)}")
    banned = {n for n in undefined if re.match(r"(_Z|__cxa_(?!finalize)|malloc|calloc|realloc|free$)", n)}
    report.check(not banned, f"C++ runtime or heap: {sorted(banned)}")

    for section in (".init", ".init_array", ".fini", ".fini_array", ".ctors", ".dtors"):
        report.check(section not in library.sections, f"it has code to run at load or unload: {section}")
    report.check("TEXTREL" not in library.dynamic, "text relocations")
    report.check(not re.search(r"LOAD.*RWE", library.segments), "a writable, executable segment")
    # On MIPS the linker leaves the GOT writable; RELRO would guard next to nothing.
    check_hardening(library, undefined, asked - {"relro"} if is_mips(path) else asked, report)
    return len(functions), len(objects)


def is_mips(path):
    return bool(re.search(r"Machine:\s+MIPS", readelf("-h", path)))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--without", action="append", choices=LEAVES_OUT, default=[])
    parser.add_argument("library", nargs="+")
    arguments = parser.parse_args()
    asked = LEAVES_OUT["hardening"].difference(*(LEAVES_OUT[what] for what in arguments.without))
    report = Report()
    for path in arguments.library:
        functions, objects = check(path, asked, report)
        print(f"{path}: {functions} functions, {objects} globals")
    sys.exit(1 if report.failures else 0)


if __name__ == "__main__":
    main()
