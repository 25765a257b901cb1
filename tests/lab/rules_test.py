"""l3ctl rules and l3ctl check against the kernel: no drift of its own making, and none overlooked."""

import json
import os
import random
import re
import unittest

import random_settings
from l3lab import device, rules
from lab_case import NOTHING, LabCase
from random_settings import Random

_FULL = bool(os.environ.get("L3_TEST_FULL"))
_ROUNDS = 60 if _FULL else 12

_NAME = {"url_filter": {"enabled": True, "entries": [{"host": "example.com", "active": "08:00-21:30"}]}}
_NAME_IN_WORDS = "DROP udp 53 name example.com 08:00-21:30 in br0"

# A section, settings that fill it, and the lines that the tree shows of it, with their origin.
_FILLED = [
    (
        {"ip_filter": {"enabled": True, "upstream": "white-list", "rules": [
            {"direction": "upstream", "protocol": "tcp", "source": "192.168.1.10", "destination_ports": "80-88"},
            {"direction": "downstream", "protocol": "icmp"}]}},
        {("ACCEPT tcp 80-88 from 192.168.1.10", "ip_filter.rules[0]"), ("DROP", "ip_filter.upstream"),
         ("DROP icmp", "ip_filter.rules[1]")},
    ),
    (
        {"ip6_filter": {"enabled": True, "rules": [
            {"direction": "upstream", "protocol": "udp", "source": "fd00:1::10", "destination": "2001:db8:1::2"}]}},
        {("DROP udp from fd00:1::10 to 2001:db8:1::2", "ip6_filter.rules[0]")},
    ),
    (_NAME, {(_NAME_IN_WORDS, "url_filter.entries[0]")}),
    (
        {"mac_filter": {"enabled": True, "mode": "white-list", "devices": [{"mac": "02:00:00:00:00:07"}]}},
        {("ACCEPT mac 02:00:00:00:00:07 00:00-23:59 in br0", "mac_filter.devices[0]"), ("DROP in br0", "mac_filter.mode")},
    ),
    (
        {"mac6_filter": {"enabled": True, "devices": [{"mac": "02:00:00:00:00:07", "active": "20:30-24:00"}]}},
        {("DROP mac 02:00:00:00:00:07 20:30-23:59 in br0", "mac6_filter.devices[0]")},
    ),
    (
        {"dhcp_filter": {"enabled": True, "devices": ["02:00:00:00:00:07"]}},
        {("DROP mac 02:00:00:00:00:07", "dhcp_filter.devices[0]")},
    ),
    (
        {"acl": {"enabled": True, "entries": [{"service": "web", "from": "lan", "sources": "192.168.1.2-192.168.1.3"}]}},
        {("ACCEPT tcp 80 from 192.168.1.2/31", "acl.entries[0]"), ("DROP", "acl.enabled")},
    ),
    (
        {"captive_portal": {"enabled": True, "destinations": ["203.0.113.77/25"]}},
        {("ACCEPT to 203.0.113.0/25", "captive_portal.destinations[0]"), ("DROP", "captive_portal.enabled")},
    ),
    (
        {"ipsec_pass_through": False},
        {("DROP udp 500 source port 500", "ipsec_pass_through"), ("DROP udp 4500 source port 4500", "ipsec_pass_through")},
    ),
]  # fmt: skip


def told() -> dict:
    return json.loads(device.l3ctl("rules", "--json").stdout)


def rules_of_settings() -> set[tuple[str, str]]:
    """Words and origin of every rule that is neither start-up's nor the binding's."""
    return {
        (rule["words"], rule["origin"]["path"])
        for table in told()["tables"]
        for chain in table["chains"]
        for rule in chain["rules"]
        if rule["origin"] and rule["origin"]["section"] not in ("start-up", "wan")
    }


class Case(LabCase):
    def assert_no_drift(self, when: str):
        found = device.l3ctl("check", check=False)
        self.assertEqual((found.returncode, found.stdout), (0, ""), f"{when}: {found.stderr}")

    def assert_drift(self, *lines: str):
        found = device.l3ctl("check", check=False)
        self.assertEqual((found.returncode, found.stdout.splitlines()), (3, list(lines)), found.stderr)


class Tree(Case):
    def test_each_filter_shows_its_rules_and_their_settings(self):
        self.assertEqual(rules_of_settings(), set())
        for settings, shown in _FILLED:
            with self.subTest(settings=settings):
                device.apply(settings)
                self.assertEqual(rules_of_settings(), shown)
                self.assert_no_drift("filled")
                device.apply({section: NOTHING[section] for section in settings})
                self.assertEqual(rules_of_settings(), set())

    def test_port_scan_protection_shows_its_rules(self):
        device.apply({"port_scan_protection": True})
        shown = {words for words, path in rules_of_settings() if path == "port_scan_protection"}
        # Those of its two chains differ in nothing but their chain.
        self.assertEqual(len(shown), 1 + 1 + 4)
        self.assertLess({"jump input_ext_local_access_ex", "DROP in wan3"}, shown)
        self.assert_no_drift("protected")

    def test_counters_are_the_kernels(self):
        device.apply(_NAME)
        before = rules.packets("FORWARD", "forward_ext_url")
        self.assert_all_pass("in the span or not", ["tcp from lan to wan port 2323"])
        after = rules.packets("FORWARD", "forward_ext_url")
        self.assertGreater(after, before)
        self.assertIn(f"{after} packet", next(
            line for line in device.l3ctl("rules", "--counters").stdout.splitlines() if "jump forward_ext_url" in line))

    def test_a_picture_of_the_real_tree(self):
        device.apply(_NAME)
        svg = device.l3ctl("rules", "--svg", "-").stdout
        self.assertIn(">DROP udp 53 name example.com", svg)


class Life(Case):
    def test_no_drift_over_a_gateways_life(self):
        device.apply({settings: value for part, _ in _FILLED for settings, value in part.items()})
        device.apply({"port_scan_protection": True})
        self.assert_no_drift("everything set")
        for step in (["firewall", "off"], ["firewall", "on"], ["level", "low"], ["level", "high"],
                     ["wan", "clear"], ["wan", "update", "wan3"], ["wan", "update", "wan3"],
                     ["access", "telnet", "block"], ["port-scan", "off"], ["port-scan", "on"], ["url-filter", "clear"],
                     ["dhcp-filter", "off"], ["dhcp-filter", "on"], ["reset", "--yes"]):
            device.l3ctl(*step)
            self.assert_no_drift(" ".join(step))

    def test_no_drift_after_restarts_without_the_dhcp_rules(self):
        device.apply({settings: value for part, _ in _FILLED for settings, value in part.items()})
        for _ in range(2):
            device.cut_power()
            self.assert_drift(*(f"{family}: none of the gateway's chains is there; \"l3ctl init\" makes them at start-up"
                                for family in ("IPv4", "IPv6")))
            device.l3ctl("init")
            self.assert_no_drift("started")
            device.l3ctl("wan", "update", "wan3")
            self.assert_no_drift("bound")
        self.assertIn("note: the DHCP filter's rules are not there", device.l3ctl("rules").stdout)

    def test_a_start_on_another_wan_brings_ipv6_rules_of_the_old_one_until_it_is_bound(self):
        device.cut_power()
        device.move_internet_to("wan4")
        device.l3ctl("init")
        self.assert_drift(
            "IPv6 forward_ext_ip: extra: jump forward_ext_ds_ip in wan3",
            "IPv6 forward_ext_ip: missing: jump forward_ext_ds_ip in wan4 (Internet WAN)",
        )
        device.l3ctl("wan", "update", "wan4")
        self.assert_no_drift("bound")

    def test_no_drift_after_random_settings(self):
        seed = int(os.environ.get("L3_LAB_SEED", random.randrange(1 << 32)))
        rng = Random(seed)
        for number in range(_ROUNDS):
            settings = random_settings.settings(rng)
            device.apply(settings)
            self.assert_no_drift(f"L3_LAB_SEED={seed}, round {number}, {json.dumps(settings)}")


class ByHand(Case):
    def test_a_deleted_rule(self):
        device.apply(_NAME)
        rules.run("iptables", "-D", "forward_ext_url", "1")
        self.assert_drift(f"IPv4 forward_ext_url: missing: {_NAME_IN_WORDS} (url_filter.entries[0])")

    def test_an_added_rule(self):
        rules.run("ip6tables", "-A", "forward_ext_mac", "-p", "udp", "--dport", "53", "-j", "ACCEPT")
        self.assert_drift("IPv6 forward_ext_mac: extra: ACCEPT udp 53")

    def test_reordered_rules(self):
        listed = [{"direction": "upstream", "protocol": "tcp", "destination_ports": str(port)} for port in (21, 22, 23)]
        device.apply({"ip_filter": {"enabled": True, "rules": listed}})
        rules.run("iptables", "-D", "forward_ext_us_ip", "1")
        rules.run("iptables", "-A", "forward_ext_us_ip", "-p", "tcp", "--dport", "21", "-j", "DROP")
        self.assert_drift("IPv4 forward_ext_us_ip: moved: DROP tcp 21 (ip_filter.rules[0])")

    def test_a_deleted_hook(self):
        rules.run("iptables", "-D", "FORWARD", "-j", "forward_ext_mac")
        self.assert_drift("IPv4 FORWARD: missing: jump forward_ext_mac (start-up)")

    def test_a_changed_span(self):
        device.apply(_NAME)
        saved = rules.run("iptables-save", "-t", "filter").stdout
        self.assertIn("--timestop 21:30:00", saved)
        with open("/tmp/changed", "w", encoding="utf-8") as file:
            file.write(saved.replace("--timestop 21:30:00", "--timestop 21:30:01"))
        rules.run("iptables-restore", "/tmp/changed")
        found = device.l3ctl("check", check=False)
        self.assertEqual((found.returncode, len(found.stdout.splitlines())), (3, 2), found.stdout)

    def test_rules_of_others_are_no_drift(self):
        rules.run("iptables", "-N", "somebody")
        rules.run("iptables", "-I", "FORWARD", "2", "-m", "comment", "--comment", "not the gateway's", "-j", "somebody")
        rules.run("iptables", "-I", "INPUT", "-s", "10.0.0.0/8", "-j", "DROP")
        self.assert_no_drift("foreign")
        self.assertIn("--comment not the gateway's", device.l3ctl("rules").stdout)


class Doctor(Case):
    def test_a_gateway_at_work_is_healthy_and_nothing_of_it_changes(self):
        device.apply(_NAME)
        files, before = device.stored_files(), {family: rules.saved(family) for family in (4, 6)}
        told = json.loads(device.l3ctl("doctor", "--json").stdout)
        self.assertEqual({finding["state"] for finding in told["findings"]}, {"ok"}, told)
        self.assertEqual((device.stored_files(), {family: rules.saved(family) for family in (4, 6)}), (files, before))

    def test_drift_is_a_problem(self):
        rules.run("iptables", "-A", "forward_ext_mac", "-j", "ACCEPT")
        found = device.l3ctl("doctor", check=False)
        self.assertEqual(found.returncode, 3)
        self.assertIn("IPv4 forward_ext_mac: extra: ACCEPT", found.stdout)

    def test_what_it_advises_against_drift_heals(self):
        for breakage in (["l3ctl", "wan", "update", "wan9"], ["iptables", "-A", "forward_ext_mac", "-j", "ACCEPT"],
                         ["ip6tables", "-D", "forward_ext_ip", "1"], ["iptables", "-A", "input_ext_dhcp", "-j", "DROP"],
                         ["iptables", "-A", "FORWARD", "-j", "forward_ext_ip"],
                         ["ip6tables", "-D", "FORWARD", "1"]):
            with self.subTest(breakage=breakage):
                rules.run(*breakage)
                advice = re.search("to do: (.*); \"l3ctl check\" lists all", device.l3ctl("doctor", check=False).stdout)
                for command in re.findall('"l3ctl ([^"]*)"', advice.group(1)):
                    device.l3ctl(*command.split())
                self.assert_no_drift("healed")


if __name__ == "__main__":
    unittest.main()
