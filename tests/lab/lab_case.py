"""What the packet tests have in common: a gateway at work, and the three acts of a proof."""

import atexit
import functools
import subprocess
import unittest
from typing import NamedTuple

from l3lab import device, rules, probe_grammar
from l3lab.prober import STOP_TIMEOUT, Outcome, Prober
from l3lab.rules import Rule

# The settings that take a feature away again.
NOTHING = {
    "port_scan_protection": False,
    "ipsec_pass_through": True,
    "ip_filter": {"enabled": True, "rules": []},
    "ip6_filter": {"enabled": True, "rules": []},
    "url_filter": {"enabled": False, "mode": "black-list", "entries": []},
    "mac_filter": {"enabled": False, "mode": "black-list", "devices": []},
    "mac6_filter": {"enabled": False, "mode": "black-list", "devices": []},
    "dhcp_filter": {"enabled": False, "mode": "black-list", "devices": []},
    "acl": {"enabled": False, "entries": []},
    "captive_portal": {"enabled": False, "destinations": []},
}


class Baseline(NamedTuple):
    """A gateway that has started three times, whose WAN is up and whose firewall is on."""

    kernel: dict[int, str]
    files: dict[str, bytes]


@functools.cache
def prober() -> Prober:
    """One for all tests: two would take each other's packets."""
    held = Prober()
    atexit.register(held.close)
    return held


@functools.cache
def baseline() -> Baseline:
    device.put_files({})
    for _ in range(3):
        device.cut_power()
        device.l3ctl("init")
    device.l3ctl("wan", "update", "wan3")
    device.apply({"firewall": {"enabled": True}, **NOTHING})
    kernel = {
        family: rules.run(tool).stdout
        for family, tool in ((4, "iptables-save"), (6, "ip6tables-save"))
    }
    return Baseline(kernel, device.stored_files())


class LabCase(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        start = baseline()
        device.move_internet_to("wan3")
        device.put_files(start.files)
        for family, tool in ((4, "iptables-restore"), (6, "ip6tables-restore")):
            subprocess.run([tool], input=start.kernel[family], text=True, check=True)
        rules.forget_connections()
        self._start = {family: rules.saved(family) for family in (4, 6)}

    # --- the three acts ---

    def prove(self, settings, stopped=None, accepted=None, passing=()):
        """Traffic passes; with the settings the rules stop or accept it; without them it passes.

        `stopped` and `accepted` map probes to the rules that must count them; `passing` probes
        must get through without meeting a rule of the feature.
        """
        stopped, accepted = stopped or {}, accepted or {}
        everything = [*stopped, *accepted, *passing]
        self.assert_all_pass("before", everything)
        device.apply(settings)
        rules.forget_connections()
        self.assert_effect(stopped, accepted, passing)
        device.apply({section: NOTHING[section] for section in settings})
        self.assert_all_pass("after removal", everything)
        self.assert_rules_are_those_of_the_start()

    def send(self, probe: str) -> Outcome:
        return probe_grammar.send(prober(), probe)

    def assert_effect(self, stopped=None, accepted=None, passing=()):
        for probe, rule in (stopped or {}).items():
            self.assert_stopped(probe, rule)
        for probe, rule in (accepted or {}).items():
            self.assert_accepted(probe, rule)
        self.assert_all_pass("with the settings", passing)

    def assert_stopped(self, probe: str, rule: Rule):
        counted = rule.packets()
        outcome = probe_grammar.send(prober(), probe, timeout=STOP_TIMEOUT)
        self.assertFalse(outcome.passed, f"'{probe}' got through")
        self.assertEqual(rule.packets() - counted, 1, f"'{probe}' was not counted by {rule}")

    def assert_accepted(self, probe: str, rule: Rule):
        counted = rule.packets()
        self.assert_all_pass("accepted", [probe])
        self.assertGreaterEqual(rule.packets() - counted, 1, f"'{probe}' did not meet {rule}")

    def assert_all_pass(self, when: str, probes):
        for probe in probes:
            self.assertTrue(self.send(probe).passed, f"{when}: '{probe}' was stopped")

    def assert_rules_are_those_of_the_start(self):
        for family, name in ((4, "firewall.conf"), (6, "firewall6.conf")):
            self.assertEqual(rules.saved(family), self._start[family])
            with open(f"{device.STORE}/{name}", encoding="utf-8") as file:
                self.assertEqual(rules.normalised(file.read()).strip(), self._start[family].strip())
