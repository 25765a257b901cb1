"""The IP filter: forwarded traffic by protocol, addresses and ports; both directions and families."""

from l3lab import device, hosts, rules
from l3lab.rules import Rule
from lab_case import LabCase

_US, _DS = "forward_ext_us_ip", "forward_ext_ds_ip"


def _filter(entries, upstream="black-list", downstream="black-list", enabled=True):
    return {
        "enabled": enabled,
        "upstream": upstream,
        "downstream": downstream,
        "rules": entries,
    }


def _up(protocol, **rest):
    return {"direction": "upstream", "protocol": protocol, **rest}


def _down(protocol, **rest):
    return {"direction": "downstream", "protocol": protocol, **rest}


class IpFilterBlackList(LabCase):
    def test_upstream_each_protocol_stops_only_itself(self):
        tcp, udp, ping = (
            "tcp from lan to wan port 80",
            "udp from lan to wan port 5000",
            "ping from lan to wan",
        )
        for protocol, stopped in (
            ("tcp", [tcp]),
            ("udp", [udp]),
            ("icmp", [ping]),
            ("all", [tcp, udp, ping]),
        ):
            with self.subTest(protocol):
                self.prove(
                    {"ip_filter": _filter([_up(protocol, source=hosts.LAN.v4)])},
                    stopped={probe: Rule(_US, "DROP") for probe in stopped},
                    passing=[probe for probe in (tcp, udp, ping) if probe not in stopped]
                    + ["tcp from tablet to wan port 80", "tcp6 from lan to wan port 80"],
                )

    def test_downstream_each_protocol_stops_only_itself(self):
        tcp, udp, ping = (
            "tcp from wan to lan port 80",
            "udp from wan to lan port 5000",
            "ping from wan to lan",
        )
        for protocol, stopped in (
            ("tcp", [tcp]),
            ("udp", [udp]),
            ("icmp", [ping]),
            ("all", [tcp, udp, ping]),
        ):
            with self.subTest(protocol):
                self.prove(
                    {"ip_filter": _filter([_down(protocol, destination=hosts.LAN.v4)])},
                    stopped={probe: Rule(_DS, "DROP") for probe in stopped},
                    passing=[probe for probe in (tcp, udp, ping) if probe not in stopped]
                    + ["tcp from wan to tablet port 80", "udp from other to lan port 5000"],
                )

    def test_port_ranges_hold_at_both_ends(self):
        self.prove(
            {
                "ip_filter": _filter(
                    [
                        _up("tcp", destination_ports="80-88"),
                        _up("udp", source_ports="6000-6001", destination_ports="5000"),
                    ]
                )
            },
            stopped={
                "tcp from lan to wan port 80": Rule(_US, "dpts:80:88"),
                "tcp from lan to wan port 88": Rule(_US, "dpts:80:88"),
                "udp 6000->5000 from lan to wan": Rule(_US, "spts:6000:6001"),
                "udp 6001->5000 from lan to wan": Rule(_US, "spts:6000:6001"),
            },
            passing=[
                "tcp from lan to wan port 79",
                "tcp from lan to wan port 89",
                "udp from lan to wan port 80",
                "udp 5999->5000 from lan to wan",
                "udp 6002->5000 from lan to wan",
                "udp 6000->5001 from lan to wan",
            ],
        )

    def test_addresses_match_one_host_each(self):
        self.prove(
            {"ip_filter": _filter([_up("all", source=hosts.LAN.v4, destination=hosts.WAN.v4)])},
            stopped={"udp from lan to wan port 5000": Rule(_US, "DROP")},
            passing=["udp from tablet to wan port 5000", "udp from lan to other port 5000"],
        )

    def test_an_entry_without_addresses_and_ports_means_everyone(self):
        self.prove(
            {"ip_filter": _filter([_up("udp")])},
            stopped={
                "udp from lan to wan port 5000": Rule(_US, "DROP"),
                "udp from tablet to other port 53": Rule(_US, "DROP"),
            },
            passing=["tcp from lan to wan port 80", "udp from wan to lan port 5000"],
        )

    def test_a_downstream_entry_leaves_another_wan_alone(self):
        self.prove(
            {"ip_filter": _filter([_down("all")])},
            stopped={"udp from wan to lan port 5000": Rule(_DS, "DROP")},
            passing=["udp from other to lan port 5000", "udp from lan to wan port 5000"],
        )

    def test_stopping_downstream_also_cuts_the_answers_to_the_lan(self):
        self.prove(
            {"ip_filter": _filter([_down("all", source=hosts.WAN.v4)])},
            stopped={
                "tcp from lan to wan port 80": Rule(_DS, "DROP"),
                "ping from lan to wan": Rule(_DS, "DROP"),
            },
            passing=["tcp from lan to other port 80"],
        )


class IpFilterWhiteList(LabCase):
    def test_upstream_only_what_is_listed_may_leave(self):
        self.prove(
            {"ip_filter": _filter([_up("tcp", destination_ports="80-88")], upstream="white-list")},
            accepted={"tcp from lan to wan port 80": Rule(_US, "ACCEPT")},
            stopped={
                "tcp from lan to wan port 89": Rule(_US, "DROP"),
                "udp from lan to wan port 80": Rule(_US, "DROP"),
                "ping from lan to wan": Rule(_US, "DROP"),
                # No state: the lan host's answer to the wan host leaves upstream, too.
                "tcp from wan to lan port 80": Rule(_US, "DROP"),
            },
            passing=["udp from wan to lan port 5000", "udp6 from lan to wan port 5000"],
        )

    def test_downstream_only_what_is_listed_may_enter(self):
        self.prove(
            {
                "ip_filter": _filter(
                    [_down("udp", destination=hosts.LAN.v4, destination_ports="5000-5001")],
                    downstream="white-list",
                )
            },
            accepted={"udp from wan to lan port 5001": Rule(_DS, "ACCEPT")},
            stopped={
                "udp from wan to lan port 5002": Rule(_DS, "DROP"),
                "udp from wan to tablet port 5000": Rule(_DS, "DROP"),
                # No state: answers to connections that the lan opened are not listed either.
                "tcp from lan to wan port 80": Rule(_DS, "DROP"),
                "ping from lan to wan": Rule(_DS, "DROP"),
            },
            passing=["udp from lan to wan port 5000", "udp from other to lan port 5002"],
        )

    def test_an_empty_list_shuts_its_direction(self):
        self.prove(
            {"ip_filter": _filter([], upstream="white-list", downstream="white-list")},
            stopped={
                "udp from lan to wan port 5000": Rule(_US, "DROP"),
                "udp from wan to lan port 5000": Rule(_DS, "DROP"),
            },
            passing=["tcp from lan to gateway port 80", "udp from other to lan port 5000"],
        )

    def test_emptying_the_list_leaves_the_direction_shut(self):
        device.apply({"ip_filter": _filter([_up("all")], upstream="white-list")})
        self.assert_accepted("udp from lan to wan port 5000", Rule(_US, "ACCEPT"))
        device.l3ctl("ip-filter", "clear")
        self.assert_stopped("udp from lan to wan port 5000", Rule(_US, "DROP"))
        self.assertEqual([rule.target for rule in rules.chain(_US)], ["DROP"])


class IpFilterSwitch(LabCase):
    def test_a_disabled_filter_keeps_its_entries_and_stops_nothing(self):
        device.apply({"ip_filter": _filter([_up("all")], upstream="white-list", enabled=False)})
        self.assert_rules_are_those_of_the_start()
        self.assert_all_pass("disabled", ["udp from lan to wan port 5000"])
        device.apply({"ip_filter": _filter([_up("udp")])})
        self.assert_stopped("udp from lan to wan port 5000", Rule(_US, "DROP"))


class Ip6Filter(LabCase):
    _BOTH = {"source": hosts.LAN.v6, "destination": hosts.WAN.v6}
    _BACK = {"source": hosts.WAN.v6, "destination": hosts.LAN.v6}

    def test_a_black_list_stops_each_protocol_upstream(self):
        tcp, udp, ping = (
            "tcp6 from lan to wan port 80",
            "udp6 from lan to wan port 5000",
            "ping6 from lan to wan",
        )
        for protocol, stopped in (
            ("tcp", [tcp]),
            ("udp", [udp]),
            ("all", [tcp, udp, ping]),
            # The word icmp is IPv4's protocol, which no IPv6 packet carries.
            ("icmp", []),
        ):
            with self.subTest(protocol):
                self.prove(
                    {"ip6_filter": _filter([_up(protocol, **self._BOTH)])},
                    stopped={probe: Rule(_US, "DROP", 6) for probe in stopped},
                    passing=[probe for probe in (tcp, udp, ping) if probe not in stopped]
                    + ["udp6 from tablet to wan port 5000", "udp from lan to wan port 5000"],
                )

    def test_a_black_list_stops_port_ranges_downstream(self):
        entry = _down("udp", destination_ports="5000-5010", **self._BACK)
        self.prove(
            {"ip6_filter": _filter([entry])},
            stopped={
                "udp6 from wan to lan port 5000": Rule(_DS, "dpts:5000:5010", 6),
                "udp6 from wan to lan port 5010": Rule(_DS, "dpts:5000:5010", 6),
            },
            passing=["udp6 from wan to lan port 5011", "udp6 from other to lan port 5000"],
        )

    def test_a_white_list_lets_only_what_is_listed_pass(self):
        self.prove(
            {
                "ip6_filter": _filter(
                    [
                        _up("udp", destination_ports="5000", **self._BOTH),
                        _down("udp", destination_ports="5000", **self._BACK),
                    ],
                    upstream="white-list",
                    downstream="white-list",
                )
            },
            accepted={
                "udp6 from lan to wan port 5000": Rule(_US, "ACCEPT", 6),
                "udp6 from wan to lan port 5000": Rule(_DS, "ACCEPT", 6),
            },
            stopped={
                "udp6 from lan to wan port 5001": Rule(_US, "DROP", 6),
                "ping6 from lan to wan": Rule(_US, "DROP", 6),
                "udp6 from wan to tablet port 5000": Rule(_DS, "DROP", 6),
            },
            passing=["udp from lan to wan port 5001"],
        )

    def test_an_entry_that_leaves_an_address_open_stops_nothing(self):
        for open_entry in (
            _up("udp"),
            _up("udp", source=hosts.LAN.v6),
            _up("udp", destination=hosts.WAN.v6),
        ):
            with self.subTest(open_entry):
                warned = device.apply({"ip6_filter": _filter([open_entry])}).stderr
                self.assertIn("matches no packet", warned)
                self.assertEqual(len(rules.chain(_US, 6)), 1)
                self.assert_all_pass("open address", ["udp6 from lan to wan port 5000"])
                self.assertEqual(rules.packets(_US, "DROP", 6), 0)
