"""The instrument itself: a prober that could not see a packet being stopped would prove nothing."""

import os
import subprocess
import unittest

from l3lab import device, hosts, rules, probe_grammar
from l3lab.prober import STOP_TIMEOUT
from lab_case import prober

# Each probe, and the rule that stops it and nothing else that it needs.
_STOPPED_BY = {
    "tcp from lan to wan port 80": (4, "FORWARD -s 192.168.1.10 -p tcp --dport 80"),
    "tcp from wan to tablet port 8080": (4, "FORWARD -i wan3 -d 192.168.1.20 -p tcp --dport 8080"),
    "tcp from lan to gateway port 23": (4, "INPUT -i br0 -p tcp --dport 23"),
    "tcp from other to gateway port 80": (4, "INPUT -i wan4 -p tcp --dport 80"),
    "tcp6 from lan to wan port 80": (6, "FORWARD -s fd00:1::10 -p tcp --dport 80"),
    "udp from wan to lan port 5000": (4, "FORWARD -s 203.0.113.2 -p udp --dport 5000"),
    "udp from lan to gateway port 161": (4, "INPUT -p udp --dport 161"),
    "udp6 from tablet to other port 5000": (6, "FORWARD -s fd00:1::20 -p udp --dport 5000"),
    "udp 500->500 from lan to wan": (4, "FORWARD -p udp --sport 500 --dport 500"),
    "tcp flags SYN+ACK from wan to lan port 80": (
        4, "FORWARD -p tcp --tcp-flags SYN,ACK,FIN,RST SYN,ACK",
    ),
    "tcp6 flags RST from lan to wan port 80": (6, "FORWARD -p tcp --tcp-flags ALL RST"),
    "ping from lan to wan": (4, "FORWARD -p icmp --icmp-type echo-request"),
    "ping from wan to gateway": (4, "INPUT -p icmp -d 203.0.113.1"),
    "ping6 from lan to wan": (6, "FORWARD -p icmpv6 --icmpv6-type echo-request"),
    "dns query for example.com from lan to wan": (4, "FORWARD -p udp --dport 53"),
    "dns6 query for example.com from lan to wan": (6, "FORWARD -p udp --dport 53"),
    "udp frame from 02:00:00:00:00:07 to wan port 5000": (
        4, "FORWARD -m mac --mac-source 02:00:00:00:00:07",
    ),
    "udp6 frame from 02:00:00:00:00:07 to wan port 5000": (
        6, "FORWARD -m mac --mac-source 02:00:00:00:00:07",
    ),
    "dhcp discover from 02:00:00:00:00:07": (4, "INPUT -m mac --mac-source 02:00:00:00:00:07"),
}


class TheProber(unittest.TestCase):
    def setUp(self):
        self.prober = prober()
        device.cut_power()
        self.addCleanup(device.cut_power)

    def test_every_probe_gets_through_an_open_gateway(self):
        for probe in _STOPPED_BY:
            with self.subTest(probe):
                self.assertTrue(probe_grammar.send(self.prober, probe).passed)

    def test_every_probe_is_seen_to_be_stopped_by_a_rule_that_counts_it(self):
        for probe, (family, match) in _STOPPED_BY.items():
            with self.subTest(probe):
                tool = "iptables" if family == 4 else "ip6tables"
                chain = match.split()[0]
                rule = [*match.split(), "-j", "DROP"]
                rules.run(tool, "-A", *rule)
                outcome = probe_grammar.send(self.prober, probe, timeout=STOP_TIMEOUT)
                self.assertFalse(outcome.passed)
                self.assertFalse(outcome.arrived)
                self.assertEqual(rules.packets(chain, "DROP", family), 1)
                rules.run(tool, "-D", *rule)
                self.assertTrue(probe_grammar.send(self.prober, probe).passed)

    def test_an_answer_that_is_cut_off_is_told_from_a_request_that_is(self):
        rules.run("iptables", "-A", "FORWARD", "-i", "wan3", "-j", "DROP")
        for probe in (
            "tcp from lan to wan port 80",
            "ping from lan to wan",
            "dns query for example.com from lan to wan",
        ):
            with self.subTest(probe):
                outcome = probe_grammar.send(self.prober, probe, timeout=STOP_TIMEOUT)
                self.assertTrue(outcome.arrived)
                self.assertFalse(outcome.passed)

    def test_a_redirected_connection_names_the_host_that_took_it(self):
        redirect = "PREROUTING -i br0 -p tcp --dport 80 -j DNAT --to 198.51.100.2".split()
        rules.run("iptables", "-t", "nat", "-A", *redirect)
        self.assertEqual(probe_grammar.send(self.prober, "tcp from lan to wan port 80").at, "other")
        self.assertEqual(probe_grammar.send(self.prober, "tcp from lan to wan port 81").at, "wan")

    def test_other_words_are_refused(self):
        for probe in ("", "tcp", "tcp from lan to moon port 80", "udp from lan to wan port x"):
            with self.subTest(probe), self.assertRaises(ValueError):
                probe_grammar.send(self.prober, probe)


class TheGateway(unittest.TestCase):
    def test_its_addresses_are_those_of_the_hosts_table(self):
        for host in hosts.NEIGHBOURS.values():
            inside = ("nsenter", f"--net=/run/netns/{host.name}")
            shown = rules.run(*inside, "ip", "-brief", "address", "show", "eth0").stdout
            self.assertIn(f" {host.v4}/", shown)
            self.assertIn(f" {host.v6}/", shown)

    def test_the_backend_is_the_one_asked_for(self):
        wanted = {"legacy": "(legacy)", "nft": "(nf_tables)"}[os.environ["L3LAB_BACKEND"]]
        for tool in ("iptables", "ip6tables"):
            self.assertIn(wanted, rules.run(tool, "--version").stdout)

    def test_it_is_not_built_in_a_network_that_is_in_use(self):
        gateway = os.path.join(os.path.dirname(__file__), "../../lab/gateway")
        refused = subprocess.run([gateway, "--inside", "true"], capture_output=True, text=True)
        self.assertEqual(refused.returncode, 2)
        self.assertIn("nothing was touched", refused.stderr)


if __name__ == "__main__":
    unittest.main()
