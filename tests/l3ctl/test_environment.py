"""The environment that l3ctl is started with: a short PATH, tools that are missing, variables that decide what is run."""
import json
import re
import subprocess
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, TOOLS, Gateway, Outcome
from test_doctor import Examined

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


# A root of its own in which /usr/sbin is another folder, and /sbin with it.
OVER_SBIN = ["unshare", "--mount", "sh", "-ec", 'mount --bind "$0" /usr/sbin; exec "$@"']
NOT_FOUND = "not in {}: install iptables, or add the directory of its tools to PATH"
ALL_TOOLS = "iptables, iptables-save, iptables-restore, ip6tables, ip6tables-save, ip6tables-restore are "


class WithPath:
    """Runs l3ctl by a PATH of the test's own, with the tools in /usr/sbin or nowhere."""

    def setUp(self):
        super().setUp()
        Path("/tmp/none").mkdir(exist_ok=True)

    def run_with(self, path, *arguments, sbin="/tmp/none", cwd="/"):
        environment = {"LC_ALL": "C.UTF-8", **({} if path is None else {"PATH": path})}
        # The shell in between supplies a PATH where none is set.
        command = [*OVER_SBIN, sbin, "/usr/bin/env", "-i", *(f"{name}={value}" for name, value in environment.items())]
        return Outcome(subprocess.run([*command, L3CTL, *arguments], cwd=cwd, capture_output=True, timeout=60, check=False))


class SystemDirectories(WithPath, Gateway):
    """cron, and services of an init system, leave /usr/sbin out of PATH, where iptables is."""

    def test_changes_find_the_tools(self):
        for way in ((), ("--one-by-one",)):
            self.way = way
            self.store(firewall=True)
            old = (["-A forward_ext_mac -j OLD"],) * 2
            self.stand(*old)
            wanted = self.l3ctl("mac-filter", "on")
            commands = self.commands()
            self.assertEqual((wanted.status, any("forward_ext_mac" in line for line in commands)), (0, True))
            for path in ("/usr/bin:/bin", "/tmp/none:/usr/bin", "/sbin:/usr/bin", "", None):
                self.store(firewall=True)
                self.stand(*old)
                outcome = self.run_with(path, *way, "mac-filter", "on", sbin=TOOLS)
                self.assert_outcome(outcome, 0, wanted.out, wanted.err)
                self.assertEqual(self.commands(), commands, (path, way))

    def test_directories_of_path_come_first(self):
        other = Path("/tmp/other")
        other.mkdir(exist_ok=True)
        for tool in TOOLS.iterdir():
            (other / tool.name).write_text(f'#!/bin/sh\necho "${{0%/*}}" >>/tmp/started\nexec {TOOLS}/{tool.name} "$@"\n')
            (other / tool.name).chmod(0o755)
        self.store(firewall=True)
        self.assertEqual(self.run_with(f"{other}:/usr/bin:/bin", "mac-filter", "on", sbin=TOOLS).status, 0)
        self.assertEqual(set(Path("/tmp/started").read_text().split()), {str(other)})

    def test_an_empty_path_is_not_the_working_directory(self):
        here = Path("/tmp/here")
        here.mkdir(exist_ok=True)
        (here / "iptables").write_text("#!/bin/sh\ntouch /tmp/was-run\n")
        (here / "iptables").chmod(0o755)
        self.store(firewall=True)
        self.assertEqual(self.run_with("", "--one-by-one", "mac-filter", "on", sbin=TOOLS, cwd=here).status, 0)
        self.assertFalse(Path("/tmp/was-run").exists())


class Doctor(WithPath, Examined):
    def problems(self, path, sbin):
        outcome = self.run_with(path, "doctor", "--json", sbin=sbin)
        found = json.loads(outcome.out)["findings"]
        return {one["about"]: one["finding"] for one in found if one["state"] == "problem"}, found

    def test_it_finds_the_tools_too(self):
        self.assertEqual(self.problems("/usr/bin:/bin", TOOLS)[0], {})

    def test_missing_tools_are_one_problem(self):
        directories = "/usr/bin, /bin, /usr/sbin, /sbin"
        problems, found = self.problems("/usr/bin:/bin", "/tmp/none")
        self.assertEqual(problems, {"tools": ALL_TOOLS + f"not in {directories}"})
        untried = {one["about"]: one["finding"] for one in found if one["state"] == "warning"}
        self.assertEqual(untried["kernel"], "kinds of rules were not tried, since tools are missing")
        self.assertEqual(untried["rules"], "were not compared with the settings, since tools are missing")
        (TOOLS / "ip6tables-save").unlink()
        problems, found = self.problems("/usr/bin:/bin", TOOLS)
        self.assertEqual(problems, {"tools": f"ip6tables-save is not in {directories}"})


class Missing(WithPath, Gateway):
    """Without its tools a change is not begun."""

    def test_changes_name_them_and_the_directories(self):
        self.store(firewall=True)
        before = CONFIGURATION.read_bytes()
        expected = f"l3ctl: {ALL_TOOLS}" + NOT_FOUND.format("/usr/bin, /bin, /usr/sbin, /sbin")
        for arguments in (["mac-filter", "on"], ["--one-by-one", "mac-filter", "on"], ["--force", "init"], ["init"],
                          ["reset", "--yes"], ["wan", "update", "wan3"]):
            outcome = self.run_with("/usr/bin:/bin", *arguments)
            self.assertEqual((outcome.status, outcome.out, outcome.err),
                             (1, "", expected + "; nothing was changed\n"), arguments)
        self.assertEqual(CONFIGURATION.read_bytes(), before)

    def test_a_single_one_is_named_alone(self):
        (TOOLS / "ip6tables-restore").unlink()
        self.store(firewall=True)
        outcome = self.run_with("/usr/sbin:/opt", "mac-filter", "on", sbin=TOOLS)
        self.assertEqual((outcome.status, outcome.err), (
            1, "l3ctl: ip6tables-restore is " + NOT_FOUND.format("/usr/sbin, /opt, /sbin") + "; nothing was changed\n"))
        self.assertEqual(self.commands(), [])

    def test_programs_are_told_in_json(self):
        outcome = self.run_with("/usr/bin:/bin", "--json", "mac-filter", "on")
        self.assertEqual(outcome.status, 1)
        self.assertIn(ALL_TOOLS + "not in /usr/bin", json.loads(outcome.out)["error"])

    def test_what_reads_the_rules_names_them(self):
        for command in ("rules", "check"):
            outcome = self.run_with("/usr/bin:/bin", command)
            self.assertEqual((outcome.status, outcome.err), (
                1, "l3ctl: iptables-save is " + NOT_FOUND.format("/usr/bin, /bin, /usr/sbin, /sbin") + "\n"), command)

    def test_what_needs_none_goes_on(self):
        self.store(firewall=True)
        for command in (["show"], ["export"], ["version"], ["status"]):
            outcome = self.run_with("/usr/bin:/bin", *command)
            self.assertEqual(outcome.status, 0, (command, outcome.err))


if __name__ == "__main__":
    unittest.main()
