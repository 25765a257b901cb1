"""l3ctl explain: a packet in words, the setting that decides, and the way to it."""
import json

from gateway import CONFIGURATION
from live import FRESH4, FRESH6, Rules

SETTINGS = """{"firewall": {"enabled": true},
 "ip_filter": {"enabled": true, "rules": [
  {"direction": "upstream", "protocol": "udp", "destination_ports": "53"},
  {"direction": "upstream", "protocol": "tcp", "source": "192.168.1.20", "destination_ports": "25"}]},
 "mac_filter": {"enabled": true, "devices": [{"mac": "02:00:00:00:00:01", "active": "08:00-20:00"}]}}
"""
MAIL = ("--from", "lan", "--to", "wan", "--protocol", "tcp", "--source", "192.168.1.20", "--destination",
        "203.0.113.2", "--destination-port", "25")
LINE = {"from": "lan", "to": "wan", "protocol": "tcp", "source": "192.168.1.9", "destination": "203.0.113.2",
        "destination_port": 25, "time": "12:00"}


BOUND6 = FRESH6.replace("COMMIT", "[0:0] -A forward_ext_ip -i br0 -j forward_ext_us_ip\n"
                                  "[0:0] -A forward_ext_ip -i wan3 -j forward_ext_ds_ip\nCOMMIT")
# Of IPv4: none of the rules that tell directions apart.
UNBOUND = "".join(line for line in FRESH4.splitlines(True) if " -j input_ext_us_" not in line and "s_ip\n" not in line)
UNBOUND = UNBOUND.replace("[0:0] -A input_ext_acl -i wan3 -j input_ext_ds_acl\n", "")
ASKED = ["iptables-save -c -t filter", "ip6tables-save -c -t filter"]


class Explain(Rules):
    def setUp(self):
        super().setUp()
        self.live(FRESH4, BOUND6)

    def test_stored_settings_are_explained_and_nothing_is_touched(self):
        self.assertEqual(self.apply(SETTINGS).status, 0)
        self.commands()
        stored = CONFIGURATION.read_bytes()
        self.assert_outcome(self.l3ctl("explain", *MAIL), 0,
                            "dropped by ip_filter.rules[1]: on the black list\n"
                            "  passed port_scan_protection: off\n")
        self.assertEqual((CONFIGURATION.read_bytes(), self.commands()), (stored, ASKED))

    def test_a_file_is_explained_as_if_it_were_applied(self):
        self.store(firewall=True)
        answer = self.l3ctl("explain", *MAIL, "--settings", "-", stdin=SETTINGS)
        self.assertEqual(answer.out.splitlines()[0], "dropped by ip_filter.rules[1]: on the black list")
        level = self.l3ctl("explain", *MAIL, "--tcp-flags", "ACK", "--settings", "-",
                           stdin='{"security_level": "high"}')
        self.assert_outcome(level, 0, "dropped by port_scan_protection: claims a connection that nobody opened\n")
        self.assertEqual(self.commands(), ASKED * 2)

    def test_as_json_it_tells_the_whole_way(self):
        self.store(firewall=True)
        answer = json.loads(self.l3ctl("--json", "explain", *MAIL).out)
        self.assertEqual((answer["outcome"], answer["decided_by"]), ("accepted", None))
        self.assertEqual([step["setting"] for step in answer["passed"]],
                         ["port_scan_protection", "ip_filter", "url_filter", "mac_filter", "captive_portal",
                          "ipsec_pass_through"])

    def test_a_rule_that_matches_nothing_is_pointed_at(self):
        self.apply("""{"firewall": {"enabled": true}, "ip6_filter": {"enabled": true, "rules": [
            {"direction": "upstream", "protocol": "tcp", "source": "fd00:1::20", "destination_ports": "25"}]}}""")
        mail = ("--from", "lan", "--to", "wan", "--protocol", "tcp", "--source", "fd00:1::20", "--destination",
                "2001:db8::1", "--destination-port", "25")
        note = "ip6_filter.rules[0].destination: is open, so this rule matches no packet: an IPv6 rule needs both " \
               "addresses"
        self.assert_outcome(self.l3ctl("explain", *mail), 0,
                            "accepted by no setting: nothing stops it\n"
                            "  passed ip6_filter: not on the black list\n"
                            "  passed mac6_filter: off\n"
                            f"  note: {note}\n")
        self.assertEqual(json.loads(self.l3ctl("--json", "explain", *mail).out)["notes"], [note])

    def test_a_note_on_another_way_is_left_out(self):
        self.apply("""{"firewall": {"enabled": true}, "ip6_filter": {"enabled": true, "rules": [
            {"direction": "upstream", "protocol": "tcp"}]}}""")
        self.assertEqual(json.loads(self.l3ctl("--json", "explain", *MAIL).out)["notes"], [])

    def test_rules_that_are_bound_to_no_wan_decide_nothing(self):
        self.apply(SETTINGS)
        self.live(UNBOUND)
        self.assert_outcome(self.l3ctl("explain", *MAIL, "--mac", "02:00:00:00:00:02"), 0,
                            "accepted by no setting: nothing stops it\n"
                            "  passed port_scan_protection: off\n"
                            "  passed ip_filter: bound to no Internet WAN\n"
                            "  passed url_filter: off\n"
                            "  passed mac_filter: not on the black list\n"
                            "  passed captive_portal: off\n"
                            "  passed ipsec_pass_through: on, so IPsec passes\n")
        batch = self.l3ctl("explain", "--batch", "-", stdin=json.dumps({**LINE, "source": "192.168.1.20"}))
        self.assertIsNone(json.loads(batch.out)["decided_by"])
        # Turning the firewall on binds the rules.
        self.l3ctl("firewall", "off")
        on = self.l3ctl("explain", *MAIL, "--settings", "-", stdin='{"firewall": {"enabled": true}}')
        self.assertEqual(on.out.splitlines()[0], "dropped by ip_filter.rules[1]: on the black list")

    def test_each_family_and_list_is_bound_for_itself(self):
        self.apply("""{"firewall": {"enabled": true}, "port_scan_protection": true,
            "ip6_filter": {"enabled": true, "upstream": "white-list"},
            "acl": {"enabled": true, "entries": [{"service": "web", "from": "wan", "sources": "any"}]}}""")
        mail6 = ("--from", "lan", "--to", "wan", "--protocol", "tcp", "--source", "fd00:1::20", "--destination",
                 "2001:db8::1", "--destination-port", "25")
        telnet = ("--from", "wan", "--to", "gateway", "--protocol", "tcp", "--source", "203.0.113.2",
                  "--destination-port", "23")
        drop = "[0:0] -A input_ext_local_access_ex -i wan3 -j DROP\nCOMMIT"
        for ipv4, ipv6, packet, decider in (
                (FRESH4, BOUND6, mail6, "ip6_filter.upstream"), (FRESH4, FRESH6, mail6, None),
                (UNBOUND, BOUND6, mail6, "ip6_filter.upstream"), (FRESH4, BOUND6, telnet, "acl.entries"),
                (UNBOUND, BOUND6, telnet, None),
                (UNBOUND.replace("COMMIT", drop), BOUND6, telnet, "port_scan_protection")):
            self.live(ipv4, ipv6)
            self.assertEqual(json.loads(self.l3ctl("--json", "explain", *packet).out)["decided_by"], decider)

    def test_a_gateway_that_has_not_started_and_one_that_cannot_be_asked_are_noted(self):
        self.apply(SETTINGS)
        self.live("", "")
        for said in ("none of the gateway's chains is there, so nothing is stopped before \"l3ctl init\"",
                     "iptables-save stopped in the middle of its answer, so the rules are taken to be bound"):
            told = json.loads(self.l3ctl("--json", "explain", *MAIL).out)
            self.assertEqual((told["decided_by"], told["notes"]), ("ip_filter.rules[1]", [said]))
            self.live("*filter\n")

    def test_a_device_that_is_not_named_is_noted(self):
        self.apply(SETTINGS)
        web = (*MAIL[:-1], "80")
        note = "no --mac is given, so mac_filter is judged as for a device that is on no list"
        self.assertEqual(json.loads(self.l3ctl("--json", "explain", *web).out)["notes"], [note])
        named = self.l3ctl("--json", "explain", *web, "--mac", "02:00:00:00:00:02")
        self.assertEqual(json.loads(named.out)["notes"], [])

    def test_an_entry_that_rests_is_told_of(self):
        self.apply(SETTINGS)
        web = (*MAIL[:-1], "80", "--mac", "02:00:00:00:00:01", "--time", "22:32")
        self.assertIn("  passed mac_filter: devices[0] is listed, but rests at 22:32 UTC (active 08:00-20:00)\n",
                      self.l3ctl("explain", *web).out)

    def test_time_device_and_name_count(self):
        self.apply(SETTINGS)
        device = ("--mac", "02:00:00:00:00:01", *MAIL[:6], "--source", "192.168.1.9", *MAIL[8:])
        for time, decider in (("12:00", "dropped by mac_filter.devices[0]"), ("20:00", "accepted by no setting"),
                              ("20:00:00", "dropped by mac_filter.devices[0]")):
            answer = self.l3ctl("explain", *device, "--time", time).out
            self.assertEqual(answer.split(":")[0], decider, time)
        asked = self.l3ctl("explain", "--from", "lan", "--to", "wan", "--source", "192.168.1.9", "--destination",
                           "203.0.113.2", "--dns-name", "example.com")
        self.assertEqual(asked.out.splitlines()[0], "dropped by ip_filter.rules[0]: on the black list")

    def test_a_batch_answers_each_line(self):
        self.apply(SETTINGS)
        lines = [LINE, {**LINE, "source": "192.168.1.20"},
                 {"from": "wan", "to": "gateway", "protocol": "icmp", "source": "2001:db8::1"}]
        answers = self.l3ctl("explain", "--batch", "-", stdin="\n".join(map(json.dumps, lines)))
        self.assertEqual([json.loads(line)["decided_by"] for line in answers.out.splitlines()],
                         [None, "ip_filter.rules[1]", None])

    def test_one_wrong_line_refuses_the_batch(self):
        self.store(firewall=True)
        good = json.dumps(LINE) + "\n"
        for line, fault in (("{", "is no JSON"), ("[]", 'a packet is an object such as {"from": "lan"}'),
                            ('{"form": "lan"}', "form: a packet has no such key")):
            self.assert_outcome(self.l3ctl("explain", "--batch", "-", stdin=good + line + "\n"), 2, "",
                                f"l3ctl: standard input:2: {fault}\n")

    def test_what_is_no_packet_is_refused(self):
        for changed, fault in (
                ({"from": "moon"}, 'from: "moon" is not allowed; it must be one of "lan", "wan", "other"'),
                ({"to": "lan"}, "from, to: packets inside the home network do not meet the packet filter"),
                ({"protocol": "icmp"}, "destination_port: 25 is not allowed; it must be left out: only tcp and udp "
                                       "have ports"),
                ({"destination_port": 65536}, "destination_port: 65536 is not allowed; it must be a port from 0 to "
                                              "65535"),
                ({"source": "home"}, 'source: "home" is not allowed; it must be an IPv4 or an IPv6 address'),
                ({"source": "::1"}, 'destination: "203.0.113.2" is not allowed; it must be of the source\'s family'),
                ({"mac": "02"}, 'mac: "02" is not allowed; it must be a hardware address of six pairs such as '
                                '"02:00:00:00:00:01", not all of them zero, or the name or an address of a device'),
                ({"time": "24:00"}, 'time: "24:00" is not allowed; it must be a time in UTC such as "18:30" or '
                                    '"18:30:59"'),
                ({"tcp_flags": "SYN+"}, 'tcp_flags: "SYN+" is not allowed; it must be flags such as "SYN" or '
                                        '"PSH+ACK", or "none"'),
                ({"established": 1}, "established: 1 is not allowed; it must be true or false")):
            line = json.dumps({**LINE, **changed})
            self.store(firewall=True)
            self.assert_outcome(self.l3ctl("explain", "--batch", "-", stdin=line), 2, "",
                                f"l3ctl: standard input:1: {fault}\n")

    def test_everything_that_is_missing_is_named_at_once(self):
        self.store(firewall=True)
        needs = "l3ctl: a packet also needs "
        for options, missing in (
                (MAIL[:-2], "--destination-port (0 to 65535)"),
                (["--from", "lan"], "--to (gateway, lan, wan, other); --protocol (tcp, udp, icmp, other); --source (an IPv4 or "
                                    "IPv6 address); --destination (an address of the same family)"),
                (["--from", "wan", "--to", "gateway", "--source", "1.2.3.4"], "--protocol (tcp, udp, icmp, other)")):
            self.assert_outcome(self.l3ctl("explain", *options), 2, "", f"{needs}{missing}\n")
        self.assert_outcome(self.l3ctl("explain", "--batch", "-", stdin='{"to": "gateway", "dns_name": "a"}'), 2, "",
                            "l3ctl: standard input:1: a packet also needs from (lan, wan, other); source (an IPv4 or IPv6 "
                            "address)\n")

    def test_a_wrong_option_is_named_as_it_was_typed(self):
        self.store(firewall=True)
        self.assert_outcome(self.l3ctl("explain", *MAIL[:-1], "http"), 2, "",
                            'l3ctl: --destination-port: "http" is not allowed; it must be a port from 0 to 65535\n')

    def test_faulty_settings_are_not_explained(self):
        self.store(firewall=True)
        answer = self.l3ctl("explain", *MAIL, "--settings", "-", stdin='{"moon": 1}')
        self.assertEqual((answer.status, answer.out), (2, ""))
        self.assertIn("settings with faults cannot be explained", answer.err)

    def test_what_settings_cannot_say_is_not_explained(self):
        # An entry of the IP filter with protocol 7, which no rule can be made of.
        self.store(firewall=True, w0=1, w12=7)
        answer = self.l3ctl("explain", *MAIL)
        self.assertEqual((answer.status, answer.out), (1, ""))
        self.assertIn("cannot be explained", answer.err)


del Rules
