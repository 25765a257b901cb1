"""The DHCP filter: which devices may obtain an address."""

from l3lab import device, rules
from l3lab.rules import Rule
from lab_case import LabCase

_CHAIN = "input_ext_dhcp"
_PHONE, _CONSOLE = "02:00:00:00:00:07", "02:00:00:00:00:08"


def _filter(*devices, mode="black-list"):
    return {"dhcp_filter": {"enabled": True, "mode": mode, "devices": list(devices)}}


def _discover(mac):
    return f"dhcp discover from {mac}"


class DhcpFilter(LabCase):
    def test_a_black_list_keeps_the_listed_device_waiting(self):
        self.prove(
            _filter(_PHONE),
            stopped={_discover(_PHONE): Rule(_CHAIN, f"MAC {_PHONE}")},
            passing=[
                _discover(_CONSOLE),
                f"udp frame from {_PHONE} to gateway port 161",
                f"udp frame from {_PHONE} to wan port 67",
            ],
        )

    def test_a_white_list_serves_the_listed_device_alone(self):
        self.prove(
            _filter(_PHONE, mode="white-list"),
            accepted={_discover(_PHONE): Rule(_CHAIN, f"MAC {_PHONE}")},
            stopped={_discover(_CONSOLE): Rule(_CHAIN, "DROP")},
        )

    def test_an_empty_white_list_serves_no_device(self):
        self.prove(
            _filter(mode="white-list"), stopped={_discover(_PHONE): Rule(_CHAIN, "DROP")}
        )

    def test_emptying_the_list_serves_everyone_in_either_mode(self):
        for mode in ("black-list", "white-list"):
            with self.subTest(mode):
                device.apply(_filter(_PHONE, mode=mode))
                self.assertNotEqual(rules.chain(_CHAIN), [])
                device.l3ctl("dhcp-filter", "clear")
                self.assertEqual(rules.chain(_CHAIN), [])
                self.assert_all_pass("cleared", [_discover(_PHONE), _discover(_CONSOLE)])
