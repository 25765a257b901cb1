"""The commands of the filters: list, on, off, clear, reset."""
import json
import unittest

from gateway import CONFIGURATION, Gateway, configuration

ALL = """{
  "firewall": {
    "enabled": true
  },
  "url_filter": {
    "enabled": true,
    "mode": "white-list",
    "entries": [
      {"host": "example.com", "active": "08:05-21:30"},
      {"enabled": false, "host": "printer", "active": "all day", "reserved": 5}
    ]
  },
  "mac_filter": {
    "enabled": true,
    "mode": "white-list",
    "devices": [
      {"mac": "02:00:00:00:00:01", "active": "20:30-24:00"}
    ]
  },
  "mac6_filter": {
    "enabled": true,
    "mode": "black-list",
    "devices": [
      {"mac": "02:00:00:00:00:02", "active": "all day", "reserved": "000000000001"}
    ]
  },
  "dhcp_filter": {
    "enabled": true,
    "mode": "white-list",
    "devices": [
      "02:00:00:00:00:01",
      {"mac": "02:00:00:00:00:02", "flag": 1}
    ]
  },
  "acl": {
    "enabled": true,
    "entries": [
      {"service": "telnet", "from": "lan", "sources": "192.168.1.4-192.168.1.5"},
      {"service": "web", "from": "wan", "sources": "any"}
    ]
  },
  "captive_portal": {
    "enabled": true,
    "destinations": [
      "203.0.113.2",
      {"enabled": false, "destination": "198.51.100.0/24"}
    ]
  }
}
"""

ACL_WARNS = ("l3ctl: warning: acl.entries: telnet alone is open to the LAN; web, ftp, snmp and ping from the LAN to the "
             "gateway are closed over IPv4\n"
             "l3ctl: warning: acl.entries: web alone is open to the WAN; ftp, snmp, telnet and ping from the WAN to the "
             "gateway are closed over IPv4\n"
             "l3ctl: warning: acl.entries: none takes ping from the wan, so the gateway's own pings get no answers\n")
URL_NOTE = ("l3ctl: note: url_filter sees only DNS queries over IPv4 and UDP that the gateway forwards; queries to the "
            "gateway's own resolver, over IPv6, over TCP or encrypted pass it\n")
BYPASSED = ("l3ctl: warning: mac_filter.mode: a white list accepts its devices before captive_portal sees their "
            "requests\n")
# What is said beside the result.
ON_WARNS = {"acl": ACL_WARNS, "url-filter": URL_NOTE, "mac-filter": BYPASSED, "captive-portal": BYPASSED}
CLEAR_WARNS = {
    "url-filter": "l3ctl: warning: url_filter.entries: a white list without an enabled name: every DNS query over IPv4 "
                  "that the LAN sends through the gateway is dropped, so no host is found by its name\n",
    "mac-filter": "l3ctl: warning: mac_filter.devices: a white list without an enabled device: no device of the LAN "
                  "reaches the Internet over IPv4\n",
    "captive-portal": "l3ctl: note: web requests pass until the rules are made again, by a start or by switching the "
                      "firewall or the portal on; the portal then drops them all unless it has a destination\n"}

LISTS = {
    "url-filter": """\
url_filter              on, white-list, 2 entries
     enabled  host         active       reserved
  0  true     example.com  08:05-21:30  -
  1  false    printer      all day      5
""",
    "mac-filter": """\
mac_filter              on, white-list, 1 entry
     mac                active
  0  02:00:00:00:00:01  20:30-24:00
mac6_filter             on, black-list, 1 entry
     mac                active   reserved
  0  02:00:00:00:00:02  all day  000000000001
""",
    "dhcp-filter": """\
dhcp_filter             on, white-list, 2 entries
     mac                flag
  0  02:00:00:00:00:01  -
  1  02:00:00:00:00:02  1
""",
    "acl": """\
acl                     on, 2 entries
     service  from  sources
  0  telnet   lan   192.168.1.4-192.168.1.5
  1  web      wan   any
""",
    "captive-portal": """\
captive_portal          on, 2 entries
     enabled  destination
  0  true     203.0.113.2
  1  false    198.51.100.0/24
""",
}

URL_RULES = [
    'iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string \x07example\x03com --algo bm '
    "-m time --timestart 8:5 --timestop 21:30 -j ACCEPT",
    "iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP",
]
MAC_RULES = [
    "iptables -A forward_ext_mac -i br0 -m mac --mac-source 02:00:00:00:00:01 -m time --timestart 20:30 "
    "--timestop 23:59 -j ACCEPT",
    "iptables -A forward_ext_mac -i br0 -j DROP",
]
MAC6_RULES = [
    "ip6tables -A forward_ext_mac -i br0 -m mac --mac-source 02:00:00:00:00:02 -m time --timestart 0:0 "
    "--timestop 23:59 -j DROP",
]
DHCP_RULES = [
    "iptables -A input_ext_dhcp -m mac --mac-source 02:00:00:00:00:01 -j ACCEPT",
    "iptables -A input_ext_dhcp -m mac --mac-source 02:00:00:00:00:02 -j ACCEPT",
    "iptables -A input_ext_dhcp -j DROP",
]
ACL_RULES = [
    "iptables -A input_ext_us_acl -p tcp --dport 23 -s 192.168.1.4/31 -j ACCEPT",
    "iptables -A input_ext_ds_acl -p tcp --dport 80 -j ACCEPT",
    "iptables -A input_ext_us_acl -j DROP",
    "iptables -A input_ext_ds_acl -j DROP",
]
PORTAL_RULES = [
    "iptables -A forward_ext_captiveportal -d 203.0.113.2 -j ACCEPT",
    "iptables -A forward_ext_captiveportal -j DROP",
]
SAVE = ["iptables-save -t filter"]
SAVE6 = ["ip6tables-save -t filter"]
FLUSH_MAC6 = ["ip6tables -t filter -F forward_ext_mac"]


def flush(*chains):
    return [f"iptables -t filter -F {chain}" for chain in chains]


FLUSH_ACL = flush("input_ext_us_acl", "input_ext_ds_acl")

# The commands of each verb. Off removes rules, on makes them again, clear keeps mode and switch.
OFF = {
    "url-filter": flush("forward_ext_url") + SAVE,
    "mac-filter": flush("forward_ext_mac") + SAVE + FLUSH_MAC6 + SAVE6,
    "dhcp-filter": flush("input_ext_dhcp") + SAVE,
    "acl": FLUSH_ACL + SAVE,
    "captive-portal": flush("forward_ext_captiveportal") + SAVE,
}
ON = {
    "url-filter": flush("forward_ext_url") + URL_RULES + SAVE,
    "mac-filter": flush("forward_ext_mac") + MAC_RULES + SAVE + FLUSH_MAC6 + MAC6_RULES + SAVE6,
    "dhcp-filter": flush("input_ext_dhcp") + DHCP_RULES + SAVE,
    "acl": FLUSH_ACL + ACL_RULES + SAVE,
    "captive-portal": flush("forward_ext_captiveportal") + PORTAL_RULES + SAVE,
}
CLEAR = {
    "url-filter": flush("forward_ext_url") + URL_RULES[-1:] + SAVE,
    "mac-filter": flush("forward_ext_mac") + MAC_RULES[-1:] + SAVE + FLUSH_MAC6 + SAVE6,
    "dhcp-filter": flush("input_ext_dhcp") + SAVE,
    "acl": FLUSH_ACL + SAVE,
    "captive-portal": flush("forward_ext_captiveportal") + SAVE,
}
RESET = {
    "url-filter": flush("forward_ext_url") + SAVE,
    "mac-filter": flush("forward_ext_mac") + FLUSH_MAC6 + SAVE + SAVE6,
    "dhcp-filter": flush("input_ext_dhcp") + SAVE,
    "acl": FLUSH_ACL + SAVE,
    "captive-portal": flush("forward_ext_captiveportal") + SAVE,
}
SECTIONS = {
    "url-filter": ["url_filter"],
    "mac-filter": ["mac_filter", "mac6_filter"],
    "dhcp-filter": ["dhcp_filter"],
    "acl": ["acl"],
    "captive-portal": ["captive_portal"],
}


class Filters(Gateway):
    def setUp(self):
        super().setUp()
        outcome = self.apply(ALL)
        self.assertEqual((outcome.status, outcome.out), (
            0, "applied: firewall, url_filter, mac_filter, mac6_filter, acl, captive_portal, dhcp_filter; "
               "unchanged: nothing\n"))
        self.applied = self.commands()

    def section(self, name):
        return json.loads(self.l3ctl("show", name, "--json").out)[name]

    def test_apply_sets_each_filter_after_the_switch(self):
        rules = (flush("forward_ext_url") + URL_RULES + SAVE + flush("forward_ext_mac") + MAC_RULES + SAVE +
                 FLUSH_MAC6 + MAC6_RULES + SAVE6 + FLUSH_ACL + ACL_RULES + SAVE +
                 flush("forward_ext_captiveportal") + PORTAL_RULES + SAVE + flush("input_ext_dhcp") +
                 DHCP_RULES + SAVE)
        self.assertEqual(self.applied[-len(rules):], rules)
        switch = self.applied[:-len(rules)]
        self.assertEqual(switch[0], "iptables -t filter -F input_ext_local_access")
        self.assertEqual(switch[-2:], SAVE + SAVE6)

    def test_everything_comes_back_as_it_was_applied(self):
        self.assert_outcome(
            self.l3ctl("show", "--json", "firewall", "url_filter", "mac_filter", "mac6_filter", "dhcp_filter",
                       "acl", "captive_portal"), 0, ALL)

    def test_list(self):
        for name, text in LISTS.items():
            with self.subTest(name):
                self.assert_outcome(self.l3ctl(name, "list"), 0, text)
                self.assertEqual(list(json.loads(self.l3ctl(name, "list", "--json").out)), SECTIONS[name])
        self.assertEqual(self.commands(), [])

    def test_off_and_on(self):
        for name, sections in SECTIONS.items():
            with self.subTest(name):
                self.assert_outcome(self.l3ctl(name, "off"), 0, f"{name}: off\n")
                self.assertEqual(self.commands(), OFF[name])
                for section in sections:
                    self.assertFalse(self.section(section)["enabled"])
                self.assert_outcome(self.l3ctl(name, "off"), 0, f"{name}: off\n")
                self.assertEqual(self.commands(), [])
                self.assert_outcome(self.l3ctl(name, "on"), 0, f"{name}: on\n", ON_WARNS.get(name, ""))
                self.assertEqual(self.commands(), ON[name])
                self.assert_outcome(self.l3ctl(name, "list"), 0, LISTS[name])

    def test_clear_keeps_mode_and_switch(self):
        for name, sections in SECTIONS.items():
            with self.subTest(name):
                expected = [dict(self.section(section)) for section in sections]
                for section in expected:
                    section[list(section)[-1]] = []
                self.assert_outcome(self.l3ctl(name, "clear"), 0, f"{name}: cleared\n", CLEAR_WARNS.get(name, ""))
                self.assertEqual(self.commands(), CLEAR[name])
                self.assertEqual([self.section(section) for section in sections], expected)

    def test_reset(self):
        for name in SECTIONS:
            with self.subTest(name):
                self.assert_outcome(self.l3ctl(name, "reset"), 0, f"{name}: back to the factory state\n")
                self.assertEqual(self.commands(), RESET[name])
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))

    def test_one_family_of_the_mac_filter(self):
        self.assert_outcome(self.l3ctl("mac-filter", "clear", "--ipv6"), 0, "mac-filter: cleared\n")
        self.assertEqual(self.commands(), FLUSH_MAC6 + SAVE6)
        self.assertEqual(len(self.section("mac_filter")["devices"]), 1)
        self.assertEqual(self.section("mac6_filter")["devices"], [])

    def test_a_rule_that_the_call_ignores_is_told_all_the_same(self):
        for name, rule in (("url-filter", URL_RULES[0]), ("mac-filter", MAC_RULES[0]), ("dhcp-filter", DHCP_RULES[1]),
                           ("captive-portal", PORTAL_RULES[0]), ("acl", ACL_RULES[0])):
            with self.subTest(name):
                self.l3ctl(name, "off")
                self.refuse(rule)
                outcome = self.l3ctl(name, "on")
                self.assertEqual(outcome.status, 3)
                self.assertTrue(outcome.err.endswith(
                    "ended with 1: iptables: Too many links\n"
                    "l3ctl: the packet filter refused a rule; everything is as it was before\n"), outcome.err)


if __name__ == "__main__":
    unittest.main()
