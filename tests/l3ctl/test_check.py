"""l3ctl check, over what iptables-save printed on real gateways and over changes to it."""
import json
import re
import unittest
from pathlib import Path

from live import DATA, FRESH4, SETTINGS, Rules, squeezed
from test_schema import faults


class Check(Rules):
    def drift(self):
        outcome = self.l3ctl("check")
        said = [line for line in outcome.err.splitlines() if not line.startswith("l3ctl: note: ")]
        self.assertEqual((outcome.status, said), (3 if outcome.out else 0, []))
        return outcome.out.splitlines()

    def test_what_real_gateways_saved_is_no_drift(self):
        self.settings(SETTINGS)
        for backend in ("legacy", "nft"):
            self.live((DATA / f"rules-{backend}-ipv4.txt").read_text(), (DATA / f"rules-{backend}-ipv6.txt").read_text())
            self.assertEqual(self.drift(), [], backend)
            told = json.loads(self.l3ctl("rules", "--json").out)
            self.assertEqual(faults("rules", told), [])
            states = {rule["state"] for table in told["tables"] for chain in table["chains"] for rule in chain["rules"]}
            self.assertEqual(states, {"as set"})

    def test_every_line_that_a_real_gateway_loses_is_drift(self):
        self.settings(SETTINGS)
        for family in ("ipv4", "ipv6"):
            lines = (DATA / f"rules-nft-{family}.txt").read_text().splitlines(True)
            self.live((DATA / "rules-nft-ipv4.txt").read_text(), (DATA / "rules-nft-ipv6.txt").read_text())
            for number, line in enumerate(lines):
                if " -A " not in line or "input_ext_dhcp -m" in line:
                    continue
                text = "".join(lines[:number] + lines[number + 1:])
                self.live(**{family: text})
                self.assertEqual(len(self.drift()), 1, line)

    def test_each_entry_of_a_real_gateway_is_traced_to_its_setting(self):
        self.settings(SETTINGS)
        self.live((DATA / "rules-legacy-ipv4.txt").read_text(), (DATA / "rules-legacy-ipv6.txt").read_text())
        text = squeezed(self.l3ctl("rules").out)
        for line in (
            "ACCEPT udp 27000-65535 source port 1-65535  ip_filter.rules[1]",
            "DROP to 192.168.1.20  ip_filter.rules[3]",
            "DROP  ip_filter.upstream",
            "DROP tcp 25 from fd00:1::10 to ::  ip6_filter.rules[0], matches no packet",
            "ACCEPT udp 53 name a-bc.org 23:00-01:00 in br0  url_filter.entries[4]",
            "DROP udp 53 in br0  url_filter.mode",
            "DROP mac 02:00:00:00:01:aa 20:30-23:59 in br0  mac_filter.devices[0]",
            "DROP in br0  mac6_filter.mode",
            "DROP mac 02:00:00:00:01:99  dhcp_filter.devices[0]",
            "ACCEPT tcp 23 from 192.168.1.14/31  acl.entries[3]",
            "ACCEPT to 203.0.113.0/25  captive_portal.destinations[0]",
            "ACCEPT  captive_portal.destinations[2]",
            "DROP  captive_portal.enabled",
            "DROP udp 4500 source port 4500  ipsec_pass_through",
            'LOG tcp not flags SYN of FIN,SYN,RST,ACK state NEW prefix "New not syn:"  port_scan_protection',
            "ACCEPT tcp flags RST of FIN,SYN,RST,ACK at most 1/sec  port_scan_protection",
        ):
            self.assertIn("─ " + line + "\n", text)

    def test_a_rule_that_was_taken_away(self):
        self.settings()
        self.live(re.sub(r"\[0:0\] -A forward_ext_url .*\n", "", FRESH4))
        self.assertEqual(self.drift(), ["IPv4 forward_ext_url: missing: DROP udp 53 name example.com 08:00-21:30 in br0 "
                                        "(url_filter.entries[0])"])

    def test_a_rule_that_was_added_and_one_that_was_changed(self):
        self.settings()
        self.changed("COMMIT", "[0:0] -A forward_ext_mac -s 192.168.1.9/32 -j ACCEPT\nCOMMIT")
        self.assertEqual(self.drift(), ["IPv4 forward_ext_mac: extra: ACCEPT from 192.168.1.9"])
        self.changed("--timestop 21:30:00", "--timestop 21:31:00")
        self.assertEqual(self.drift(), [
            "IPv4 forward_ext_url: extra: DROP udp 53 name example.com 08:00-21:31 in br0",
            "IPv4 forward_ext_url: missing: DROP udp 53 name example.com 08:00-21:30 in br0 (url_filter.entries[0])"])
        self.changed("-A input_ext_acl -i wan3", "-A input_ext_acl -i wan4")
        self.assertEqual(len(self.drift()), 2)

    def test_rules_whose_order_was_changed(self):
        self.settings()
        hook = "[0:0] -A FORWARD -j forward_ext_ip\n"
        mac = "[0:0] -A FORWARD -j forward_ext_mac\n"
        self.live(FRESH4.replace(hook, "").replace(mac, mac + hook))
        self.assertEqual(self.drift(), ["IPv4 FORWARD: moved: jump forward_ext_ip (start-up)"])

    def test_a_module_without_options_makes_another_rule(self):
        self.settings()
        self.changed("--dport 53 -m string", "--dport 53 -m socket -m string")
        self.assertEqual(len(self.drift()), 2)

    def test_missing_chains(self):
        self.settings()
        self.live("".join(line for line in FRESH4.splitlines(True) if "forward_ext_url" not in line))
        self.assertEqual(self.drift(), [
            "IPv4 FORWARD: missing: jump forward_ext_url (start-up)",
            "IPv4 forward_ext_url: the chain is missing",
            "IPv4 forward_ext_url: missing: DROP udp 53 name example.com 08:00-21:30 in br0 (url_filter.entries[0])"])

    def test_a_gateway_that_has_not_started(self):
        self.settings()
        self.live("", "*filter\n:FORWARD ACCEPT [0:0]\nCOMMIT\n")
        self.assertEqual(self.drift(), [
            f'{family}: none of the gateway\'s chains is there; "l3ctl init" makes them at start-up'
            for family in ("IPv4", "IPv6")])

    def test_hooks_that_a_second_start_doubled(self):
        self.settings()
        hook = "[0:0] -A FORWARD -j forward_ext_url\n"
        self.changed("COMMIT", hook + "COMMIT")
        self.assertEqual(self.drift(), ["IPv4 FORWARD: extra: jump forward_ext_url"])

    def test_what_the_gateways_life_leads_to_is_no_drift(self):
        self.settings()
        dispatch = "[0:0] -A forward_ext_ip -i br0 -j forward_ext_us_ip\n[0:0] -A forward_ext_ip -i wan3 -j forward_ext_ds_ip\n"
        self.changed("COMMIT", dispatch + "COMMIT")
        self.assertEqual(self.drift(), [], "bound twice")
        self.live(FRESH4.replace(dispatch, ""))
        self.assertEqual(self.drift(), [], "bound to no WAN")
        self.assertIn("note: the rules are bound to no Internet WAN", self.l3ctl("rules").out)
        self.assertIn("l3ctl: note: the rules are bound to no Internet WAN", self.l3ctl("check").err)
        self.assertEqual(len(json.loads(self.l3ctl("check", "--json").out)["notes"]), 1)
        self.changed("COMMIT", "[0:0] -A input_ext_local_access -j input_ext_local_access_ex\nCOMMIT")
        self.assertEqual(self.drift(), [], "fresh from the start")
        self.changed("[1:60] -A INPUT", "[0:0] -A INPUT -j input_ext_access_ctrl\n"
                     "[0:0] -A input_ext_access_ctrl -p tcp -m tcp --dport 23 -j DROP\n[1:60] -A INPUT")
        self.assertEqual(self.drift(), [], "management access")
        self.settings('{"dhcp_filter": {"enabled": true, "devices": ["02:00:00:00:00:07"]}}')
        self.live(FRESH4)
        self.assertEqual(self.drift(), [], "DHCP rules after a restart")
        self.assertIn("note: the DHCP filter's rules are not there", self.l3ctl("rules").out)
        self.changed("COMMIT", "[0:0] -A input_ext_dhcp -m mac --mac-source 02:00:00:00:00:08 -j DROP\nCOMMIT")
        self.assertEqual(len(self.drift()), 2, "DHCP rules of another list")

    def test_rules_and_chains_of_others_are_no_drift(self):
        self.settings()
        self.changed(":forward_ext_bad_tcp", ":docker - [0:0]\n:forward_ext_bad_tcp")
        self.changed("COMMIT", "[0:0] -A docker -j ACCEPT\n[0:0] -A FORWARD -j docker\n[0:0] -A INPUT -j DROP\nCOMMIT",
                     Path("/tmp/saved-iptables-save").read_text())
        self.assertEqual(self.drift(), [])
        self.assertIn("└─ jump docker  foreign\n  └─ ACCEPT  foreign\n", squeezed(self.l3ctl("rules").out))

    def test_ipsec_rules_that_no_setting_asks_for(self):
        self.settings()
        self.changed("COMMIT", "[0:0] -A FORWARD -p udp -m udp --sport 500 --dport 500 -j DROP\nCOMMIT")
        self.assertEqual(self.drift(), ["IPv4 FORWARD: extra: DROP udp 500 source port 500"])

    def test_as_json(self):
        self.settings()
        outcome = self.l3ctl("check", "--json")
        self.assertEqual((outcome.status, json.loads(outcome.out)), (0, {"follows": True, "drift": [], "notes": []}))
        self.changed("COMMIT", "[0:0] -A forward_ext_mac -j ACCEPT\nCOMMIT")
        self.assertEqual(faults("rules", json.loads(self.l3ctl("rules", "--json").out)), [])
        outcome = self.l3ctl("check", "--json")
        self.assertEqual(faults("check", json.loads(outcome.out)), [])
        self.assertEqual((outcome.status, json.loads(outcome.out)), (3, {"follows": False, "drift": [
            {"family": "IPv4", "chain": "forward_ext_mac", "state": "extra", "rule": "ACCEPT", "origin": None}], "notes": []}))

    def test_a_packet_filter_that_does_not_answer(self):
        for ipv4, said in (
            ("*filter\n:INPUT ACCEPT [0:0]\n", "iptables-save stopped in the middle of its answer"),
            ("*filter\nnonsense\nCOMMIT\n", "iptables-save says what is not understood: nonsense"),
            ("*filter\n:INPUT\nCOMMIT\n", "iptables-save says what is not understood: :INPUT"),
            ("*filter\n[0:0] -A nowhere -j DROP\nCOMMIT\n",
             "iptables-save says what is not understood: [0:0] -A nowhere -j DROP"),
        ):
            self.live(ipv4)
            outcome = self.l3ctl("check")
            self.assertEqual((outcome.status, outcome.out, outcome.err), (1, "", f"l3ctl: {said}\n"))
        self.hook("iptables-save", "echo 'Permission denied (you must be root)' >&2; exit 4")
        self.assert_outcome(self.l3ctl("rules"), 1, "",
                            "l3ctl: iptables-save ended with 4: Permission denied (you must be root)\n")


del Rules

if __name__ == "__main__":
    unittest.main()
