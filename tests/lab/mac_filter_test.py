"""The MAC filters: which devices may send through the gateway, and when; IPv4 and IPv6 apart."""

from l3lab import clock, device, hosts, rules
from l3lab.rules import Rule
from lab_case import LabCase

_CHAIN = "forward_ext_mac"
_PHONE, _CONSOLE = "02:00:00:00:00:07", "02:00:00:00:00:08"


def _filter(section, *devices, mode="black-list"):
    return {section: {"enabled": True, "mode": mode, "devices": list(devices)}}


def _device(mac, active="all day"):
    return {"mac": mac, "active": active}


class _Both:
    """The same proofs for each family; the other family's traffic stays free throughout."""

    section, family, six, beside = "", 0, "", ""

    def _frame(self, mac):
        return f"udp{self.six} frame from {mac} to wan port 5000"

    def _rule(self, text):
        return Rule(_CHAIN, text, self.family)

    def test_a_black_list_stops_the_listed_device_alone(self):
        self.prove(
            _filter(self.section, _device(_PHONE), _device(hosts.TABLET.mac)),
            stopped={
                self._frame(_PHONE): self._rule(f"MAC {_PHONE}"),
                f"tcp{self.six} from tablet to wan port 80": self._rule(f"MAC {hosts.TABLET.mac}"),
            },
            passing=[
                self._frame(_CONSOLE),
                f"tcp{self.six} from lan to wan port 80",
                f"udp{self.six} from wan to tablet port 5000",
                f"udp{self.six} frame from {_PHONE} to gateway port 161",
                f"udp{self.beside} frame from {_PHONE} to wan port 5000",
            ],
        )

    def test_a_white_list_lets_only_the_listed_device_send(self):
        self.prove(
            _filter(self.section, _device(_PHONE), _device(hosts.LAN.mac), mode="white-list"),
            accepted={
                self._frame(_PHONE): self._rule(f"MAC {_PHONE}"),
                f"tcp{self.six} from lan to wan port 80": self._rule(f"MAC {hosts.LAN.mac}"),
            },
            stopped={
                self._frame(_CONSOLE): self._rule("DROP"),
                f"tcp{self.six} from tablet to wan port 80": self._rule("DROP"),
            },
            passing=[
                f"udp{self.six} from wan to tablet port 5000",
                f"udp{self.beside} frame from {_CONSOLE} to wan port 5000",
            ],
        )

    def test_a_black_list_rests_outside_its_span(self):
        for beside in (clock.before_now(), clock.after_now()):
            with self.subTest(beside):
                self.prove(
                    _filter(
                        self.section,
                        _device(_PHONE, clock.around_now()),
                        _device(_CONSOLE, beside),
                    ),
                    stopped={self._frame(_PHONE): self._rule(f"MAC {_PHONE}")},
                    passing=[self._frame(_CONSOLE)],
                )

    def test_a_white_listed_device_is_stopped_outside_its_span(self):
        for beside in (clock.before_now(), clock.after_now()):
            with self.subTest(beside):
                self.prove(
                    _filter(
                        self.section,
                        _device(_PHONE, clock.around_now()),
                        _device(_CONSOLE, beside),
                        mode="white-list",
                    ),
                    accepted={self._frame(_PHONE): self._rule(f"MAC {_PHONE}")},
                    stopped={self._frame(_CONSOLE): self._rule("DROP 0")},
                )

    def test_a_disabled_entry_stops_nothing(self):
        device.apply(_filter(self.section, {**_device(_PHONE), "enabled": False}))
        self.assert_rules_are_those_of_the_start()
        self.assert_all_pass("disabled", [self._frame(_PHONE)])

    def test_emptying_a_white_list_leaves_every_device_stopped(self):
        device.apply(_filter(self.section, _device(_PHONE), mode="white-list"))
        self.assert_accepted(self._frame(_PHONE), self._rule(f"MAC {_PHONE}"))
        self.clear()
        self.assert_stopped(self._frame(_PHONE), self._rule("DROP"))
        self.assertEqual(len(rules.chain(_CHAIN, self.family)), 1)


class MacFilter(_Both, LabCase):
    section, family, six, beside = "mac_filter", 4, "", "6"

    def clear(self):
        device.l3ctl("mac-filter", "--ipv4", "clear")


class Mac6Filter(_Both, LabCase):
    section, family, six, beside = "mac6_filter", 6, "6", ""

    def clear(self):
        device.l3ctl("mac-filter", "--ipv6", "clear")
