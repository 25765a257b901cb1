"""l3ctl explain DEVICE [HOST[:PORT]]: packets by the name of their sender, and the whole day of a device."""
import json
import subprocess
import unittest

from home import CAMERA, ETHERS, PHONE, TABLET, Home

SETTINGS = """{"firewall": {"enabled": true},
 "ip_filter": {"enabled": true, "rules": [
  {"direction": "upstream", "protocol": "tcp", "source": "192.168.1.21", "destination": "203.0.113.2", "destination_ports": "25"}]},
 "url_filter": {"enabled": true, "entries": [{"host": "games.example.com", "active": "08:00-21:30"}]},
 "acl": {"enabled": true, "entries": [{"service": "telnet", "from": "lan", "sources": "192.168.1.2"}]},
 "mac_filter": {"enabled": true, "devices": [{"mac": "02:00:00:00:01:20", "active": "20:30-06:00"}]},
 "mac6_filter": {"enabled": true, "devices": [{"mac": "02:00:00:00:01:20", "active": "21:00-24:00"}]}}
"""


class ExplainDevice(Home):
    def setUp(self):
        super().setUp()
        self.usual()
        self.assertEqual(self.apply(SETTINGS).status, 0)

    def explain(self, *arguments, status=0):
        outcome = self.l3ctl("--json", "explain", *arguments)
        self.assertEqual(outcome.status, status, outcome.err)
        return json.loads(outcome.out)

    def packets(self, *arguments):
        return [(packet["traffic"], packet["outcome"], packet["decided_by"]) for packet in self.explain(*arguments)["packets"]]

    def test_the_whole_day(self):
        outcome = self.l3ctl("explain", "tablet", "--time", "22:00")
        self.assertEqual(outcome.status, 0, outcome.err)
        self.assertEqual(outcome.out.splitlines()[0],
                         "tablet (02:00:00:00:01:20, 192.168.1.20, fd00:1::20, fe80::20)")
        text = " ".join(outcome.out.split())
        for part in ("IPv4 00:00-06:00 dropped by mac_filter.devices[0]", "06:00-20:30 accepted by no setting",
                     "20:30-24:00 now dropped by mac_filter.devices[0]", "IPv6 00:00-21:00 accepted by no setting",
                     "21:00-23:59 now dropped by mac6_filter.devices[0]", "23:59-24:00 accepted by no setting",
                     "DHCP all day accepted by no setting"):
            self.assertIn(part, text)
        # At night the MAC filter stops the query too.
        self.assertRegex(outcome.out, r"look-up of games\.example\.com +00:00-06:00 +dropped by mac_filter\.devices\[0\]")
        self.assertRegex(outcome.out, r" 08:00-21:30 +dropped by url_filter\.entries\[0\]")

    def test_a_day_in_local_time(self):
        self.assertEqual(self.apply(json.dumps({"time_zone": "HOME-2", "mac_filter": {"enabled": True, "mode": "black-list", "devices": [
            {"mac": TABLET, "active": "20:00-06:00"}]}})).status, 0)
        text = " ".join(self.l3ctl("explain", "tablet", "--time", "22:00").out.split())
        for part in ("HOME-2", "IPv4 00:00-06:00 dropped by mac_filter.devices[0]", "06:00-20:00 accepted by no setting",
                     "20:00-24:00 now dropped by mac_filter.devices[0]"):
            self.assertIn(part, text)
        self.assertEqual({row["time_zone"] for row in self.explain("tablet")["day"]}, {"HOME-2"})

    def test_a_block_until_midnight_is_no_period_of_the_next_day(self):
        self.assertEqual(self.apply(json.dumps({"time_zone": "HOME-2", "mac_filter": {"enabled": True, "mode": "black-list", "devices": [
            {"mac": TABLET, "active": "20:30-24:00"}]}})).status, 0)
        self.assertEqual([(period["from"], period["to"], period["outcome"]) for period in self.explain("tablet")["day"][0]["periods"]],
                         [("00:00", "20:30", "accepted"), ("20:30", "24:00", "dropped")])

    def test_the_day_as_json(self):
        answer = self.explain("tablet", "--time", "22:00")
        self.assertEqual((answer["outcome"], answer["decided_by"]), ("dropped", "mac_filter.devices[0]"))
        self.assertEqual(answer["device"]["name"], "tablet")
        day = {traffic["traffic"]: traffic["periods"] for traffic in answer["day"]}
        self.assertEqual(list(day), ["IPv4", "IPv6", "DHCP", "look-up of games.example.com"])
        self.assertEqual([(period["from"], period["to"], period["outcome"]) for period in day["IPv4"]],
                         [("00:00", "06:00", "dropped"), ("06:00", "20:30", "accepted"), ("20:30", "24:00", "dropped")])
        self.assertEqual(self.explain("tablet", "--time", "07:00")["outcome"], "accepted")
        self.assertEqual(self.explain("tablet", "--time", "12:00")["decided_by"], "url_filter.entries[0]")

    def test_the_day_agrees_with_verdicts_on_packets(self):
        words = ("--from", "lan", "--to", "wan", "--protocol", "tcp", "--source", "192.168.1.20", "--destination", "198.51.100.9",
                 "--destination-port", "443", "--mac", TABLET)
        periods = self.explain("tablet")["day"][0]["periods"]
        for period in periods:
            begin = period["from"] + (":01" if period["from"] in ("06:00", "23:59") else ":00")
            answer = json.loads(self.l3ctl("--json", "explain", *words, "--time", begin).out)
            self.assertEqual((answer["outcome"], answer["decided_by"]), (period["outcome"], period["decided_by"]), begin)

    def test_a_way_to_a_host(self):
        self.assertEqual(self.packets("tablet", "games.example.com", "--time", "12:00"),
                         [("look-up of games.example.com", "dropped", "url_filter.entries[0]"),
                          ("IPv4", "accepted", None), ("IPv6", "accepted", None)])
        answer = self.explain("tablet", "games.example.com", "--time", "12:00")
        self.assertEqual((answer["outcome"], answer["decided_by"]), ("dropped", "url_filter.entries[0]"))
        self.assertIn("the address of games.example.com is not looked up: it is judged as one that no rule names", answer["notes"])
        self.assertNotIn("day", answer)
        self.assertEqual(self.packets(PHONE, "203.0.113.2:25"), [("IPv4", "dropped", "ip_filter.rules[0]")])
        self.assertEqual(self.packets("192.168.1.21", "203.0.113.2"), [("IPv4", "accepted", None)])
        self.assertEqual(self.packets("tablet", "[2001:db8::5]:80", "--time", "22:00"), [("IPv6", "dropped", "mac6_filter.devices[0]")])
        self.assertEqual(self.packets("tablet", "2001:db8::5", "--time", "12:00"), [("IPv6", "accepted", None)])

    def test_text_of_a_way(self):
        outcome = self.l3ctl("explain", "pias-phone", "203.0.113.2:25")
        self.assertEqual(outcome.out, "Pias-Phone (02:00:00:00:01:21, 192.168.1.21)\n"
                                      "  IPv4: dropped by ip_filter.rules[0]: on the black list\n"
                                      "    passed port_scan_protection: off\n")
        self.assertEqual(outcome.err, 'l3ctl: note: "pias-phone" is 02:00:00:00:01:21 (192.168.1.21)\n')

    def test_the_gateway_itself_and_the_home_network(self):
        for line in ("link add br0 type bridge", "link set br0 up", "addr add 192.168.1.1/24 dev br0"):
            subprocess.run(["/usr/sbin/ip", *line.split()], check=True)
        try:
            self.assertEqual(self.packets("tablet", "192.168.1.1:23"), [("IPv4", "dropped", "acl.entries")])
            self.assertIn("do not meet the packet filter", self.l3ctl("explain", "tablet", "192.168.1.77").err)
        finally:
            subprocess.run(["/usr/sbin/ip", "link", "delete", "br0"], check=True)

    def test_options_beside_a_device(self):
        self.assertEqual(self.packets(PHONE, "203.0.113.2", "--destination-port", "25"), [("IPv4", "dropped", "ip_filter.rules[0]")])
        self.assertEqual(self.packets(PHONE, "203.0.113.2:25", "--protocol", "udp"), [("IPv4", "accepted", None)])

    def test_a_device_without_addresses(self):
        answer = self.explain("00:1b:21:00:00:99")
        self.assertEqual(answer["device"]["ipv4"], [])
        self.assertIn("no IPv4 address of the device is known, so it is judged as one that no rule names", answer["notes"])

    def test_a_mac_by_name(self):
        words = ("--from", "lan", "--to", "wan", "--protocol", "tcp", "--source", "192.168.1.20", "--destination", "198.51.100.9",
                 "--destination-port", "443", "--time", "22:00")
        self.assertEqual(json.loads(self.l3ctl("--json", "explain", *words, "--mac", "tablet").out)["decided_by"], "mac_filter.devices[0]")
        self.assertIn('--mac: "nobody" is not allowed', self.l3ctl("explain", *words, "--mac", "nobody").err)

    def test_what_is_refused(self):
        for arguments, message in ((("nobody",), 'DEVICE: "nobody" is not allowed; it must be a hardware address'),
                                   (("tablet", "a b"), 'HOST: "a b" is not allowed'), (("tablet", "x:"), 'HOST: "x:" is not allowed'),
                                   (("tablet", "[::1"), "HOST"), (("tablet", "[x]:1"), "HOST"),
                                   (("tablet", "x:70000"), "--destination-port: \"70000\" is not allowed"),
                                   (("tablet", "x:1", "--destination-port", "2"), "HOST has a port"),
                                   (("tablet", "--source", "192.168.1.9"), "source"), (("tablet", "--mac", CAMERA), "mac"),
                                   (("tablet", "x", "--time", "25:00"), "--time")):
            with self.subTest(arguments):
                outcome = self.l3ctl("explain", *arguments)
                self.assertEqual((outcome.status, outcome.out), (2, ""), outcome.err)
                self.assertIn(message, outcome.err)
        ETHERS.write_text(f"{TABLET} twin\n{PHONE} twin\n")
        outcome = self.l3ctl("explain", "twin")
        self.assertIn(f'"twin" stands for 2: {TABLET} (by /etc/ethers), {PHONE} (by /etc/ethers)', outcome.err)


if __name__ == "__main__":
    unittest.main()
