"""The access list: who may reach the gateway's own services. IPv4 alone."""

from l3lab import device, hosts, rules
from l3lab.rules import Rule
from lab_case import LabCase

_US, _DS = "input_ext_us_acl", "input_ext_ds_acl"
_SERVICES = {
    "web": "tcp from {} to gateway port 80",
    "ftp": "tcp from {} to gateway port 21",
    "snmp": "udp from {} to gateway port 161",
    "telnet": "tcp from {} to gateway port 23",
    "ping": "ping from {} to gateway",
}


def _list(*entries):
    return {"acl": {"enabled": True, "entries": list(entries)}}


def _entry(service, side="lan", sources="any"):
    return {"service": service, "from": side, "sources": sources}


class AccessList(LabCase):
    def test_one_service_shuts_the_other_four_on_its_side(self):
        for side, chain, host, beside in (
            ("lan", _US, "lan", "wan"),
            ("wan", _DS, "wan", "lan"),
        ):
            for service, probe in _SERVICES.items():
                with self.subTest(service=service, side=side):
                    others = [other for name, other in _SERVICES.items() if name != service]
                    self.prove(
                        _list(_entry(service, side)),
                        accepted={probe.format(host): Rule(chain, "ACCEPT")},
                        stopped={other.format(host): Rule(chain, "DROP") for other in others},
                        passing=[other.format(beside) for other in _SERVICES.values()],
                    )

    def test_all_services_of_a_single_source(self):
        self.prove(
            _list(_entry("all", "lan", hosts.LAN.v4)),
            accepted={probe.format("lan"): Rule(_US, "ACCEPT") for probe in _SERVICES.values()},
            stopped={probe.format("tablet"): Rule(_US, "DROP") for probe in _SERVICES.values()},
            passing=["tcp from wan to gateway port 80", "tcp from tablet to gateway port 8080"],
        )

    def test_a_range_holds_at_both_ends(self):
        def snmp(last):
            return f"udp frame from 02:00:00:00:00:07 as 192.168.1.{last} to gateway port 161"

        self.prove(
            _list(_entry("snmp", "lan", "192.168.1.7-192.168.1.12")),
            accepted={snmp(last): Rule(_US, "ACCEPT") for last in range(7, 13)},
            stopped={snmp(last): Rule(_US, "DROP") for last in (2, 6, 13, 14)},
        )

    def test_a_range_over_several_third_octets(self):
        def snmp(address):
            return f"udp frame from 02:00:00:00:00:07 as {address} to gateway port 161"

        # Sources beyond the gateway's LAN: it takes their packets, since it needs no way back.
        inside = ("192.168.2.0", "192.168.2.255", "192.168.3.77", "192.168.4.9")
        outside = ("192.168.0.77", "192.168.1.254", "192.168.4.10", "192.168.5.1")
        self.prove(
            _list(_entry("snmp", "lan", "192.168.2.0-192.168.4.9")),
            accepted={snmp(address): Rule(_US, "ACCEPT") for address in inside},
            stopped={snmp(address): Rule(_US, "DROP") for address in outside},
        )

    def test_both_sides_at_once(self):
        self.prove(
            _list(_entry("web", "lan", hosts.TABLET.v4), _entry("ping", "wan", hosts.WAN.v4)),
            accepted={
                "tcp from tablet to gateway port 80": Rule(_US, "ACCEPT"),
                "ping from wan to gateway": Rule(_DS, "ACCEPT"),
            },
            stopped={
                "tcp from lan to gateway port 80": Rule(_US, "DROP"),
                "tcp from wan to gateway port 80": Rule(_DS, "DROP"),
            },
            passing=["tcp from other to gateway port 80", "tcp from lan to wan port 80"],
        )

    def test_a_disabled_entry_shuts_nothing(self):
        device.apply(_list({**_entry("web"), "enabled": False}))
        self.assert_rules_are_those_of_the_start()
        self.assert_all_pass("disabled", ["tcp from lan to gateway port 23"])

    def test_a_list_without_ping_cuts_the_answers_to_the_gateways_own_ping(self):
        for side, chain, host in (("lan", _US, "lan"), ("wan", _DS, "wan")):
            with self.subTest(side):
                self.prove(
                    _list(_entry("web", side)),
                    stopped={f"ping from gateway to {host}": Rule(chain, "DROP")},
                )

    def test_services_that_are_not_of_the_list_stay_open(self):
        self.prove(
            _list(_entry("ping")),
            stopped={"tcp from lan to gateway port 80": Rule(_US, "DROP")},
            passing=["tcp from lan to gateway port 443", "udp from lan to gateway port 53"],
        )

    def test_emptying_the_list_opens_the_services(self):
        device.apply(_list(_entry("web", "lan", hosts.TABLET.v4)))
        self.assert_stopped("tcp from lan to gateway port 80", Rule(_US, "DROP"))
        device.l3ctl("acl", "clear")
        self.assert_all_pass("cleared", ["tcp from lan to gateway port 80"])
        self.assertEqual(rules.chain(_US), [])
