"""Export, factory reset, apply, export gives the same text, for every setting there is."""
import json
import os
import random
import re
import unittest
from pathlib import Path

from gateway import CONFIGURATION, Gateway, configuration

REPOSITORY = Path(__file__).parent.parent.parent

EVERYTHING = {
    "firewall": {"enabled": True},
    "port_scan_protection": True,
    "ipsec_pass_through": False,
    "vpn_pass_through": True,
    "ip_filter": {
        "enabled": False, "upstream": "white-list", "downstream": "white-list",
        "rules": [
            {"direction": "upstream", "protocol": "tcp", "source": "192.168.1.20",
             "destination": "203.0.113.2", "source_ports": "1024-65535", "destination_ports": "80", "index": 1,
             "second_source": "192.168.1.21", "second_destination": "203.0.113.3", "reserved": 4294967295},
            {"direction": "downstream", "protocol": "all"},
            {"direction": "downstream", "protocol": "udp", "source_ports": "0-80", "destination_ports": "80-0"}]},
    "ip6_filter": {
        "enabled": True, "upstream": "white-list", "downstream": "black-list",
        "rules": [
            {"direction": "upstream", "protocol": "icmp", "source": "fd00:1::10", "destination": "2001:db8::1",
             "index": 3, "second_source": "::1", "second_destination": "fe80::1", "reserved": 1}]},
    "url_filter": {
        "enabled": True, "mode": "white-list",
        "entries": [
            {"host": "example.com", "active": "08:05-21:30"},
            {"enabled": False, "host": ".abcdefghijklmnopqrstuvwxyz.123", "active": "23:00-01:00", "reserved": 9}]},
    "mac_filter": {
        "enabled": True, "mode": "white-list",
        "devices": [{"mac": "02:00:00:00:00:01", "active": "all day", "reserved": "010203040506"}]},
    "mac6_filter": {
        "enabled": False, "mode": "black-list",
        "devices": [{"enabled": False, "mac": "02:00:00:00:00:02", "active": "20:00-24:00"}]},
    "dhcp_filter": {
        "enabled": True, "mode": "white-list",
        "devices": ["02:00:00:00:00:01", {"mac": "02:00:00:00:00:03", "flag": 7, "reserved": "00000000000000000001"}]},
    "acl": {
        "enabled": True,
        "entries": [
            {"service": "all", "from": "lan", "sources": "any"},
            {"enabled": False, "service": "snmp", "from": "wan", "sources": "203.0.113.9"},
            {"service": "ping", "from": "lan", "sources": "192.168.1.2-192.168.2.10"}]},
    "captive_portal": {
        "enabled": True,
        "destinations": ["203.0.113.2", {"enabled": False, "destination": "198.51.100.0/24"}]},
    "route_qos": {"enabled": True, "rules": "02" + "00" * 20 + "ff" * 223},
}


class RandomSettings:
    """Random settings, every part of them allowed."""

    def __init__(self, seed):
        self.random = random.Random(seed)

    def number(self, bits):
        return self.random.getrandbits(bits)

    def sometimes(self, entry, key, value):
        if self.random.random() < 0.3:
            entry[key] = value

    def switch(self):
        return self.random.random() < 0.5

    def mode(self):
        return self.random.choice(["black-list", "white-list"])

    def ipv4(self):
        return ".".join(str(n) for n in (self.random.randint(1, 223), self.number(8), self.number(8), self.number(8)))

    def ipv6(self):
        return ":".join(f"{self.random.randint(1, 65535):x}" for _ in range(8))

    def mac(self):
        """A device's own address: no multicast one, and not all zero."""
        first = self.number(8) & 0xFE
        return ":".join(f"{octet:02x}" for octet in (first or 2, *(self.number(8) for _ in range(5))))

    def ports(self):
        first, last = sorted(self.random.sample(range(1, 65536), 2))
        return self.random.choice([str(first), f"{first}-{last}"])

    def span(self):
        hour, minute = self.random.randint(0, 23), self.random.randint(0, 59)
        return self.random.choice(["all day", f"{hour:02}:{minute:02}-24:00" if hour else "01:00-24:00",
                                   f"{hour:02}:{minute:02}-{self.random.randint(0, 23):02}:{minute:02}"])

    def host(self):
        return ".".join("".join(self.random.choices("abcdefghijklmnopqrstuvwxyz0123456789", k=self.random.randint(1, 9)))
                        for _ in range(self.random.randint(1, 3)))

    def many(self, most, make):
        return [make() for _ in range(self.random.choice([0, 1, 2, most]))]

    def rule(self, address):
        rule = {"direction": self.random.choice(["upstream", "downstream"]),
                "protocol": self.random.choice(["all", "icmp", "tcp", "udp"])}
        self.sometimes(rule, "source", address())
        self.sometimes(rule, "destination", address())
        self.sometimes(rule, "source_ports", self.ports())
        self.sometimes(rule, "destination_ports", self.ports())
        self.sometimes(rule, "index", self.random.randint(1, 2**32 - 1))
        self.sometimes(rule, "second_source", address())
        self.sometimes(rule, "second_destination", address())
        self.sometimes(rule, "reserved", self.random.randint(1, 2**32 - 1))
        return rule

    def timed(self, key, value, reserved):
        entry = {}
        self.sometimes(entry, "enabled", False)
        entry[key] = value
        entry["active"] = self.span()
        self.sometimes(entry, "reserved", reserved)
        return entry

    def acl_entry(self):
        entry = {}
        self.sometimes(entry, "enabled", False)
        first = self.random.randint(0x01000000, 0xDF000000)
        last = first | self.number(16)
        text = ["%d.%d.%d.%d" % tuple(n.to_bytes(4, "big")) for n in (first, last)]
        entry["service"] = self.random.choice(["all", "web", "ftp", "snmp", "telnet", "ping"])
        entry["from"] = self.random.choice(["lan", "wan"])
        entry["sources"] = self.random.choice(["any", text[0], text[0] if first == last else "-".join(text)])
        return entry

    def dhcp_device(self):
        device = {"mac": self.mac()}
        self.sometimes(device, "flag", self.random.randint(1, 2**32 - 1))
        self.sometimes(device, "reserved", f"{self.random.randint(1, 2**80 - 1):020x}")
        return device if len(device) > 1 else device["mac"]

    def destination(self):
        text = self.random.choice([self.ipv4(), f"{self.ipv4()}/{self.random.randint(0, 32)}"])
        return self.random.choice([text, {"enabled": False, "destination": text}])

    def ip_filter(self, address):
        return {"enabled": self.switch(), "upstream": self.mode(), "downstream": self.mode(),
                "rules": self.many(50, lambda: self.rule(address))}

    def mac_filter(self):
        return {"enabled": self.switch(), "mode": self.mode(), "devices": self.many(
            10, lambda: self.timed("mac", self.mac(), f"{self.random.randint(1, 2**48 - 1):012x}"))}

    def settings(self):
        return {
            "firewall": {"enabled": self.switch()},
            "port_scan_protection": self.switch(),
            "ipsec_pass_through": self.switch(),
            "vpn_pass_through": self.switch(),
            "ip_filter": self.ip_filter(self.ipv4),
            "ip6_filter": self.ip_filter(self.ipv6),
            "url_filter": {"enabled": self.switch(), "mode": self.mode(), "entries": self.many(
                50, lambda: self.timed("host", self.host(), self.random.randint(1, 2**32 - 1)))},
            "mac_filter": self.mac_filter(),
            "mac6_filter": self.mac_filter(),
            "dhcp_filter": {"enabled": self.switch(), "mode": self.mode(), "devices": self.many(10, self.dhcp_device)},
            "acl": {"enabled": self.switch(), "entries": self.many(16, self.acl_entry)},
            "captive_portal": {"enabled": self.switch(), "destinations": self.many(32, self.destination)},
            "route_qos": {"enabled": self.switch(), "rules": self.random.choice(
                ["", "01", f"{self.number(8 * 244 - 8):0486x}ff"])},
        }


class RoundTrip(Gateway):
    def exported(self):
        outcome = self.l3ctl("export")
        self.assertEqual((outcome.status, outcome.err), (0, ""))
        return outcome.out

    def check(self, settings):
        outcome = self.apply(json.dumps(settings))
        self.assertEqual(outcome.status, 0, outcome.err)
        text = self.exported()
        self.assertEqual(json.loads(text), settings)
        stored = CONFIGURATION.read_bytes()
        for arguments in (["reset", "--yes"], ["vpn", "reset"], ["ipsec", "on"]):
            self.assertEqual(self.l3ctl(*arguments).status, 0)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())
        self.assertEqual(self.apply(text).status, 0)
        self.assertEqual(self.exported(), text)
        self.assertEqual(CONFIGURATION.read_bytes(), stored)
        self.commands()
        outcome = self.apply(text)
        self.assertEqual((outcome.status, outcome.out[:25]), (0, "applied: nothing; unchang"))
        self.assertEqual(self.commands(), [])

    def test_every_setting(self):
        self.check(EVERYTHING)

    def test_random_settings(self):
        for seed in range(200 if os.environ.get("L3_TEST_FULL") else 4):
            with self.subTest(seed=seed):
                self.check(RandomSettings(seed).settings())

    def test_the_example_settings(self):
        text = (REPOSITORY / "examples" / "home.json").read_text(encoding="utf-8")
        outcome = self.apply(text)
        self.assertEqual(outcome.status, 0, outcome.err)
        self.assertNotIn("warning", outcome.err)
        stored = json.loads(self.exported())
        for name, section in json.loads(text).items():
            self.assertEqual(stored[name], section)


class Documents(Gateway):
    PAGE = REPOSITORY / "docs" / "settings.md"

    def test_every_example_is_taken(self):
        examples = re.findall(r"^```json\n(.*?)^```", self.PAGE.read_text(encoding="utf-8"), re.DOTALL | re.MULTILINE)
        self.assertGreaterEqual(len(examples), 9)
        for example in examples:
            with self.subTest(example):
                outcome = self.apply(example)
                self.assertEqual(outcome.status, 0, outcome.err)

    def test_every_key_is_described(self):
        described = set(re.findall(r"`([a-z0-9_]+)`", self.PAGE.read_text(encoding="utf-8")))

        def keys(value):
            if isinstance(value, dict):
                return set(value).union(*(keys(member) for member in value.values()))
            if isinstance(value, list):
                return set().union(*(keys(member) for member in value))
            return set()

        self.assertEqual((keys(EVERYTHING) | {"security_level"}) - described, set())


if __name__ == "__main__":
    unittest.main()
