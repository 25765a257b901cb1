"""The captive portal: where the LAN's web requests may go. IPv4, TCP port 80."""

from l3lab import device, hosts, rules
from l3lab.rules import Rule
from lab_case import LabCase

_CHAIN = "forward_ext_captiveportal"


def _portal(*destinations):
    return {"captive_portal": {"enabled": True, "destinations": list(destinations)}}


class CaptivePortal(LabCase):
    def test_only_listed_destinations_are_reached(self):
        for destination in (hosts.WAN.v4, "203.0.113.0/24", "203.0.112.0/20"):
            with self.subTest(destination):
                self.prove(
                    _portal(destination),
                    accepted={"tcp from lan to wan port 80": Rule(_CHAIN, "ACCEPT")},
                    stopped={
                        "tcp from lan to other port 80": Rule(_CHAIN, "DROP"),
                        "tcp from tablet to other port 80": Rule(_CHAIN, "DROP"),
                    },
                    passing=[
                        "tcp from lan to other port 443",
                        "tcp from lan to other port 81",
                        "udp from lan to other port 80",
                        "tcp6 from lan to other port 80",
                        "tcp from other to lan port 80",
                        "tcp from lan to gateway port 80",
                    ],
                )

    def test_an_empty_list_stops_every_web_request(self):
        self.prove(
            _portal(),
            stopped={
                "tcp from lan to wan port 80": Rule(_CHAIN, "DROP"),
                "tcp from lan to other port 80": Rule(_CHAIN, "DROP"),
            },
            passing=["tcp from lan to wan port 443"],
        )

    def test_a_disabled_destination_is_not_permitted(self):
        self.prove(
            _portal({"destination": hosts.WAN.v4, "enabled": False}, hosts.OTHER.v4),
            stopped={"tcp from lan to wan port 80": Rule(_CHAIN, "DROP")},
            accepted={"tcp from lan to other port 80": Rule(_CHAIN, "ACCEPT")},
        )

    def test_emptying_the_list_frees_all_web_requests(self):
        device.apply(_portal(hosts.WAN.v4))
        self.assert_stopped("tcp from lan to other port 80", Rule(_CHAIN, "DROP"))
        device.l3ctl("captive-portal", "clear")
        self.assertEqual(rules.chain(_CHAIN), [])
        self.assert_all_pass("cleared", ["tcp from lan to other port 80"])
