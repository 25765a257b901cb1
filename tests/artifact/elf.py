"""The parts of readelf's output that the checks use, for any processor."""

import re
import subprocess


def readelf(*arguments):
    return subprocess.run(
        ["readelf", "-W", *arguments], check=True, capture_output=True, text=True
    ).stdout


class Library:
    def __init__(self, path):
        self.path = path
        self.dynamic = readelf("-d", path)
        self.segments = readelf("-l", path)
        self.sections = readelf("-S", path)
        self._symbols = readelf("--dyn-syms", path)

    def needed(self):
        return re.findall(r"\(NEEDED\).*\[(.+)\]", self.dynamic)

    def soname(self):
        return re.findall(r"\(SONAME\).*\[(.+)\]", self.dynamic)

    def _rows(self):
        row = re.compile(
            r"^\s*\d+:\s+[0-9a-f]+\s+\S+\s+(?P<type>\S+)\s+(?P<bind>\S+)\s+(?P<visibility>\S+)"
            r"(?:\s+\[.*\])?\s+(?P<section>\S+)\s+(?P<name>\S+)"
        )
        for line in self._symbols.splitlines():
            match = row.match(line)
            if match:
                yield match

    def exported(self, kind):
        """Names of exported FUNC or OBJECT symbols."""
        return {
            row["name"].split("@")[0]
            for row in self._rows()
            if row["section"] not in ("UND", "ABS") and row["type"] == kind
        }

    def undefined(self):
        return {
            row["name"].split("@")[0]
            for row in self._rows()
            if row["section"] == "UND" and row["bind"] in ("GLOBAL", "WEAK")
        }

    def strongly_undefined(self):
        """Without which it does not load: a weak name may stay undefined."""
        return {
            row["name"].split("@")[0]
            for row in self._rows()
            if row["section"] == "UND" and row["bind"] == "GLOBAL" and row["type"] != "SECTION"
        }

    def section_size(self, name):
        match = re.search(
            r"\s" + re.escape(name) + r"\s+\S+\s+[0-9a-f]+\s+[0-9a-f]+\s+([0-9a-f]+)", self.sections
        )
        return int(match.group(1), 16) if match else 0
