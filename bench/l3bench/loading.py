"""What loading the library costs, in instructions: all of it, and what the dynamic linker does meanwhile."""

import collections
import pathlib
import re
import tempfile

from l3bench import instructions

PROGRAMS = {"libc": "load_without", "empty library": "load_nothing", "library": "load_library"}
_LINKER = re.compile(r"/ld-[^/]*$")
# The first that matches; the names are those of the C library's own dynamic linker.
_PARTS = {
    "symbols looked up": r"do_lookup|_dl_lookup|check_match|lookup_malloc|_dl_fixup",
    "names compared": r"strcmp",
    "addresses relocated": r"_dl_relocate|elf_|_dl_protect|mprotect|resolve",
    "versions checked": r"version|match_symbol",
    "files found and mapped": r"_dl_map|_dl_new_object|open|close|read|stat|mmap|munmap|search_cache|_dl_cache|_dl_load|"
    r"_dl_name_match|_dl_init_paths|_dl_important|rpath|_dl_dst|_dl_get_origin|_dl_add_to|_dl_setup_hash|add_to_|expand_",
    "processor and tunables": r"tunable|cpu|intel|cache_info|update_active|hwcap",
}


def part_of(place, function):
    if not _LINKER.search(place):
        return "outside the linker"
    return next((part for part, names in _PARTS.items() if re.search(names, function)), "the linker's other work")


def _by_part(program):
    with tempfile.TemporaryDirectory() as folder:
        instructions.callgrind(folder, program, variables=())
        profile = (pathlib.Path(folder) / "profile").read_text()
    found = collections.Counter()
    for place, function, count in instructions.costs(profile):
        found[part_of(place, function)] += count
    return found


def measure():
    """{what is loaded: {part: instructions}} of a program that does nothing: with libc alone, and what it costs more
    to load the library, or one that is empty, as well."""
    found = {name: _by_part(program) for name, program in PROGRAMS.items()}
    libc = found["libc"]
    more = {name: {part: found[name][part] - libc[part] for part in libc} for name in PROGRAMS if name != "libc"}
    return {"libc": dict(libc.most_common())} | more


def totals(measured):
    return {name: sum(parts.values()) for name, parts in measured.items()}
