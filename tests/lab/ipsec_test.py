"""IPsec pass-through: IKE and NAT traversal between hosts on both sides of the gateway."""

from l3lab import device, rules
from l3lab.rules import Rule
from lab_case import LabCase

_IKE, _NAT_TRAVERSAL = Rule("FORWARD", "spt:500 dpt:500"), Rule("FORWARD", "spt:4500 dpt:4500")


class IpsecPassThrough(LabCase):
    def test_switched_off_it_stops_both_ports_both_ways(self):
        self.prove(
            {"ipsec_pass_through": False},
            stopped={
                "udp 500->500 from lan to wan": _IKE,
                "udp 500->500 from wan to lan": _IKE,
                "udp 4500->4500 from lan to wan": _NAT_TRAVERSAL,
                "udp 4500->4500 from wan to lan": _NAT_TRAVERSAL,
            },
            passing=[
                # Both ports must be the well-known one.
                "udp 4501->4500 from lan to wan",
                "udp 500->501 from lan to wan",
                "udp 500->4500 from lan to wan",
                "udp6 500->500 from lan to wan",
                "udp6 4500->4500 from lan to wan",
                "udp 500->500 from lan to gateway",
            ],
        )

    def test_it_does_not_depend_on_the_firewall_switch(self):
        device.apply({"firewall": {"enabled": False}})
        device.apply({"ipsec_pass_through": False})
        self.assert_stopped("udp 500->500 from lan to wan", _IKE)
        self.assertEqual(len(rules.chain("FORWARD")), 7)
