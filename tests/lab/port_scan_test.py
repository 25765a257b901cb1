"""Port-scan protection: TCP segments that open nothing, and the WAN's access to the gateway."""

from l3lab import device, rules
from l3lab.rules import Rule
from lab_case import LabCase

_FORWARD, _INPUT, _WAN_DROP = (
    "forward_ext_bad_tcp",
    "input_ext_local_access",
    "input_ext_local_access_ex",
)
_NOT_SYN = "DROP 6 -- * * 0.0.0.0/0 0.0.0.0/0 tcp flags:!0x17/0x02"
_PROTECTED = {"port_scan_protection": True}


class PortScan(LabCase):
    def test_segments_outside_any_connection_are_not_forwarded(self):
        stopped = {}
        for flags in ("ACK", "PSH+ACK"):
            for ends in ("from wan to lan", "from lan to wan"):
                stopped[f"tcp flags {flags} {ends} port 80"] = Rule(_FORWARD, _NOT_SYN)
        self.prove(
            _PROTECTED,
            stopped=stopped,
            passing=[
                "tcp from lan to wan port 80",
                "tcp from wan to lan port 80",
                "tcp6 flags ACK from wan to lan port 80",
                # Connection tracking calls these invalid, and so not new.
                "tcp flags SYN+ACK from wan to lan port 80",
                "tcp flags FIN from wan to lan port 80",
                "tcp flags RST from wan to lan port 80",
                "tcp flags FIN+PSH+URG from wan to lan port 80",
            ],
        )

    def test_they_do_not_reach_the_gateway_from_the_lan_either(self):
        self.prove(
            _PROTECTED,
            stopped={
                "tcp flags ACK from lan to gateway port 80": Rule(_INPUT, _NOT_SYN),
                "tcp flags PSH+ACK from lan to gateway port 23": Rule(_INPUT, _NOT_SYN),
            },
            passing=["tcp from lan to gateway port 80", "udp from lan to gateway port 161"],
        )

    def test_they_are_logged_before_they_are_dropped(self):
        device.apply(_PROTECTED)
        for chain, probe in (
            (_FORWARD, "tcp flags ACK from wan to lan port 80"),
            (_INPUT, "tcp flags ACK from lan to gateway port 80"),
        ):
            with self.subTest(chain):
                logged = Rule(chain, "LOG")
                before = logged.packets()
                self.assert_stopped(probe, Rule(chain, _NOT_SYN))
                self.assertEqual(logged.packets() - before, 1)

    def test_the_wan_does_not_reach_the_gateway_at_all(self):
        dropped = Rule(_WAN_DROP, "wan3")
        self.prove(
            _PROTECTED,
            stopped={
                "tcp from wan to gateway port 80": dropped,
                "udp from wan to gateway port 161": dropped,
                "ping from wan to gateway": dropped,
                # No state: nor do the answers that the gateway itself is waiting for.
                "tcp from gateway to wan port 80": dropped,
                "dns query for example.com from gateway to wan": dropped,
                "ping from gateway to wan": dropped,
            },
            passing=[
                "tcp from lan to gateway port 80",
                "tcp from other to gateway port 80",
                "tcp from wan to lan port 80",
            ],
        )

    def test_a_syn_ack_out_of_nowhere_never_meets_the_rule_for_it(self):
        device.apply(_PROTECTED)
        for chain, target in ((_FORWARD, "lan"), (_INPUT, "gateway")):
            with self.subTest(chain):
                for_syn_ack = Rule(chain, "DROP 6 -- * * 0.0.0.0/0 0.0.0.0/0 tcp flags:0x12/0x12")
                source = "wan" if target == "lan" else "lan"
                probe = f"tcp flags SYN+ACK from {source} to {target} port 80"
                self.assert_all_pass("SYN+ACK", [probe])
                self.assertEqual(for_syn_ack.packets(), 0)

    def test_resets_are_let_through_at_any_rate(self):
        device.apply(_PROTECTED)
        for chain, probe in (
            (_FORWARD, "tcp flags RST from wan to lan port 80"),
            (_INPUT, "tcp flags RST from lan to gateway port 80"),
        ):
            with self.subTest(chain):
                self.assert_all_pass("a burst of resets", [probe] * 8)
                # The limit's burst is five; the others fall out of the chain's end and pass too.
                self.assertIn(Rule(chain, "limit: avg 1/sec").packets(), range(5, 8))
