"""Devices by name and by address: the real neighbour table, and packets of a device that is blocked by its name."""

import json
import os

from l3lab import device, hosts
from l3lab.rules import Rule
from lab_case import LabCase

_ETHERS = "/etc/ethers"
_FROM_TABLET = "tcp from tablet to wan port 80"
_FROM_TABLET6 = "tcp6 from tablet to wan port 80"
_FROM_LAN = "tcp from lan to wan port 80"


def _answer(*arguments):
    return json.loads(device.l3ctl("--json", *arguments).stdout)


def _by_mac(answer):
    return {one["mac"]: one for one in answer["devices"]}


class Devices(LabCase):
    def setUp(self):
        super().setUp()
        self.addCleanup(lambda: os.path.exists(_ETHERS) and os.unlink(_ETHERS))
        # Who has sent is in the neighbour table.
        self.assert_all_pass("before", [_FROM_TABLET, _FROM_TABLET6, _FROM_LAN])

    def rule(self, family):
        return Rule("forward_ext_mac", f"MAC {hosts.TABLET.mac}", family)

    def test_the_neighbour_table_is_listed(self):
        devices = _by_mac(_answer("devices"))
        for host in (hosts.LAN, hosts.TABLET):
            self.assertIn(host.v4, devices[host.mac]["ipv4"])
            self.assertTrue(devices[host.mac]["locally_administered"])
            self.assertIsNotNone(devices[host.mac]["last_seen"])
        self.assertIn(hosts.TABLET.v6, devices[hosts.TABLET.mac]["ipv6"])
        self.assertNotIn(hosts.WAN.v4, str(devices))

    def test_a_device_is_blocked_by_its_name(self):
        device.l3ctl("devices", "name", hosts.TABLET.mac, "tablet")
        device.l3ctl("mac-filter", "on")
        done = device.l3ctl("mac-filter", "add", "tablet")
        self.assertIn(f'"tablet" is {hosts.TABLET.mac}', done.stderr)
        self.assert_effect(
            stopped={_FROM_TABLET: self.rule(4), _FROM_TABLET6: self.rule(6)}, passing=[_FROM_LAN]
        )
        blocked = _by_mac(_answer("blocked"))
        self.assertEqual(list(blocked), [hosts.TABLET.mac])
        self.assertEqual(blocked[hosts.TABLET.mac]["name"], "tablet")
        explained = _answer("explain", "tablet", f"{hosts.WAN.v4}:80")
        self.assertEqual((explained["outcome"], explained["decided_by"]), ("dropped", "mac_filter.devices[0]"))
        self.assertEqual(_answer("explain", "tablet", f"[{hosts.WAN.v6}]:80")["outcome"], "dropped")
        device.l3ctl("mac-filter", "delete", "tablet")
        self.assert_all_pass("after removal", [_FROM_TABLET, _FROM_TABLET6])
        self.assertEqual(_answer("blocked")["devices"], [])

    def test_a_device_is_blocked_by_its_address(self):
        device.l3ctl("mac-filter", "on")
        device.l3ctl("mac-filter", "add", hosts.TABLET.v6)
        self.assert_effect(stopped={_FROM_TABLET: self.rule(4)}, passing=[_FROM_LAN])
        device.l3ctl("mac-filter", "delete", hosts.TABLET.v4)
        self.assert_all_pass("after removal", [_FROM_TABLET])

    def test_a_gateways_own_address_and_a_neighbours(self):
        self.assertEqual(_answer("explain", hosts.TABLET.v4, "192.168.1.1:23")["packets"][0]["traffic"], "IPv4")
        refused = device.l3ctl("explain", hosts.TABLET.v4, hosts.LAN.v4, check=False)
        self.assertEqual(refused.returncode, 2)
        self.assertIn("do not meet the packet filter", refused.stderr)
