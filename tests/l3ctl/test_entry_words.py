"""Several entries at once, entries edited in place, modes, prefixes and service names, full lists, and hits."""
import json
import unittest

from gateway import CONFIGURATION, Gateway

MAC = "02:00:00:00:00:0%d"
HEAD = "*filter\n:INPUT ACCEPT [0:0]\n:FORWARD ACCEPT [0:0]\n:forward_ext_mac - [0:0]\n"


class EntryWords(Gateway):
    def setUp(self):
        super().setUp()
        self.store(firewall=True)

    def section(self, name):
        return json.loads(self.l3ctl("export").out)[name]

    def run_well(self, *words):
        outcome = self.l3ctl(*words)
        self.assertEqual(outcome.status, 0, outcome.err)
        return outcome

    def test_several_entries(self):
        self.assertEqual(self.run_well("url-filter", "add", "a.example.com", "b.example.com", "active=08:00-09:00",
                                       "c.example.com", "and", "d.example.com", "enabled=false").out,
                         "url-filter: added as url_filter entry 0, url_filter entry 1, url_filter entry 2, url_filter entry 3\n")
        self.assertEqual(self.section("url_filter")["entries"], [
            {"host": "a.example.com", "active": "08:00-09:00"}, {"host": "b.example.com", "active": "08:00-09:00"},
            {"host": "c.example.com", "active": "all day"}, {"enabled": False, "host": "d.example.com", "active": "all day"}])
        self.run_well("acl", "add", "service=web", "from=lan", "sources=any", "and", "service=ping", "from=wan", "sources=any")
        self.assertEqual([entry["service"] for entry in self.section("acl")["entries"]], ["web", "ping"])
        self.assertEqual(self.run_well("url-filter", "delete", "0", "c.example.com", "1").out, "url-filter: deleted 3 entries\n")
        self.assertEqual([entry["host"] for entry in self.section("url_filter")["entries"]], ["d.example.com"])

    def test_all_or_nothing(self):
        stored = CONFIGURATION.read_bytes()
        for words in (["add", "a.example.com", "not a host"], ["add", "a.example.com", "and"], ["add", "and"],
                      ["delete", "a.example.com"]):
            self.assertEqual(self.l3ctl("url-filter", *words).status, 2, words)
            self.assertEqual(CONFIGURATION.read_bytes(), stored)
        self.run_well("url-filter", "add", "a.example.com")
        stored = CONFIGURATION.read_bytes()
        self.assert_outcome(self.l3ctl("url-filter", "delete", "a.example.com", "7"), 2, "",
                            'l3ctl: url-filter: no entry "7" ("l3ctl url-filter list" shows them); nothing was changed\n')
        self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def test_an_entry_that_is_there_is_not_added(self):
        self.run_well("url-filter", "on")
        self.run_well("url-filter", "add", "a.example.com")
        stored = CONFIGURATION.read_bytes()
        self.commands()
        outcome = self.l3ctl("url-filter", "add", "a.example.com", "active=all day")
        self.assert_outcome(outcome, 0, "url-filter: nothing to add\n",
                            "l3ctl: note: url_filter entry 0 says the same, so it is not added\n")
        self.assertEqual((CONFIGURATION.read_bytes(), self.commands()), (stored, []))
        self.assertEqual(self.run_well("url-filter", "add", "a.example.com", "and", "b.example.com").out,
                         "url-filter: added as url_filter entry 1\n")
        self.assertEqual(self.run_well("url-filter", "add", "a.example.com", "active=08:00-09:00").out,
                         "url-filter: added as url_filter entry 2\n")

    def test_a_full_list_says_how_many_it_holds(self):
        for i in range(10):
            self.run_well("dhcp-filter", "add", MAC % i)
        stored = CONFIGURATION.read_bytes()
        self.assert_outcome(self.l3ctl("dhcp-filter", "add", "02:00:00:00:00:11", "02:00:00:00:00:12"), 2, "",
                            "l3ctl: dhcp-filter: dhcp_filter is full: it holds 10 entries, and would have 11; nothing was changed\n")
        self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def test_an_entry_named_twice_is_deleted_once(self):
        for names in (["0", "0"], ["a.example.com", "a.example.com"], ["a.example.com", "0"]):
            self.run_well("url-filter", "add", "a.example.com", "b.example.com")
            self.assertEqual(self.run_well("url-filter", "delete", *names).out, "url-filter: deleted 1 entry\n")
            self.run_well("url-filter", "clear")

    def test_set_edits_in_place(self):
        self.run_well("url-filter", "add", "a.example.com", "b.example.com", "active=08:00-09:00")
        self.assertEqual(self.run_well("url-filter", "set", "a.example.com", "active=10:00-11:00", "enabled=false").out,
                         "url-filter: set url_filter entry 0\n")
        self.run_well("url-filter", "set", "1", "host=c.example.com", "active=")
        self.assertEqual(self.section("url_filter")["entries"], [
            {"enabled": False, "host": "a.example.com", "active": "10:00-11:00"}, {"host": "c.example.com", "active": "all day"}])
        stored = CONFIGURATION.read_bytes()
        for words, message in ((["7", "active=all day"], 'no entry "7"'), (["a.example.com", "active=soon"], '"soon" is not allowed'),
                               (["a.example.com", "host="], "host"), (["a.example.com", "colour=red"], "colour"),
                               (["a.example.com", "10:00-11:00"], '"10:00-11:00" is not KEY=VALUE; nothing was changed')):
            outcome = self.l3ctl("url-filter", "set", *words)
            self.assertEqual(outcome.status, 2)
            self.assertIn(message, outcome.err)
        self.run_well("url-filter", "set", "1", "host=c.example.com")
        self.assertEqual(CONFIGURATION.read_bytes(), stored)
        self.assertIn('l3ctl: note: url_filter entry 1 names c.example.com too, and both count; "l3ctl url-filter set" changes an '
                      "entry\n", self.run_well("url-filter", "add", "c.example.com", "active=01:00-02:00").err)
        self.assertIn('has several entries "c.example.com": give the number, one of 1, 2',
                      self.l3ctl("url-filter", "set", "c.example.com", "active=03:00-04:00").err)

    def test_set_of_a_device_edits_both_families(self):
        self.run_well("mac-filter", "add", MAC % 1)
        self.run_well("mac-filter", "set", MAC % 1, "active=22:00-06:00")
        for section in ("mac_filter", "mac6_filter"):
            self.assertEqual(self.section(section)["devices"][0]["active"], "22:00-06:00")
        self.assertIn("have an entry 0: --ipv4 or --ipv6 says which", self.l3ctl("mac-filter", "set", "0", "active=all day").err)
        self.run_well("mac-filter", "--ipv6", "set", "0", "active=all day")
        self.assertEqual([self.section(name)["devices"][0]["active"] for name in ("mac_filter", "mac6_filter")],
                         ["22:00-06:00", "all day"])
        self.run_well("captive-portal", "add", "203.0.113.2")
        self.run_well("captive-portal", "set", "203.0.113.2", "destination=203.0.113.3")
        self.assertEqual(self.section("captive_portal")["destinations"], ["203.0.113.3"])

    def test_modes(self):
        self.run_well("url-filter", "mode=white-list")
        self.assertEqual(self.section("url_filter")["mode"], "white-list")
        self.run_well("url-filter", "mode", "black-list")
        self.assertEqual(self.section("url_filter")["mode"], "black-list")
        self.run_well("ip-filter", "--ipv4", "upstream=white-list")
        self.assertEqual([self.section(name)["upstream"] for name in ("ip_filter", "ip6_filter")], ["white-list", "black-list"])
        self.run_well("ip-filter", "mode", "upstream=black-list", "downstream=white-list")
        for words, message in ((["mode=grey-list"], "grey-list"), (["upstream=white-list"], '"upstream" is no mode')):
            outcome = self.l3ctl("mac-filter", *words)
            self.assertEqual(outcome.status, 2)
            self.assertIn(message, outcome.err)
        self.assertEqual(self.l3ctl("acl", "mode=white-list").status, 2)

    def test_prefixes_and_service_names(self):
        self.run_well("acl", "add", "service=http", "from=lan", "sources=192.168.1.0/24", "and", "service=telnet", "from=lan",
                      "sources=10.1.0.0/16", "and", "service=snmp", "from=wan", "sources=10.1.2.3/32")
        self.assertEqual([(entry["service"], entry["sources"]) for entry in self.section("acl")["entries"]], [
            ("web", "192.168.1.0-192.168.1.255"), ("telnet", "10.1.0.0-10.1.255.255"), ("snmp", "10.1.2.3")])
        stored = CONFIGURATION.read_bytes()
        for words, message in (
                (["service=ssh", "sources=any"], 'acl: service: "ssh" is not allowed; it must be a service at the port of web'),
                (["service=nonsense", "sources=any"], "nonsense"),
                (["service=web", "sources=10.0.0.0/15"], 'acl: sources: "10.0.0.0/15" is not allowed; it must be a prefix inside one /16'),
                (["service=web", "sources=10.0.0.1/24"], 'such as "10.0.0.0/24"'),
                (["service=web", "sources=10.0.0.0/33"], "/33"), (["service=web", "sources=10.0.0.0/"], "/16"),
                (["service=web", "sources=x/24"], "x/24")):
            outcome = self.l3ctl("acl", "add", "from=lan", *words)
            self.assertEqual(outcome.status, 2, words)
            self.assertIn(message, outcome.err)
            self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def hits(self, *words):
        return [(one["setting"], one["packets"]) for one in json.loads(self.run_well(*words, "--json").out)["hits"]]

    def two_devices(self):
        self.run_well("mac-filter", "add", MAC % 1, MAC % 2)
        self.commands()
        self.run_well("mac-filter", "on")
        self.rules = [line.removeprefix("iptables ") for line in self.commands() if line.startswith("iptables -A forward_ext_mac ")]
        self.assertEqual(len(self.rules), 2)

    def have_met(self, packets):
        """The rule of the first device has met 7 packets, that of the second so many."""
        self.live(HEAD + "".join(f"[{count}:{100 * count}] {rule}\n" for count, rule in zip((7, packets), self.rules)) + "COMMIT\n")

    def test_hits(self):
        self.two_devices()
        self.have_met(9)
        both = [("mac_filter.devices[1]", 9), ("mac_filter.devices[0]", 7)]
        self.assertEqual(self.hits("rules", "--top")[:2], both)
        self.assertEqual(self.hits("rules", "--top", "1"), both[:1])
        self.assertEqual([one for one in self.hits("mac-filter", "list", "--counters") if one[1]], both)
        self.assertEqual(self.hits("url-filter", "list", "--counters"), [])
        self.assertRegex(self.run_well("rules", "--top").out, r"\nmac_filter\.devices\[1\] +9 +900\n")
        text = self.run_well("mac-filter", "list", "--counters").out
        self.assertIn(MAC % 2, text)
        self.assertIn("mac_filter.devices[1] ", text)

    def test_hits_since_last(self):
        self.two_devices()
        self.have_met(9)
        self.assertEqual(len(self.hits("rules", "--since-last")), 2)
        self.have_met(14)
        self.assertEqual(self.hits("rules", "--since-last"), [("mac_filter.devices[1]", 5)])
        self.assertEqual(self.hits("rules", "--since-last"), [])
        # The rules were made anew.
        self.have_met(3)
        self.assertEqual(self.hits("rules", "--since-last"), [("mac_filter.devices[1]", 3)])
        with open("/run/l3ctl.counters", "w", encoding="ascii") as note:
            note.write("{")
        self.assertEqual(len(self.hits("rules", "--since-last")), 2)
        self.assertEqual(self.l3ctl("rules", "--top", "--watch").status, 2)


if __name__ == "__main__":
    unittest.main()
