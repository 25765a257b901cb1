"""Settings that lock everyone out of something: each command that sets them warns."""
import json
import unittest

from gateway import Gateway

ACL = ("acl.entries: telnet alone is open to the LAN; web, ftp, snmp and ping from the LAN to the gateway are closed "
       "over IPv4")
MAC = ("mac_filter.devices: a white list without an enabled device: no device of the LAN reaches the Internet over "
       "IPv4")
URL = ("url_filter.entries: a white list without an enabled name: every DNS query over IPv4 that the LAN sends through "
       "the gateway is dropped, so no host is found by its name")
PORTAL = "captive_portal.destinations: none is enabled: every web request of the LAN (TCP port 80 over IPv4) is dropped"
DHCP = "dhcp_filter.devices: a white list without a device: no device gets an address from the gateway's DHCP server"
TELNET = {"service": "telnet", "from": "lan", "sources": "any"}
# Each with the warning that it is worth.
LOCK_OUTS = {
    ACL: {"acl": {"enabled": True, "entries": [TELNET]}},
    MAC: {"mac_filter": {"enabled": True, "mode": "white-list", "devices": []}},
    URL: {"url_filter": {"enabled": True, "mode": "white-list", "entries": []}},
    PORTAL: {"captive_portal": {"enabled": True, "destinations": []}},
    DHCP: {"dhcp_filter": {"enabled": True, "mode": "white-list", "devices": []}},
}
FIREWALL_ON = {"firewall": {"enabled": True}}
# The switch of each list.
COMMANDS = {ACL: "acl", MAC: "mac-filter", URL: "url-filter", PORTAL: "captive-portal", DHCP: "dhcp-filter"}


def switched_off(settings):
    """The same settings with their one list off."""
    return {section: {**value, "enabled": False} for section, value in settings.items()}


class LockOuts(Gateway):
    def warnings(self, *arguments, stdin=b"", status=0):
        outcome = self.l3ctl(*arguments, stdin=stdin)
        self.assertEqual(outcome.status, status, outcome.err)
        prefix = "l3ctl: warning: "
        return [line.removeprefix(prefix) for line in outcome.err.splitlines() if line.startswith(prefix)]

    def quiet_apply(self, settings):
        self.assertEqual(self.warnings("apply", "-", stdin=json.dumps(settings)), [])

    def test_apply_plan_and_diff_name_what_a_file_closes(self):
        for warning, settings in LOCK_OUTS.items():
            with self.subTest(warning):
                self.store(firewall=True)
                for command, status in (("plan", 2), ("diff", 2), ("apply", 0)):
                    self.assertEqual(self.warnings(command, "-", stdin=json.dumps(settings), status=status),
                                     [f"standard input:1: {warning}"], command)

    def test_json_keeps_standard_output_clean(self):
        self.store(firewall=True)
        outcome = self.l3ctl("--json", "apply", "-", stdin=json.dumps(LOCK_OUTS[ACL]))
        self.assertEqual(json.loads(outcome.out)["failed"], [])
        self.assertIn(ACL, outcome.err)

    def test_switching_a_list_on_names_what_it_closes(self):
        for warning, settings in LOCK_OUTS.items():
            for firewall in (True, False):
                with self.subTest(warning, firewall=firewall):
                    self.store(firewall=firewall)
                    self.quiet_apply(switched_off(settings))
                    self.assertEqual(self.warnings(COMMANDS[warning], "on"), [warning])
                    self.assertEqual(self.warnings(COMMANDS[warning], "on"), [], "it brings nothing new")
                    self.assertEqual(self.warnings(COMMANDS[warning], "off"), [])

    def test_switching_the_firewall_on_names_what_all_lists_close(self):
        everything = {section: value for settings in LOCK_OUTS.values() for section, value in settings.items()}
        for command, off in ((["firewall", "on"], ["firewall", "off"]), (["portal", "on"], ["portal", "off"]),
                             (["level", "low"], ["level", "off"]), (["level", "high"], ["level", "off"])):
            with self.subTest(command):
                self.store()
                self.l3ctl("apply", "-", stdin=json.dumps(everything))
                self.assertEqual(sorted(self.warnings(*command)), sorted(LOCK_OUTS))
                self.assertEqual(self.warnings(*command), [], "it is on already")
                self.assertEqual(self.warnings(*off), [])
        self.assertEqual(sorted(self.warnings("apply", "-", stdin=json.dumps(FIREWALL_ON))), sorted(LOCK_OUTS))
        self.assertEqual(self.warnings("apply", "-", stdin=json.dumps({"port_scan_protection": False})), [])

    def test_the_last_entry_that_goes_is_named(self):
        self.store(firewall=True)
        device = {"mac": "02:00:00:00:00:01"}
        self.quiet_apply({"mac_filter": {"enabled": True, "mode": "white-list", "devices": [device]}})
        self.assertEqual(self.warnings("mac-filter", "delete", device["mac"]), [MAC])
        self.assertEqual(self.warnings("mac-filter", "--ipv4", "add", device["mac"]), [])
        self.assertEqual(self.warnings("mac-filter", "clear"), [MAC])
        self.assertEqual(self.warnings("mac-filter", "reset"), [])

    def test_the_first_entry_of_the_access_list_is_named(self):
        self.store(firewall=True)
        self.assertEqual(self.warnings("acl", "on"), [])
        self.assertEqual(self.warnings("acl", "add", "service=telnet", "from=lan", "sources=any"), [ACL])
        self.assertEqual(self.warnings("acl", "add", "service=web", "from=lan", "sources=any"), [
            "acl.entries: web and telnet alone are open to the LAN; ftp, snmp and ping from the LAN to the gateway are "
            "closed over IPv4"])
        self.assertEqual(self.warnings("acl", "add", "service=ping", "from=lan", "sources=any"), [])
        self.assertEqual(self.warnings("acl", "clear"), [])

    def test_a_file_can_close_together_with_what_is_stored(self):
        self.store(firewall=True)
        self.quiet_apply({"url_filter": {"enabled": True, "entries": [{"host": "example.com"}]}})
        rule = {"direction": "upstream", "protocol": "udp"}
        white_list = {"ip_filter": {"enabled": True, "upstream": "white-list", "rules": [rule]}}
        self.assertEqual(self.warnings("apply", "-", stdin=json.dumps(white_list)),
                         ["ip_filter.rules[0]: accepts look-ups of names before url_filter sees them"])

    def test_doctor_names_what_is_closed(self):
        self.store(firewall=True)
        self.l3ctl("apply", "-", stdin=json.dumps(LOCK_OUTS[ACL]))
        findings = json.loads(self.l3ctl("--json", "doctor").out)["findings"]
        self.assertIn({"state": "warning", "about": "settings", "finding": ACL,
                       "advice": "add an entry for what shall pass, or switch the list off, unless it is meant so"},
                      findings)


class Limits(Gateway):
    """Warnings about what a filter does not do."""

    NOTE = ("url_filter sees only DNS queries over IPv4 and UDP that the gateway forwards; queries to the gateway's own "
            "resolver, over IPv6, over TCP or encrypted pass it")

    def test_the_url_filter_says_what_it_cannot_see(self):
        self.store(firewall=True)
        self.assert_outcome(self.l3ctl("url-filter", "on"), 0, "url-filter: on\n", f"l3ctl: note: {self.NOTE}\n")
        self.assert_outcome(self.l3ctl("url-filter", "off"), 0, "url-filter: off\n")

    def notes(self, *packet):
        return json.loads(self.l3ctl("--json", "explain", "--from", "lan", *packet).out)["notes"]

    def test_explain_says_what_the_url_filter_cannot_see(self):
        self.store(firewall=True)
        source = ("--source", "192.168.1.2")
        forwarded = ("--to", "wan", *source, "--destination", "192.0.2.53")
        queries = (
            (*forwarded, "--dns-name", "example.com"), (*forwarded, "--protocol", "tcp", "--destination-port", "53"),
            ("--to", "gateway", *source, "--dns-name", "example.com"),
            ("--to", "wan", "--source", "fd00::2", "--destination", "2001:db8::53", "--dns-name", "example.com"))
        for query in queries:
            self.assertNotIn(self.NOTE, self.notes(*query))
        self.l3ctl("url-filter", "on")
        for query in queries:
            self.assertIn(self.NOTE, self.notes(*query), query)
        self.assertNotIn(self.NOTE, self.notes(*forwarded, "--protocol", "tcp", "--destination-port", "80"))
        self.assertNotIn(self.NOTE, self.notes(*forwarded, "--protocol", "icmp"))
        self.l3ctl("firewall", "off")
        self.assertNotIn(self.NOTE, self.notes(*queries[0]))

    def test_a_rule_without_addresses_is_for_one_family(self):
        note = "l3ctl: note: a rule without addresses is for IPv4 alone; an IPv6 rule needs source and destination\n"
        rule = ["direction=upstream", "protocol=tcp", "destination_ports=25"]
        self.store(firewall=True)
        self.assertEqual(self.l3ctl("ip-filter", "add", *rule).err, note)
        self.assertEqual(self.l3ctl("ip-filter", "add", *rule, "source=any").err.count(note), 1)
        self.assertEqual(self.l3ctl("ip-filter", "add", *rule, "source=192.168.1.2").err, "")
        self.assertEqual(self.l3ctl("ip-filter", "--ipv4", "add", "direction=downstream", "protocol=tcp").err, "")
        self.assertEqual(self.l3ctl("acl", "add", "service=all", "from=lan", "sources=any").err.count(note), 0)

    def test_a_field_that_is_refused_is_not_warned_about(self):
        rule = ["direction=upstream", "protocol=tcp"]
        self.assert_outcome(self.l3ctl("ip-filter", "add", *rule, "source=fd00::zz", "destination=2001:db8::1"), 2, err=(
            'l3ctl: ip6_filter.rules[0].source: "fd00::zz" is not allowed; it must be an IPv6 address such as '
            '"2001:db8::20", or "any"\nl3ctl: nothing was changed\n'))
        self.assert_outcome(self.l3ctl("ip-filter", "add", *rule, "source=192.168.1.2", "destination=2001:db8::1"), 2, err=(
            "l3ctl: ip6_filter.rules[0]: mixes address families: source is IPv4, destination is IPv6; a rule is for one "
            "of them\nl3ctl: nothing was changed\n"))


class WrongFiles(Gateway):
    """Files that are no settings: what they are is said, not what a parser trips over."""

    def refused(self, command, text):
        outcome = self.l3ctl(*command, stdin=text)
        self.assertIn(outcome.status, (1, 2))
        self.assertEqual(outcome.out, "")
        return outcome.err

    def test_common_mistakes_are_named_with_their_place(self):
        for text, what in (("", "1: the file is empty"), ("\n \n", "1: the file is empty"),
                           ("firewall:\n  enabled: true\n", "1: looks like YAML; settings are JSON, such as "
                                                            '{"firewall": {"enabled": true}}'),
                           ('{\n  "vpn_pass_through": true // at home\n}', "2:28: comments are not allowed in JSON"),
                           ('{\n  "vpn_pass_through": true,\n}', "2:27: trailing comma before '}'")):
            for command in ("apply", "plan", "diff"):
                self.assertEqual(self.refused([command, "-"], text),
                                 f"l3ctl: standard input:{what}\nl3ctl: nothing was changed\n")
        self.assert_untouched()

    def test_apply_of_a_backup_names_restore(self):
        self.store()
        for command in (["apply", "/ztcfg/l3_advance.dat"], ["plan", "/ztcfg/l3_advance.dat"]):
            self.assertEqual(self.refused(command, ""), (
                "l3ctl: /ztcfg/l3_advance.dat: is a configuration file, no settings: \"l3ctl restore "
                '/ztcfg/l3_advance.dat" puts it in place; nothing was changed\n'))

    def test_restore_of_settings_names_apply(self):
        for options in ([], ["--force"], ["--file-only"]):
            self.assertEqual(self.refused(["restore", "-", *options], '\n{"vpn_pass_through": true}\n'), (
                'l3ctl: standard input: is a settings file, no backup: "l3ctl apply -" takes it; nothing was changed\n'))
        self.assert_untouched()


if __name__ == "__main__":
    unittest.main()
