"""A change that is killed after its file is stored and before its rules are made: l3ctl check reports the drift, and the
remedy that l3ctl doctor prints repairs it."""

import json
import os
import re
import stat
import subprocess

from l3lab import device, rules
from lab_case import LabCase

_TOOLS = "/tmp/ending-tools"
_CALLS = "/tmp/ending-calls"

# In front of the real tools: instead of the restore of that number it ends l3ctl, whose child it is.
_ENDING = f"""#!/bin/sh
echo "${{0##*/}}" >>{_CALLS}
if [ "$(grep -c . {_CALLS})" -eq "$ENDS_AT" ]; then
  kill -9 "$PPID"
  exit 1
fi
PATH=${{PATH#*:}} exec "${{0##*/}}" "$@"
"""

_LISTS = {
    "ip_filter": {"enabled": True, "rules": [{"direction": "downstream", "protocol": "udp", "destination_ports": "7000"}]},
    "mac6_filter": {"enabled": True, "devices": [{"mac": "02:00:00:00:00:08"}]},
}
_DHCP = {"mode": "white-list", "devices": ["02:00:00:00:00:09"]}

# By section: what stands before, and what is wanted.
_CHANGES = {
    "firewall": (_LISTS, {"enabled": False}),
    "ipsec_pass_through": ({}, False),
    "port_scan_protection": ({}, True),
    "ip_filter": ({}, _LISTS["ip_filter"]),
    "ip6_filter": ({}, {"enabled": True, "rules": [{"direction": "upstream", "protocol": "tcp", "destination_ports": "7001"}]}),
    "url_filter": ({}, {"enabled": True, "entries": [{"host": "ads.example"}]}),
    "mac_filter": ({}, {"enabled": True, "devices": [{"mac": "02:00:00:00:00:07"}]}),
    "mac6_filter": (_LISTS, {"enabled": False}),
    "acl": ({}, {"enabled": True, "entries": [{"from": "lan", "service": "telnet", "sources": "any"}]}),
    "captive_portal": ({}, {"enabled": True, "destinations": ["203.0.113.2"]}),
    # Rules that are missing are what every start leaves, and no drift; rules that stand too many are one.
    "dhcp_filter": ({"dhcp_filter": {"enabled": True, **_DHCP}}, {"enabled": False, **_DHCP}),
}  # fmt: skip


def _state() -> tuple:
    """The configuration file, and the rules of both families."""
    return device.stored_files()["l3_advance.dat"], rules.saved(4), rules.saved(6)


def _families_that_differ(one: tuple, other: tuple) -> set[str]:
    return {name for name, number in (("IPv4", 1), ("IPv6", 2)) if one[number] != other[number]}


class Kill(LabCase):
    def setUp(self):
        super().setUp()
        os.makedirs(_TOOLS, exist_ok=True)
        for name in ("iptables-restore", "ip6tables-restore"):
            with open(f"{_TOOLS}/{name}", "w", encoding="utf-8") as tool:
                tool.write(_ENDING)
            os.chmod(f"{_TOOLS}/{name}", stat.S_IRWXU)

    def _ended(self, wanted: dict, at: int) -> list[str]:
        """Ends an apply at a restore; the restores that were called."""
        path = "/tmp/ending.json"
        with open(path, "w", encoding="utf-8") as file:
            json.dump(wanted, file)
        with open(_CALLS, "w", encoding="utf-8"):
            pass
        environment = {**os.environ, "PATH": f"{_TOOLS}:{os.environ['PATH']}", "ENDS_AT": str(at)}
        done = subprocess.run(["l3ctl", "apply", path], env=environment, capture_output=True, check=False)
        self.assertEqual((done.returncode, done.stdout), (-9, b""), done.stderr)
        with open(_CALLS, encoding="utf-8") as calls:
            return calls.read().split()

    def _begin(self, settings: dict) -> tuple:
        LabCase.setUp(self)
        if settings:
            device.apply(settings)
        self._assert_no_drift()
        return _state()

    def _ends(self, start: dict, wanted: dict) -> tuple[tuple, tuple]:
        """What stands before and after the change where nothing ends it; the gateway is at its start again."""
        self._begin(start)
        device.apply(wanted)
        self._assert_no_drift()
        after = _state()
        return self._begin(start), after

    def _assert_no_drift(self) -> None:
        self.assertEqual(device.l3ctl("check").stdout, "")

    def _assert_drift(self, families: set[str]) -> None:
        self.assertNotEqual(families, set())
        found = device.l3ctl("--json", "check", check=False)
        self.assertEqual(found.returncode, 3, found.stdout + found.stderr)
        answer = json.loads(found.stdout)
        self.assertFalse(answer["follows"])
        self.assertEqual({drift["family"] for drift in answer["drift"]}, families, answer)

    def _follow_the_advice(self) -> None:
        findings = json.loads(device.l3ctl("--json", "doctor", check=False).stdout)["findings"]
        advice = next(one["advice"] for one in findings if (one["about"], one["state"]) == ("rules", "problem"))
        for command in re.findall(r'"l3ctl ([^"]*)"', advice.removesuffix('; "l3ctl check" lists all')):
            device.l3ctl(*command.split())

    def test_before_the_first_commit(self):
        for section, (start, value) in _CHANGES.items():
            with self.subTest(section):
                before, after = self._ends(start, {section: value})
                self.assertEqual(len(self._ended({section: value}, at=1)), 1)
                self.assertEqual(_state(), (after[0], *before[1:]))
                self._assert_drift(_families_that_differ(before, after))
                self._follow_the_advice()
                self._assert_no_drift()
                self.assertEqual(_state(), after)

    def test_between_two_commits(self):
        before, after = self._ends({}, _LISTS)
        made, ended = self._ended(_LISTS, at=2)
        self.assertEqual({made, ended}, {"iptables-restore", "ip6tables-restore"})
        left = _state()
        self.assertEqual(left[0], after[0])
        self.assertEqual(_families_that_differ(left, before), {"IPv6" if made.startswith("ip6") else "IPv4"})
        self.assertEqual(_families_that_differ(left, after), {"IPv6" if ended.startswith("ip6") else "IPv4"})
        self._assert_drift(_families_that_differ(left, after))
        self._follow_the_advice()
        self._assert_no_drift()
        self.assertEqual(_state(), after)
