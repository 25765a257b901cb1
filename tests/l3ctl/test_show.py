"""l3ctl show, export and ip-filter, --help and --version."""
import json
import subprocess
import unittest

from gateway import CONFIGURATION, L3CTL, Gateway, configuration

DEFAULTS = """\
firewall                off
port_scan_protection    off
ipsec_pass_through      on
vpn_pass_through        off
ip_filter               on, upstream black-list, downstream black-list, 0 entries
ip6_filter              on, upstream black-list, downstream black-list, 0 entries
url_filter              off, black-list, 0 entries
mac_filter              off, black-list, 0 entries
mac6_filter             off, black-list, 0 entries
dhcp_filter             off, black-list, 0 entries
acl                     off, 0 entries
captive_portal          off, 0 entries
route_qos               off, rules none
"""

RULES = """{
  "ip_filter": {
    "enabled": true,
    "upstream": "black-list",
    "downstream": "white-list",
    "rules": [
      {"direction": "upstream", "protocol": "tcp", "source": "192.168.1.20", "destination_ports": "80", "index": 3},
      {"direction": "downstream", "protocol": "all"}
    ]
  },
  "ip6_filter": {
    "enabled": true,
    "upstream": "white-list",
    "downstream": "black-list",
    "rules": [
      {"direction": "upstream", "protocol": "udp", "source": "fd00:1::10", "destination": "2001:db8::53"}
    ]
  }
}
"""

RULES_AS_TEXT = """\
ip_filter               on, upstream black-list, downstream white-list, 2 entries
     direction   protocol  source        destination_ports  index
  0  upstream    tcp       192.168.1.20  80                 3
  1  downstream  all       any           any                -
ip6_filter              on, upstream white-list, downstream black-list, 1 entry
     direction  protocol  source      destination
  0  upstream   udp       fd00:1::10  2001:db8::53
"""

MISSING = "l3ctl: /ztcfg/l3_advance.dat does not exist yet; these are its defaults\n"


class Show(Gateway):
    def test_without_a_file_the_defaults_are_shown_and_nothing_is_created(self):
        self.assert_outcome(self.l3ctl("show"), 0, DEFAULTS, MISSING)
        self.assert_untouched()

    def test_a_fresh_file_shows_the_same(self):
        self.store()
        self.assert_outcome(self.l3ctl("show"), 0, DEFAULTS)
        self.assertEqual(self.commands(), [])
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_entries_are_a_table(self):
        self.apply(RULES)
        self.assert_outcome(self.l3ctl("show", "ip_filter", "ip6_filter"), 0, RULES_AS_TEXT)

    def test_as_json_it_is_what_apply_takes(self):
        self.apply(RULES)
        self.assert_outcome(self.l3ctl("show", "ip_filter", "ip6_filter", "--json"), 0, RULES)

    def test_bytes_that_a_terminal_would_act_on(self):
        self.apply('{"url_filter": {"enabled": true, "mode": "black-list", "entries": [{"host": "example.com"}]}}')
        stored = CONFIGURATION.read_bytes()
        self.assertEqual(stored.count(b"example.com"), 1)
        CONFIGURATION.write_bytes(stored.replace(b"example.com", b"ex\x1b[2Jt.com"))
        for command in (["show", "url_filter"], ["url-filter", "list"]):
            told = self.l3ctl(*command).out
            self.assertIn("ex\\x1b[2Jt.com", told)
            self.assertNotIn("\x1b", told)

    def test_an_unknown_section(self):
        outcome = self.l3ctl("show", "nothing")
        self.assertEqual((outcome.status, outcome.out), (2, ""))
        self.assertIn("\"nothing\" is not one of time_zone, firewall, ", outcome.err)

    def test_a_file_that_cannot_be_read(self):
        CONFIGURATION.mkdir()
        outcome = self.l3ctl("show")
        self.assertEqual((outcome.status, outcome.out), (1, ""))
        self.assertTrue(outcome.err.endswith("l3ctl: /ztcfg/l3_advance.dat: is a directory, not a regular file\n"), outcome.err)


class Export(Gateway):
    def test_is_complete_json(self):
        self.store(firewall=True)
        outcome = self.l3ctl("export")
        self.assertEqual((outcome.status, outcome.err), (0, ""))
        self.assertEqual(list(json.loads(outcome.out)), [
            "firewall", "port_scan_protection", "ipsec_pass_through", "vpn_pass_through", "ip_filter",
            "ip6_filter", "url_filter", "mac_filter", "mac6_filter", "dhcp_filter", "acl",
            "captive_portal", "route_qos"])
        self.assertEqual(json.loads(outcome.out)["firewall"], {"enabled": True})

    def test_a_stored_value_that_apply_would_refuse_is_told(self):
        self.store(w0=1, w12=42)
        outcome = self.l3ctl("export")
        self.assertEqual(outcome.status, 1)
        self.assertEqual(json.loads(outcome.out)["ip_filter"]["rules"],
                         [{"direction": "upstream", "protocol": 42}])
        self.assertEqual(outcome.err,
                         'l3ctl: warning: /ztcfg/l3_advance.dat is implausible (ip_filter.rules[0].protocol: 42 is not '
                         'allowed; it must be "all", "icmp", "tcp" or "udp"); "l3ctl inspect" tells all\n'
                         'l3ctl: export:13: ip_filter.rules[0].protocol: 42 is not allowed; it must be '
                         '"all", "icmp", "tcp" or "udp"\n')


DROPS_ANSWERS = ("ip_filter.downstream: a white list drops the answers to the LAN's own connections too, unless a "
                 "rule accepts them")
CLOSED6 = ("ip6_filter.upstream: a white list without a rule that accepts anything: nothing from the LAN reaches the "
           "Internet over IPv6")


class IpFilter(Gateway):
    def setUp(self):
        super().setUp()
        self.store(firewall=True)
        self.apply(RULES)
        self.commands()

    def listed(self, *options):
        return self.l3ctl("ip-filter", "list", *options).out

    def test_list(self):
        self.assertEqual(self.listed(), RULES_AS_TEXT)
        self.assertEqual(self.listed("--json"), RULES)
        self.assertEqual(self.listed("--ipv6"), "".join(RULES_AS_TEXT.splitlines(True)[4:]))
        self.assertEqual(self.l3ctl("ip-filter", "--ipv4", "list").out,
                         "".join(RULES_AS_TEXT.splitlines(True)[:4]))

    def test_clear_keeps_the_modes(self):
        self.assert_outcome(self.l3ctl("ip-filter", "clear"), 0, "ip-filter: cleared\n",
                            f"l3ctl: warning: {DROPS_ANSWERS}\nl3ctl: warning: {CLOSED6}\n")
        self.assertEqual(self.commands(), [
            "iptables -t filter -F forward_ext_us_ip", "iptables -t filter -F forward_ext_ds_ip",
            "iptables -A forward_ext_ds_ip -j DROP", "iptables-save -t filter",
            "ip6tables -t filter -F forward_ext_us_ip", "ip6tables -t filter -F forward_ext_ds_ip",
            "ip6tables -A forward_ext_us_ip -j DROP", "ip6tables-save -t filter"])
        self.assertEqual(self.listed(),
                         "ip_filter               on, upstream black-list, downstream white-list, 0 entries\n"
                         "ip6_filter              on, upstream white-list, downstream black-list, 0 entries\n")

    def test_clear_of_one_family(self):
        self.assert_outcome(self.l3ctl("ip-filter", "clear", "--ipv6"), 0, "ip-filter: cleared\n",
                            f"l3ctl: warning: {CLOSED6}\n")
        self.assertEqual(self.commands(), [
            "ip6tables -t filter -F forward_ext_us_ip", "ip6tables -t filter -F forward_ext_ds_ip",
            "ip6tables -A forward_ext_us_ip -j DROP", "ip6tables-save -t filter"])
        self.assertIn("ip_filter               on, upstream black-list, downstream white-list, 2 entries\n",
                      self.listed())

    def test_off_keeps_the_entries_and_on_brings_the_rules_back(self):
        self.assert_outcome(self.l3ctl("ip-filter", "off", "--ipv4"), 0, "ip-filter: off\n")
        self.assertEqual(self.commands(), [
            "iptables -t filter -F forward_ext_us_ip", "iptables -t filter -F forward_ext_ds_ip",
            "iptables-save -t filter"])
        self.assertIn("ip_filter               off, upstream black-list, downstream white-list, 2 entries\n",
                      self.listed())
        self.assert_outcome(self.l3ctl("ip-filter", "on", "--ipv4"), 0, "ip-filter: on\n",
                            f"l3ctl: warning: {DROPS_ANSWERS}\n")
        self.assertEqual(self.commands(), [
            "iptables -t filter -F forward_ext_us_ip", "iptables -t filter -F forward_ext_ds_ip",
            "iptables -A forward_ext_us_ip -p tcp -s 192.168.1.20 --dport 80:80 -j DROP",
            "iptables -A forward_ext_ds_ip -p all -j ACCEPT", "iptables -A forward_ext_ds_ip -j DROP",
            "iptables-save -t filter"])

    def test_reset_is_the_factory_state(self):
        self.assert_outcome(self.l3ctl("ip-filter", "reset"), 0,
                            "ip-filter: back to the factory state\n")
        self.assertEqual(self.commands(), [
            "iptables -t filter -F forward_ext_us_ip", "iptables -t filter -F forward_ext_ds_ip",
            "ip6tables -t filter -F forward_ext_us_ip", "ip6tables -t filter -F forward_ext_ds_ip",
            "iptables-save -t filter", "ip6tables-save -t filter"])
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))

    def test_a_failed_flush_is_told(self):
        self.refuse("iptables -t filter -F forward_ext_us_ip")
        outcome = self.l3ctl("ip-filter", "clear", "--ipv4", "--json")
        self.assertEqual(outcome.status, 3)
        self.assertEqual(json.loads(outcome.out), {
            "done": None, "failed": ["ip_filter"],
            "failed_rules": [{"setting": "ip_filter", "line": "iptables -t filter -F forward_ext_us_ip",
                              "outcome": "ended with 1",
                              "message": "iptables: Too many links"}],
            "messages": ["warning: ip_filter.downstream: a white list drops the answers to the LAN's own connections too, "
                         "unless a rule accepts them",
                         'ip_filter: "iptables -t filter -F forward_ext_us_ip" ended with 1: iptables: Too many links',
                         "ip_filter: the library reports a failure"]})

    def test_a_verb_is_needed(self):
        self.assertEqual(self.l3ctl("ip-filter").status, 2)
        self.assertEqual(self.commands(), [])


class Program(Gateway):
    def test_version(self):
        self.assert_outcome(self.l3ctl("--version"), 0, "l3ctl 10.0.0\n")
        for flags in (["--json", "--version"], ["--version", "--json"]):
            self.assert_outcome(self.l3ctl(*flags), 0, '{\n  "l3ctl": "10.0.0"\n}\n')
        self.assert_untouched()

    def test_help_lists_commands_and_exit_statuses(self):
        outcome = self.l3ctl("--help")
        self.assertEqual((outcome.status, outcome.err), (0, ""))
        for text in ("Usage: l3ctl [OPTIONS] SUBCOMMAND", "  apply ", "  show ", "  export ", "  ip-filter ",
                     "Exit status:\n  0  done\n  1  ", "\n  2  ", "\n  3  "):
            self.assertIn(text, outcome.out)

    def test_help_of_a_command_names_it(self):
        text = self.l3ctl("apply", "--help").out
        self.assertIn("Usage: l3ctl apply [OPTIONS] FILE\n", text)
        self.assertIn("leaves the\nday's last minute open", text)
        self.assertIn("Exit status:\n", text)

    def test_no_command_and_unknown_ones(self):
        for arguments in ([], ["frobnicate"], ["show", "--frobnicate"], ["--lock-timeout", "-1", "show"],
                          ["ip-filter", "drop"]):
            outcome = self.l3ctl(*arguments)
            self.assertEqual((outcome.status, outcome.out), (2, ""), arguments)
            self.assertNotEqual(outcome.err, "")
        self.assert_untouched()

    def test_its_own_system_and_platform_calls_are_in_the_dynamic_table(self):
        table = subprocess.run(["nm", "-D", "--defined-only", L3CTL], capture_output=True, text=True,
                               check=True).stdout
        names = {line.split()[2] for line in table.splitlines()}
        self.assertLessEqual({
            "system", "l3_log_print", "grm_all_refresh_log_mod_level", "zt_bsp_version_export",
            "grm_l3_advance_get_vpn_pass_through", "grm_l3_advance_set_vpn_pass_through",
            "gpon_l3_control_vpn_pass_through", "gpon_l3_set_qos_cfg", "grm_gl3_get_internet_index",
            "getIfName", "DhcpsParaServerGet"}, names)


if __name__ == "__main__":
    unittest.main()
