"""l3ctl init on a gateway that runs: refused, or with --again the rules of a fresh start and no jump twice."""

import unittest

from l3lab import device, rules
from lab_case import LabCase
from lifecycle_test import _SAMPLE, _STOPPED_BY_DISPATCHED, _STOPPED_BY_HOOKED

_TOOLS = {4: "iptables", 6: "ip6tables"}
_EVERYTHING = {**_SAMPLE, "port_scan_protection": True, "ipsec_pass_through": False}
_FOREIGN = "-s 198.51.100.77 -j ACCEPT"


def jumps(family: int) -> list[str]:
    """The rules of INPUT and FORWARD, as iptables-save prints them."""
    return [
        line
        for line in rules.saved(family).splitlines()
        if line.startswith(("-A INPUT ", "-A FORWARD "))
    ]


def edit(family: int, operation: str, line: str) -> None:
    """Runs a line of iptables-save with another operation, such as -D for -A."""
    rules.run(_TOOLS[family], *line.replace("-A", operation, 1).split())


class StartAgain(LabCase):
    def setUp(self):
        super().setUp()
        device.apply(_EVERYTHING)
        device.cut_power()
        device.l3ctl("init")
        device.l3ctl("wan", "update", "wan3")
        self.fresh = {family: rules.saved(family) for family in (4, 6)}

    def assert_fresh(self, when: str):
        for family in (4, 6):
            self.assertEqual(rules.saved(family), self.fresh[family], f"{when}, IPv{family}")
            self.assertEqual(len(jumps(family)), len(set(jumps(family))))
        self.assertEqual(device.l3ctl("check").stdout, "")

    def test_without_the_option_nothing_changes_not_even_by_force(self):
        for words in (["init"], ["--force", "init"]):
            outcome = device.l3ctl(*words, check=False)
            self.assertEqual((outcome.returncode, outcome.stdout), (1, ""))
            self.assertIn('"l3ctl init --again" removes our rules first; nothing was changed', outcome.stderr)
            self.assert_fresh("refused")

    def test_the_rules_are_those_of_a_fresh_start(self):
        for options in ([], ["--one-by-one"]):
            for _ in range(2):
                outcome = device.l3ctl(*options, "init", "--again")
                self.assertEqual(outcome.stdout, "init: the gateway has started again\n")
                self.assert_fresh(f"again {options}")
        self.assert_effect(
            {
                **_STOPPED_BY_DISPATCHED,
                **{probe: rule for probe, rule in _STOPPED_BY_HOOKED.items() if "captive" not in rule.chain},
            }
        )

    def test_every_duplicate_jump_is_gone(self):
        for family in (4, 6):
            for line in jumps(family) * 2:
                edit(family, "-A", line)
        self.assertEqual(device.l3ctl("check", check=False).returncode, 3)
        device.l3ctl("init", "--again")
        self.assert_fresh("duplicates")

    def test_missing_jumps_and_chains_are_back(self):
        for family, line in ((4, "-A FORWARD -j forward_ext_ip"), (4, "-A FORWARD -j forward_ext_url"),
                             (6, "-A FORWARD -j forward_ext_mac")):  # fmt: skip
            edit(family, "-D", line)
        rules.run("iptables", "-F", "forward_ext_url")
        rules.run("iptables", "-X", "forward_ext_url")
        refused = device.l3ctl("init", check=False)
        self.assertEqual(refused.returncode, 1, "some jumps still stand")
        device.l3ctl("init", "--again")
        self.assert_fresh("missing")

    def test_the_jump_that_restore_rules_deletes_is_back_and_management_access_stays_closed(self):
        device.l3ctl("access", "telnet", "block")
        with_access = rules.saved(4)
        device.l3ctl("firewall", "on")  # saves the rules
        device.l3ctl("restore-rules")
        dhcp = "-A INPUT -i br0 -p udp -m udp --dport 67 -j input_ext_dhcp"
        self.assertNotIn(dhcp, jumps(4))
        device.l3ctl("init", "--again")
        self.assertEqual(rules.saved(4), with_access)
        self.assertIn(dhcp, jumps(4))

    def test_rules_of_other_programs_stay_where_they_are(self):
        for family, source in ((4, "198.51.100.77"), (6, "2001:db8:9::77")):
            tool, rule = _TOOLS[family], ["-s", source, "-j", "ACCEPT"]
            rules.run(tool, "-N", "somebody")
            rules.run(tool, "-A", "somebody", *rule)
            rules.run(tool, "-I", "FORWARD", "1", *rule)
            rules.run(tool, "-A", "FORWARD", "-j", "somebody")
            rules.run(tool, "-I", "INPUT", "1", "-i", "lo", "-j", "ACCEPT")
            rules.run(tool, "-A", "INPUT", "-p", "udp", "-j", "somebody")
        before = {family: rules.saved(family) for family in (4, 6)}
        device.l3ctl("init", "--again")
        self.assertEqual({family: rules.saved(family) for family in (4, 6)}, before)
        for line in jumps(4):
            if "_ext_" in line:
                edit(4, "-A", line)
        device.l3ctl("init", "--again")
        self.assertEqual({family: rules.saved(family) for family in (4, 6)}, before)

    def test_the_firewall_may_be_off_and_no_wan_bound(self):
        device.l3ctl("firewall", "off")
        device.l3ctl("wan", "clear")
        device.l3ctl("ipsec", "on")
        edit(4, "-A", "-A FORWARD -p udp -m udp --sport 500 --dport 500 -j DROP")
        device.l3ctl("init", "--again")
        now = {family: rules.saved(family) for family in (4, 6)}
        self.assertNotIn("DROP", "".join(now.values()).replace(":", " "))
        device.cut_power()
        device.l3ctl("init")
        self.assertEqual({family: rules.saved(family) for family in (4, 6)}, now)

    def test_dhcp_rules_go_as_at_every_start_and_a_note_says_so(self):
        device.l3ctl("dhcp-filter", "off")
        device.l3ctl("dhcp-filter", "on")
        self.assertNotEqual(rules.saved(4), self.fresh[4])
        outcome = device.l3ctl("init", "--again")
        self.assertIn("note: a start makes no rules of the DHCP filter", outcome.stderr)
        self.assert_fresh("DHCP filter on")


if __name__ == "__main__":
    unittest.main()
