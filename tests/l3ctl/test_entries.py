"""One entry of a list at a time: add and delete."""
import json
import unittest

from gateway import CONFIGURATION, Gateway

SAVE = "iptables-save -t filter"
MAC = "02:00:00:00:00:01"


class Entries(Gateway):
    def setUp(self):
        super().setUp()
        self.store(firewall=True)

    def entries(self, section, key):
        return json.loads(self.l3ctl("export").out)[section][key]

    def switch_on(self, command):
        self.l3ctl(command, "on")
        self.commands()

    def assert_refused(self, arguments, *messages):
        before = CONFIGURATION.read_bytes()
        outcome = self.l3ctl(*arguments)
        self.assert_outcome(outcome, 2, err="".join(f"l3ctl: {message}\n" for message in messages))
        self.assertEqual(CONFIGURATION.read_bytes(), before)
        self.assertEqual(self.commands(), [])

    def test_an_address_of_zeros_is_refused(self):
        none = ('"00:00:00:00:00:00" is not allowed; it must be a hardware address of six pairs such as '
                '"02:00:00:00:00:01", not all of them zero')
        for command, section in (("mac-filter --ipv4", "mac_filter"), ("mac-filter --ipv6", "mac6_filter"),
                                 ("mac-filter", "mac_filter"), ("dhcp-filter", "dhcp_filter")):
            self.assert_refused([*command.split(), "add", "00:00:00:00:00:00"], f"{section}.devices[0].mac: {none}",
                                "nothing was changed")
        for document, path in (({"dhcp_filter": {"enabled": True, "devices": [MAC, {"mac": "00:00:00:00:00:00", "flag": 1}]}},
                                "dhcp_filter.devices[1].mac"),
                               ({"mac6_filter": {"enabled": True, "devices": [{"mac": "00:00:00:00:00:00"}]}},
                                "mac6_filter.devices[0].mac")):
            self.assert_outcome(self.apply(json.dumps(document)), 2,
                                err=f"l3ctl: standard input:1: {path}: {none}\nl3ctl: nothing was changed\n")
        self.assertEqual(self.l3ctl("inspect").status, 0)

    def test_a_device_is_added_to_the_lists_of_both_families_and_deleted_by_its_address(self):
        self.switch_on("mac-filter")
        self.assert_outcome(self.l3ctl("mac-filter", "add", MAC, "active=08:00-21:30"), 0,
                            out="mac-filter: added as mac_filter entry 0, mac6_filter entry 0\n")
        device = {"mac": MAC, "active": "08:00-21:30"}
        self.assertEqual(self.entries("mac_filter", "devices"), [device])
        self.assertEqual(self.entries("mac6_filter", "devices"), [device])
        self.assert_outcome(self.l3ctl("mac-filter", "delete", MAC), 0, out="mac-filter: deleted 2 entries\n")
        self.assertEqual(self.entries("mac_filter", "devices"), [])
        self.assertEqual(self.entries("mac6_filter", "devices"), [])

    def test_an_option_names_one_family(self):
        self.switch_on("mac-filter")
        self.assert_outcome(self.l3ctl("mac-filter", "--ipv6", "add", MAC), 0,
                            out="mac-filter: added as mac6_filter entry 0\n")
        self.assertEqual(self.entries("mac_filter", "devices"), [])

    def test_adding_refills_the_one_chain(self):
        self.switch_on("url-filter")
        self.assert_outcome(self.l3ctl("url-filter", "add", "example.com", "active=08:05-21:30"), 0,
                            out="url-filter: added as url_filter entry 0\n")
        self.assertEqual(self.commands(), [
            "iptables -t filter -F forward_ext_url",
            "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string \x07example\x03com --algo bm "
            "-m time --timestart 8:5 --timestop 21:30 -j DROP",
            SAVE])

    def test_addresses_say_which_family_a_rule_is_for(self):
        self.l3ctl("ip-filter", "add", "direction=upstream", "protocol=tcp", "destination_ports=25")
        self.l3ctl("ip-filter", "add", "direction=upstream", "protocol=tcp", "source=fd00:1::20",
                   "destination=2001:db8::1")
        self.assertEqual(self.entries("ip_filter", "rules"),
                         [{"direction": "upstream", "protocol": "tcp", "destination_ports": "25"}])
        self.assertEqual(self.entries("ip6_filter", "rules"),
                         [{"direction": "upstream", "protocol": "tcp", "source": "fd00:1::20",
                           "destination": "2001:db8::1"}])

    def test_numbers_and_switches_are_no_texts(self):
        self.l3ctl("ip-filter", "add", "direction=upstream", "protocol=all", "index=7")
        self.l3ctl("url-filter", "add", "example.org", "enabled=false")
        self.assertEqual(self.entries("ip_filter", "rules"),
                         [{"index": 7, "direction": "upstream", "protocol": "all"}])
        self.assertEqual(self.entries("url_filter", "entries"),
                         [{"enabled": False, "host": "example.org", "active": "all day"}])

    def test_an_entry_is_deleted_by_its_number_and_the_others_move_up(self):
        for service in ("web", "telnet", "ping"):
            self.l3ctl("acl", "add", f"service={service}", "from=lan", "sources=any")
        self.assert_outcome(self.l3ctl("acl", "delete", "1"), 0,
                            out="acl: deleted 1 entry\n")
        self.assertEqual([entry["service"] for entry in self.entries("acl", "entries")], ["web", "ping"])

    def test_bare_texts_are_entries_too(self):
        self.l3ctl("dhcp-filter", "add", MAC)
        self.l3ctl("captive-portal", "add", "203.0.113.0/24")
        self.assertEqual(self.entries("dhcp_filter", "devices"), [MAC])
        self.assertEqual(self.entries("captive_portal", "destinations"), ["203.0.113.0/24"])
        self.l3ctl("dhcp-filter", "delete", MAC)
        self.l3ctl("captive-portal", "delete", "0")
        self.assertEqual(self.entries("dhcp_filter", "devices"), [])
        self.assertEqual(self.entries("captive_portal", "destinations"), [])

    def test_what_is_off_is_noted(self):
        self.store(firewall=False)
        self.assert_outcome(
            self.l3ctl("dhcp-filter", "add", MAC), 0, out="dhcp-filter: added as dhcp_filter entry 0\n",
            err='l3ctl: note: the list is off; "l3ctl dhcp-filter on" applies it\n'
                'l3ctl: note: the firewall is off; "l3ctl firewall on" makes the rules\n')

    def test_a_warning_that_stood_before_is_not_told_again(self):
        self.switch_on("url-filter")
        night = self.l3ctl("url-filter", "add", "example.com", "active=22:00-06:00")
        self.assert_outcome(night, 0, out="url-filter: added as url_filter entry 0\n",
                            err="l3ctl: warning: url_filter.entries[0].active: goes past midnight, "
                                "UTC, into the next day\n")
        both = self.l3ctl("mac-filter", "add", MAC, "active=22:00-06:00")
        self.assertEqual(both.err.count("goes past midnight"), 1, both.err)
        self.assert_outcome(self.l3ctl("url-filter", "add", "example.org"), 0,
                            out="url-filter: added as url_filter entry 1\n")

    def test_a_wrong_entry_is_refused_by_name_and_nothing_changes(self):
        nothing = "nothing was changed"
        self.assert_refused(("ip-filter", "add", "direction=sideways", "protocol=tcp"),
                            'ip_filter.rules[0].direction: "sideways" is not allowed; it must be '
                            '"upstream" or "downstream"', nothing)
        self.assert_refused(("acl", "add", "web"), f'acl: "web" is not KEY=VALUE; {nothing}')
        self.assert_refused(("mac-filter", "add", MAC, "active"),
                            'mac-filter: "active" is not allowed; it must be a hardware address of six pairs such as '
                            '"02:00:00:00:00:01", not all of them zero, or the name or an address of a device: none is '
                            'known by this one (the neighbour table was not read: ip ends with 1: Cannot find device "br0"); '
                            + nothing)
        self.assert_refused(("url-filter", "add", "a", "host=b"), f'url-filter: "host" is given twice; {nothing}')

    def test_the_same_entry_twice_is_not_added(self):
        self.switch_on("url-filter")
        self.l3ctl("url-filter", "add", "example.com")
        self.assert_outcome(self.l3ctl("url-filter", "add", "example.com", "active=08:00-09:00"), 0,
                            "url-filter: added as url_filter entry 1\n",
                            'l3ctl: note: url_filter entry 0 names example.com too, and both count; "l3ctl url-filter set" changes '
                            "an entry\n")
        self.assert_outcome(self.l3ctl("url-filter", "add", "example.com"), 0,
                            out="url-filter: nothing to add\n",
                            err="l3ctl: note: url_filter entry 0 says the same, so it is not added\n")

    def test_a_number_that_both_families_have_needs_one_of_them(self):
        for number in (1, 2):
            self.l3ctl("mac-filter", "--ipv4", "add", f"02:00:00:00:00:0{number}")
        self.l3ctl("mac-filter", "--ipv6", "add", "02:00:00:00:00:03")
        self.commands()
        self.assert_refused(("mac-filter", "delete", "0"),
                            "mac-filter: both mac_filter and mac6_filter have an entry 0: --ipv4 or --ipv6 says "
                            "which; nothing was changed")
        self.assert_outcome(self.l3ctl("mac-filter", "--ipv6", "delete", "0"), 0, out="mac-filter: deleted 1 entry\n")
        self.assert_outcome(self.l3ctl("mac-filter", "delete", "0"), 0, out="mac-filter: deleted 1 entry\n")
        self.assertEqual([device["mac"] for device in self.entries("mac_filter", "devices")], ["02:00:00:00:00:02"])

    def test_help_speaks_of_spans_and_modes_where_they_are_told(self):
        self.assertIn("time spans (active) are in time_zone, or UTC", self.l3ctl("url-filter", "add", "--help").out)
        self.assertNotIn("time spans", self.l3ctl("ip-filter", "add", "--help").out)
        self.assertIn("or a white list", self.l3ctl("mac-filter", "--help").out)

    def test_one_entry_too_many_is_refused_and_nothing_changes(self):
        for number in range(10):
            self.assertEqual(self.l3ctl("dhcp-filter", "add", f"02:00:00:00:00:{number:02}").status, 0)
        self.commands()
        before = CONFIGURATION.read_bytes()
        outcome = self.l3ctl("dhcp-filter", "add", "02:00:00:00:01:00")
        self.assertEqual((outcome.status, outcome.out), (2, ""))
        self.assertIn("dhcp_filter is full: it holds 10 entries", outcome.err)
        self.assertTrue(outcome.err.endswith("nothing was changed\n"))
        self.assertEqual((CONFIGURATION.read_bytes(), self.commands()), (before, []))

    def test_deleting_what_is_not_there_is_refused(self):
        self.assert_refused(("mac-filter", "delete", MAC),
                            f'mac-filter: no entry "{MAC}" ("l3ctl mac-filter list" shows them); nothing was changed')
        self.assert_refused(("acl", "delete", "0"),
                            'acl: no entry "0" ("l3ctl acl list" shows them); nothing was changed')

    def test_json_says_what_was_done(self):
        self.switch_on("dhcp-filter")
        output = json.loads(self.l3ctl("--json", "dhcp-filter", "add", MAC).out)
        self.assertRegex(output.pop("id"), "^[0-9a-f]{16}$")
        self.assertEqual(output, {"done": "dhcp-filter: added as dhcp_filter entry 0", "failed": [], "failed_rules": [],
                                  "messages": []})


if __name__ == "__main__":
    unittest.main()
