"""The switches, the security level and status."""
import json
import unittest
from pathlib import Path

from gateway import CONFIGURATION, FW, Gateway, configuration, word

FLUSH = [f"iptables -t filter -F {chain}" for chain in (
    "input_ext_local_access", "input_ext_us_acl", "input_ext_ds_acl", "input_ext_dhcp", "forward_ext_bad_tcp",
    "forward_ext_us_ip", "forward_ext_ds_ip", "forward_ext_url", "forward_ext_mac",
    "forward_ext_captiveportal", "input_ext_local_access_ex")]
FLUSH6 = [f"ip6tables -t filter -F {chain}" for chain in (
    "forward_ext_us_ip", "forward_ext_ds_ip", "forward_ext_mac")]
SAVES = ["iptables-save -t filter", "ip6tables-save -t filter"]
SCAN_FLUSH = [f"iptables -t filter -F {chain}" for chain in (
    "forward_ext_bad_tcp", "input_ext_local_access", "input_ext_local_access_ex")]

STATUS = """\
firewall                on
security_level          high
internet_wan            none
bound_to                none
lan_address             none
port_scan_protection    on
ipsec_pass_through      on
vpn_pass_through        off
ip_filter               on, 1 entry
ip6_filter              on, 0 entries
url_filter              off, 0 entries
mac_filter              off, 0 entries
mac6_filter             off, 0 entries
dhcp_filter             off, 0 entries
acl                     off, 2 entries
captive_portal          off, 0 entries
route_qos               off, 0 entries
saved_rules             IPv4 no, IPv6 no
"""


class Switches(Gateway):
    def test_firewall(self):
        self.store()
        self.assert_outcome(self.l3ctl("firewall", "status"), 0, "firewall                off\n")
        outcome = self.l3ctl("firewall", "on")
        self.assertEqual((outcome.status, outcome.out), (0, "firewall: on\n"))
        self.assertEqual(self.commands(), FLUSH + FLUSH6 + SAVES)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
        self.assert_outcome(self.l3ctl("firewall", "status", "--json"), 0,
                            '{\n  "firewall": {\n    "enabled": true\n  }\n}\n')
        self.assert_outcome(self.l3ctl("firewall", "off"), 0, "firewall: off\n")
        self.assertEqual(self.commands(), FLUSH + FLUSH6)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_port_scan(self):
        self.store()
        self.assert_outcome(self.l3ctl("port-scan", "on"), 0, "port-scan: on\n")
        self.assertEqual(self.commands(), SCAN_FLUSH + SAVES[:1])
        self.assert_outcome(self.l3ctl("port-scan", "status"), 0, "port_scan_protection    on\n")
        self.assert_outcome(self.l3ctl("port-scan", "off"), 0, "port-scan: off\n")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_ipsec(self):
        self.store()
        block = ["-p udp --sport 500 --dport 500 -j DROP", "-p udp --sport 4500 --dport 4500 -j DROP"]
        remove = [f"iptables -t filter -D FORWARD {rule}" for rule in block]
        add = [f"iptables -t filter -A FORWARD {rule}" for rule in block]
        self.refuse(*remove)
        outcome = self.l3ctl("ipsec", "off")
        self.assertEqual((outcome.status, outcome.out), (0, "ipsec: off\n"))
        self.assertEqual(self.commands(), remove + add + SAVES[:1])
        self.assert_outcome(self.l3ctl("ipsec", "status"), 0, "ipsec_pass_through      off\n")
        self.refuse(*add)
        self.l3ctl("ipsec", "on")
        self.assertEqual(self.l3ctl("ipsec", "off").status, 3)

    def test_vpn(self):
        self.store()
        self.assert_outcome(self.l3ctl("vpn", "on"), 0, "vpn: on\n")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(vpn=True))
        self.assertEqual(Path("/run/l3_advance/vpn_driver").read_text(), "47 1\n")
        self.assert_outcome(self.l3ctl("vpn", "status"), 0, "vpn_pass_through        on\n")
        self.assert_outcome(self.l3ctl("vpn", "reset"), 0, "vpn: back to the factory state\n")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())
        self.assertEqual(Path("/run/l3_advance/vpn_driver").read_text(), "47 0\n")

    def test_level(self):
        self.store()
        self.assert_outcome(self.l3ctl("level"), 0, "security level off\n")
        for word_, firewall, scan in (("low", True, 0), ("high", True, 1), ("off", False, 1)):
            outcome = self.l3ctl("level", word_)
            self.assertEqual((outcome.status, outcome.out), (0, f"level: {word_}\n"))
            stored = CONFIGURATION.read_bytes()
            self.assertEqual(stored[29:31], b"1\n" if firewall else b"0\n")
            self.assertEqual(stored[FW + 4628:FW + 4632], word(scan))
            self.assert_outcome(self.l3ctl("level", "--json"), 0,
                                f'{{\n  "security_level": "{word_}"\n}}\n')
        self.assertEqual(self.l3ctl("level", "2").status, 2)

    def test_a_level_in_a_settings_file(self):
        self.store()
        outcome = self.apply('{"security_level": "high", "port_scan_protection": true}')
        self.assertEqual((outcome.status, outcome.out),
                         (0, "applied: security_level; unchanged: port_scan_protection\n"))
        outcome = self.apply('{"security_level": "high", "firewall": {"enabled": true}}')
        self.assert_outcome(outcome, 0, "applied: nothing; unchanged: security_level, firewall\n")
        outcome = self.apply('{"security_level": "low"}')
        self.assertEqual((outcome.status, outcome.out),
                         (0, "applied: security_level; unchanged: nothing\n"))
        self.assert_outcome(self.l3ctl("port-scan", "status"), 0, "port_scan_protection    off\n")

    def test_portal(self):
        self.store(w6160=1)
        self.assert_outcome(self.l3ctl("portal", "status"), 0, "portal inactive\n")
        outcome = self.l3ctl("portal", "on")
        self.assertEqual((outcome.status, outcome.out), (0, "portal: the firewall is on\n"))
        self.assertTrue(outcome.err.startswith(
            'l3ctl: note: this switches the whole firewall; "l3ctl captive-portal on" switches the portal '
            "alone\n"), outcome.err)
        self.assert_outcome(self.l3ctl("portal", "status"), 0, "portal active\n")
        self.assert_outcome(self.l3ctl("portal", "status", "--json"), 0, '{\n  "active": true\n}\n')
        self.assertEqual(self.l3ctl("portal", "off").status, 0)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(w6160=1))

    def test_reading_without_a_file_creates_none(self):
        for arguments in (["firewall", "status"], ["portal", "status"], ["qos", "show"], ["status"],
                          ["acl", "list"]):
            self.assertEqual(self.l3ctl(*arguments).status, 0)
            asked = ["iptables-save -c -t filter", "ip6tables-save -c -t filter"]
            self.assertEqual(self.commands(), asked if arguments == ["status"] else [])
            self.assert_untouched()


class Status(Gateway):
    def test_on_one_screen(self):
        self.store(firewall=True, w4628=1, w0=1, w5060=2)
        self.assert_outcome(self.l3ctl("status"), 0, STATUS)
        self.store(w4628=1, w0=1, w5060=2)
        off = self.l3ctl("status").out
        self.assertIn("security_level          off\n", off)
        self.assertIn("ip_filter               waits for the firewall, 1 entry\n", off)

    def test_as_json(self):
        self.store(firewall=True, w4628=1, w0=1)
        status = json.loads(self.l3ctl("status", "--json").out)
        self.assertEqual(status["security_level"], "high")
        self.assertEqual(status["internet_wan"], None)
        self.assertEqual(status["lists"]["ip_filter"], {"enabled": True, "active": True, "entries": 1})
        self.assertEqual(status["lists"]["acl"], {"enabled": False, "active": False, "entries": 0})
        self.assertEqual(status["saved_rules"], {"ipv4": False, "ipv6": False})

    def test_what_the_rules_are_bound_to(self):
        self.store(firewall=True)
        for ipv4, ipv6, words in (("wan3", "wan3", "wan3"), ("wan9", None, "ip_filter wan9, ip6_filter none, acl none"),
                                  ("wan3", "wan4", "ip_filter wan3, ip6_filter wan4, acl none")):
            answers = []
            for wan in (ipv4, ipv6):
                bound = f"[0:0] -A forward_ext_ip -i {wan} -j forward_ext_ds_ip\n" if wan else ""
                acl = f"[0:0] -A input_ext_acl -i {wan} -j input_ext_ds_acl\n" if words == "wan3" else ""
                answers.append(f"*filter\n:forward_ext_ip - [0:0]\n:input_ext_acl - [0:0]\n{bound}{acl}COMMIT\n")
            self.live(*answers)
            self.assertIn(f"bound_to                {words}\n", self.l3ctl("status").out)
        self.hook("iptables-save", "exit 4")
        self.assertIn("bound_to                unknown\n", self.l3ctl("status").out)

    def test_version_is_registered_with_the_platform(self):
        outcome = self.l3ctl("version")
        self.assertEqual((outcome.status, outcome.err), (0, ""))
        self.assertTrue(outcome.out.startswith("l3ctl 10.0.0\nlibl3_advance.so "), outcome.out)
        self.assertEqual(json.loads(self.l3ctl("version", "--json").out)["l3ctl"], "10.0.0")


if __name__ == "__main__":
    unittest.main()
