"""The environment that l3ctl is started with: a short PATH, tools that are missing, variables that decide what is run."""
import re
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def names_in_sources():
    """The variables that our programs ask for."""
    for folder in ("executor", "l3ctl", "management", "platform", "settings", "src"):
        for source in (ROOT / folder).rglob("*.cpp"):
            yield from re.findall(r'getenv\(\s*"(\w+)"', source.read_text())


def names_in_iptables():
    """The variables that iptables and its library of extensions ask for."""
    for pattern in ("/usr/lib/*/libxtables.so.*", "/usr/sbin/xtables-*-multi"):
        for file in Path("/").glob(pattern[1:]):
            for name in re.findall(rb"\0((?:XTABLES|IPTABLES|IP6TABLES)_[A-Z_]+)\0", file.read_bytes()):
                yield name.decode()


class Trusted(unittest.TestCase):
    def test_every_variable_that_is_read_is_documented(self):
        text = (ROOT / "SECURITY.md").read_text()
        section = text.split("## Environment variables\n")[1].split("\n## ")[0]
        documented = set(re.findall(r"`([A-Z][A-Z0-9_]+)`", section.split("\n\nNothing")[0]))
        read = {*names_in_sources(), *names_in_iptables()}
        self.assertLessEqual({"PATH", "NO_COLOR", "XTABLES_LIBDIR"}, read)
        self.assertEqual(sorted(read - documented), [])
        self.assertLessEqual({"LD_PRELOAD", "LD_LIBRARY_PATH", "LD_AUDIT"}, documented)


if __name__ == "__main__":
    unittest.main()
