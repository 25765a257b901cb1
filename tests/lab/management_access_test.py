"""Access to the gateway's own management: telnet and web, and the redirection of web requests."""

from l3lab import device, rules
from l3lab.rules import Rule
from lab_case import LabCase

_CHAIN = "input_ext_access_ctrl"


class ManagementAccess(LabCase):
    def test_telnet_is_closed_and_opened_again(self):
        probes = {
            "tcp from lan to gateway port 23": Rule(_CHAIN, "dpt:23"),
            "tcp from wan to gateway port 23": Rule(_CHAIN, "dpt:23"),
            "tcp from lan to gateway port 26": Rule(_CHAIN, "dpt:26"),
        }
        free = ["tcp from lan to gateway port 80", "tcp from lan to wan port 23"]
        self.assert_all_pass("before", [*probes, *free])
        device.l3ctl("access", "telnet", "block")
        self.assert_effect(stopped=probes, passing=free)
        device.l3ctl("access", "telnet", "allow")
        self.assert_all_pass("after", [*probes, *free])
        self.assertEqual(rules.chain(_CHAIN), [])

    def test_web_is_closed_and_opened_again_at_its_port(self):
        for port in (80, 8080):
            with self.subTest(port):
                probe = f"tcp from wan to gateway port {port}"
                free = ["tcp from wan to gateway port 23", f"tcp from lan to wan port {port}"]
                self.assert_all_pass("before", [probe, *free])
                device.l3ctl("access", "web", "--port", str(port), "block")
                self.assert_effect(stopped={probe: Rule(_CHAIN, f"dpt:{port}")}, passing=free)
                device.l3ctl("access", "web", "--port", str(port), "allow")
                self.assert_all_pass("after", [probe, *free])
                self.assertEqual(rules.chain(_CHAIN), [])

    def test_both_are_closed_side_by_side_and_before_the_access_list(self):
        entry = {"service": "all", "from": "lan", "sources": "any"}
        device.apply({"acl": {"enabled": True, "entries": [entry]}})
        device.l3ctl("access", "telnet", "block")
        device.l3ctl("access", "web", "--port", "80", "block")
        device.l3ctl("access", "telnet", "block")
        self.assertEqual(len(rules.chain(_CHAIN)), 3)
        self.assert_effect(
            stopped={
                "tcp from lan to gateway port 23": Rule(_CHAIN, "dpt:23"),
                "tcp from lan to gateway port 80": Rule(_CHAIN, "dpt:80"),
            },
            accepted={"tcp from lan to gateway port 21": Rule("input_ext_us_acl", "ACCEPT")},
        )


class PageRedirection(LabCase):
    _JUMP = ("192.168.1.0/24", "198.51.100.2")

    def setUp(self):
        super().setUp()
        self.addCleanup(rules.run, "iptables", "-t", "nat", "-F", check=False)

    def _assert_lands(self, probe, host):
        self.assertEqual(self.send(probe).at, host)

    def test_web_requests_of_the_lan_land_on_the_page(self):
        self._assert_lands("tcp from lan to wan port 80", "wan")
        device.l3ctl("page-jump", "add", *self._JUMP)
        self._assert_lands("tcp from lan to wan port 80", "other")
        self.assertEqual(rules.packets("PREROUTING", "to:198.51.100.2", table="nat"), 1)
        # Requests to the gateway itself, other ports and other directions go their own way.
        self._assert_lands("tcp from lan to gateway port 80", "gateway")
        self._assert_lands("tcp from lan to wan port 81", "wan")
        self._assert_lands("tcp from wan to lan port 80", "lan")
        device.l3ctl("page-jump", "remove", *self._JUMP)
        self._assert_lands("tcp from lan to wan port 80", "wan")
        self.assertEqual(rules.chain("PREROUTING", table="nat"), [])

    def test_a_redirection_for_one_address_leaves_the_others_alone(self):
        device.l3ctl("page-jump", "add", "192.168.1.20", "198.51.100.2")
        self._assert_lands("tcp from tablet to wan port 80", "other")
        self._assert_lands("tcp from lan to wan port 80", "wan")
