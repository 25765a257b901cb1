#!/usr/bin/env python3
"""Holds docs/configuration-file.md against include/l3_advance/records.h.

    check_configuration_map.py [PAGE HEADER]

Every structure of the header has a table on the page and the other way round; every documented
offset and size equals what L3_SIZE, L3_OFFSET and the members' types say, and every assertion is
documented. The tables leave no gap. Prints each difference and exits 1 when there is one.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCALARS = {"char": 1, "uint8_t": 1, "int32_t": 4, "uint32_t": 4}
FILE = "The file"


class Header:
    """What records.h declares and asserts."""

    def __init__(self, text):
        self.sizes = {name: int(size) for name, size in
                      re.findall(r"^L3_SIZE\((\w+), (\d+)\);", text, re.M)}
        self.offsets = {(name, member): int(offset) for name, member, offset in
                        re.findall(r"^L3_OFFSET\((\w+), ([\w.]+), (\d+)\);", text, re.M)}
        self.types = {}
        bare = re.sub(r"/\*.*?\*/", "", text, flags=re.S)
        for name, body in re.findall(r"typedef struct (\w+) \{(.*?)\}", bare, re.S):
            for kind, member, length in re.findall(r"(\w+) (\w+)(\[\d+\])?;", body):
                self.types[name, member] = kind + length

    def size_of(self, kind):
        name, length = re.fullmatch(r"(\w+)(?:\[(\d+)\])?", kind).groups()
        size = self.sizes.get(name) or SCALARS.get(name)
        if size is None:
            sys.exit(f"{name} is the type of a member, and its size is not asserted")
        return size * int(length or 1)

    def place(self, name, path):
        """Offset and type of a member, also of one inside a region ("acl.count")."""
        first, _, rest = path.partition(".")
        kind = self.types[name, first]
        offset = self.offsets[name, first]
        if not rest:
            return offset, kind
        inner, kind = self.place(kind, rest)
        return offset + inner, kind


def read_page(text):
    """{structure or FILE: (bytes, [(offset, size, content, type), ...])}"""
    tables = {}
    heading = None
    for line in text.splitlines():
        if found := re.fullmatch(r"#+ (?:`(\w+)`|(The file)): (\d+) bytes", line):
            heading = found[1] or found[2]
            tables[heading] = int(found[3]), []
        elif line.startswith("#"):
            heading = None
        elif found := re.match(r"\| (\d+) \| (\d+) \| (.*?) \| (.*?) \|", line):
            if heading is None:
                sys.exit(f"a table row outside a described structure: {line}")
            tables[heading][1].append((int(found[1]), int(found[2]), found[3].strip("`"),
                                       found[4].strip("`")))
    return tables


def gaps(name, total, rows):
    """Top-level rows must follow each other from 0 to the end."""
    at = 0
    for offset, size, content, _ in rows:
        if name != FILE and "." in content:
            continue
        if offset != at:
            yield f"{name}: {content} is at {offset} on the page, what stands before it ends at {at}"
        at = offset + size
    if at != total:
        yield f"{name}: the rows end at {at}, the heading says {total} bytes"


def structure_differences(header, name, total, rows):
    if header.sizes.get(name) != total:
        yield f"{name}: {total} bytes on the page, {header.sizes.get(name)} in the header"
    documented = {member for _, _, member, _ in rows}
    for (owner, member) in header.offsets:
        if owner == name and member not in documented:
            yield f"{name}.{member} is asserted and not on the page"
    for offset, size, member, kind in rows:
        try:
            real_offset, real_kind = header.place(name, member)
        except KeyError:
            yield f"{name}.{member} is on the page and not declared and asserted"
            continue
        # An inner member may be asserted twice, in its region and in the record.
        asserted = header.offsets.get((name, member), real_offset)
        if {real_offset, asserted} != {offset}:
            yield (f"{name}.{member}: offset {offset} on the page, "
                   f"{asserted} asserted, {real_offset} by its region")
        if kind != real_kind:
            yield f"{name}.{member}: {kind} on the page, {real_kind} in the header"
        if size != header.size_of(real_kind):
            yield (f"{name}.{member}: {size} bytes on the page, "
                   f"{header.size_of(real_kind)} by its type")


def file_differences(header, rows):
    for offset, size, content, _ in rows:
        if found := re.search(r"a `(\w+)", content):
            real = header.sizes.get(found[1])
        else:
            texts = [text.replace("\\n", "\n") for text in re.findall(r'"(.*?)"', content)]
            real = len(texts[0]) if texts else None
        if size != real:
            yield f"{FILE}, byte {offset}: {size} bytes on the page, {real} by its content"


def differences(page, header):
    if FILE not in page:
        yield "the page has no table of the file"
    for name in header.sizes.keys() - page.keys():
        yield f"{name} is in the header and has no table on the page"
    for name, (total, rows) in page.items():
        if not rows:
            yield f"{name} has no rows on the page"
        yield from gaps(name, total, rows)
        if name == FILE:
            yield from file_differences(header, rows)
        else:
            yield from structure_differences(header, name, total, rows)


def main():
    if len(sys.argv) not in (1, 3):
        sys.exit(__doc__.split("\n\n")[1].strip())
    page_path, header_path = (sys.argv[1:] or
                              (ROOT / "docs/configuration-file.md",
                               ROOT / "include/l3_advance/records.h"))
    try:
        header = Header(pathlib.Path(header_path).read_text(encoding="utf-8"))
        page = read_page(pathlib.Path(page_path).read_text(encoding="utf-8"))
    except (OSError, UnicodeDecodeError) as error:
        sys.exit(f"cannot read the page or the header: {error}")
    if not header.sizes or not header.offsets:
        sys.exit(f"{header_path} asserts nothing")
    found = list(differences(page, header))
    for difference in found:
        print(difference, file=sys.stderr)
    rows = sum(len(rows) for _, rows in page.values())
    print(f"{len(page)} tables, {rows} rows, {len(header.offsets)} assertions compared, "
          f"{len(found)} differences")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
