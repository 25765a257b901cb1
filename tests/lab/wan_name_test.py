"""An Internet WAN with a longer name than the platform can hand to the library, as PPP and VLAN interfaces have."""

from l3lab import device, rules
from l3lab.rules import Rule
from lab_case import LabCase

_NAME = "ppp0.100"
_WAN_DROP = Rule("input_ext_local_access_ex", _NAME)
_DOWN_UDP = "udp from wan to lan port 5000"
_DOWN6 = "udp6 from wan to tablet port 5000"
_FILTERS = {
    "ip_filter": {
        "enabled": True,
        "rules": [{"direction": "downstream", "protocol": "udp", "destination_ports": "5000"}],
    },
    "ip6_filter": {
        "enabled": True,
        "rules": [
            {
                "direction": "downstream",
                "protocol": "all",
                "source": "2001:db8:1::2",
                "destination": "fd00:1::20",
            }
        ],
    },
    "acl": {"enabled": True, "entries": [{"service": "web", "from": "wan", "sources": "any"}]},
}


def _rename(old: str, new: str) -> None:
    """Gives the interface of the Internet another name; the kernel forgets its IPv6 address and its routes."""
    for command in (
        f"link set {old} down",
        f"link set {old} name {new}",
        f"link set {new} up",
        f"-6 addr add 2001:db8:1::1/64 dev {new} nodad",
        f"-4 route replace default via 203.0.113.2 dev {new}",
        f"-6 route replace default via 2001:db8:1::2 dev {new}",
    ):
        rules.run("ip", *command.split())


class LongWanName(LabCase):
    def setUp(self):
        super().setUp()
        _rename("wan3", _NAME)
        self.addCleanup(_rename, _NAME, "wan3")
        # The renamed link was down; its neighbours are asked for their addresses again.
        for _ in range(10):
            if self.send(_DOWN_UDP).passed and self.send(_DOWN6).passed:
                break

    def _assert_filters_work(self):
        self.assert_effect(
            stopped={
                _DOWN_UDP: Rule("forward_ext_ds_ip", "dpt:5000"),
                _DOWN6: Rule("forward_ext_ds_ip", "DROP", 6),
                "tcp from wan to gateway port 23": Rule("input_ext_ds_acl", "DROP"),
            },
            accepted={"tcp from wan to gateway port 80": Rule("input_ext_ds_acl", "ACCEPT")},
            passing=["tcp from wan to lan port 80", "tcp from lan to gateway port 23"],
        )

    def test_rules_are_bound_to_the_name_that_the_daemon_reports(self):
        device.apply(_FILTERS)
        self.assert_all_pass("bound to wan3", [_DOWN_UDP, _DOWN6, "tcp from wan to gateway port 23"])
        device.l3ctl("wan", "update", _NAME)
        rules.forget_connections()
        self._assert_filters_work()
        self.assertEqual(device.l3ctl("check", check=False).returncode, 0)

    def test_switching_on_binds_them_without_a_report(self):
        device.l3ctl("firewall", "off")
        device.l3ctl("wan", "clear")
        device.apply(_FILTERS)
        self.assert_all_pass("switched off", [_DOWN_UDP, _DOWN6, "tcp from wan to gateway port 23"])
        device.l3ctl("firewall", "on")
        rules.forget_connections()
        self._assert_filters_work()
        self.assertEqual(device.l3ctl("check", check=False).returncode, 0)

    def test_port_scan_protection_drops_what_comes_from_it(self):
        probes = ["tcp from wan to gateway port 80", "udp from wan to gateway port 161"]
        device.l3ctl("wan", "update", _NAME)
        self.assert_all_pass("before", probes)
        for command in (["port-scan", "on"], ["firewall", "on"], ["level", "high"]):
            with self.subTest(" ".join(command)):
                device.l3ctl(*command)
                rules.forget_connections()
                self.assert_effect(
                    stopped={probe: _WAN_DROP for probe in probes},
                    passing=["tcp from lan to gateway port 80", "tcp from other to gateway port 80"],
                )
                self.assertEqual(device.l3ctl("check", check=False).returncode, 0)
        device.apply({"port_scan_protection": False})
        rules.forget_connections()
        self.assert_all_pass("after", probes)
