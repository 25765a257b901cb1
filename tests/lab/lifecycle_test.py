"""What happens to the rules over a gateway's life: starts, switch, levels, WAN changes, reset."""

import os

from l3lab import device, rules
from l3lab.rules import Rule
from lab_case import NOTHING, LabCase, baseline

_US, _DS = "forward_ext_us_ip", "forward_ext_ds_ip"
_PHONE = "02:00:00:00:00:07"
_UP_TCP = "tcp from lan to wan port 2323"
_DOWN_UDP = "udp from wan to lan port 5000"
_UP6 = "udp6 from lan to wan port 2323"
_DOWN6 = "udp6 from wan to tablet port 5000"

_SAMPLE = {
    "ip_filter": {
        "enabled": True,
        "rules": [
            {"direction": "upstream", "protocol": "tcp", "destination_ports": "2323"},
            {"direction": "downstream", "protocol": "udp", "destination_ports": "5000"},
        ],
    },
    "ip6_filter": {
        "enabled": True,
        "rules": [
            {
                "direction": "upstream",
                "protocol": "udp",
                "source": "fd00:1::10",
                "destination": "2001:db8:1::2",
                "destination_ports": "2323",
            },
            {
                "direction": "downstream",
                "protocol": "all",
                "source": "2001:db8:1::2",
                "destination": "fd00:1::20",
            },
        ],
    },
    "url_filter": {"enabled": True, "entries": [{"host": "example.com"}]},
    "mac_filter": {"enabled": True, "devices": [{"mac": _PHONE}]},
    "mac6_filter": {"enabled": True, "devices": [{"mac": _PHONE}]},
    "dhcp_filter": {"enabled": True, "devices": [_PHONE]},
    "acl": {
        "enabled": True,
        "entries": [{"service": "web", "from": "lan", "sources": "192.168.1.10"}],
    },
    "captive_portal": {"enabled": True, "destinations": ["203.0.113.2"]},
}

_STOPPED_BY_DISPATCHED = {
    _UP_TCP: Rule(_US, "dpt:2323"),
    _DOWN_UDP: Rule(_DS, "dpt:5000"),
    _UP6: Rule(_US, "dpt:2323", 6),
    _DOWN6: Rule(_DS, "DROP", 6),
    "tcp from tablet to gateway port 80": Rule("input_ext_us_acl", "DROP"),
}
_STOPPED_BY_HOOKED = {
    "dns query for example.com from lan to wan": Rule("forward_ext_url", "DROP"),
    f"udp frame from {_PHONE} to wan port 5001": Rule("forward_ext_mac", "DROP"),
    f"udp6 frame from {_PHONE} to wan port 5001": Rule("forward_ext_mac", "DROP", 6),
    "tcp from lan to other port 80": Rule("forward_ext_captiveportal", "DROP"),
}
_DHCP = f"dhcp discover from {_PHONE}"
_STOPPED_BY_DHCP = {_DHCP: Rule("input_ext_dhcp", "DROP")}
_STOPPED_BY_ALL = {**_STOPPED_BY_DISPATCHED, **_STOPPED_BY_HOOKED, **_STOPPED_BY_DHCP}


class Starts(LabCase):
    def test_the_first_two_starts_only_record_the_tree_and_the_third_brings_the_rules(self):
        device.put_files({})
        files = []
        for _ in range(3):
            device.cut_power()
            self.assert_all_pass("without power", [_UP_TCP])
            device.l3ctl("init")
            files.append(sorted(name for name in os.listdir(device.STORE) if "firewall" in name))
        self.assertEqual(files[0], ["firewall.conf"])
        self.assertEqual(files[1], ["firewall.conf", "firewall6.conf"])
        self.assertEqual(files[2], ["firewall.conf", "firewall6.conf"])

    def test_a_restart_brings_back_everything_but_the_dhcp_filter(self):
        self.assert_all_pass("before", _STOPPED_BY_ALL)
        device.apply(_SAMPLE)
        self.assert_effect(_STOPPED_BY_ALL)
        device.cut_power()
        self.assert_all_pass("without power", _STOPPED_BY_ALL)
        device.l3ctl("init")
        self.assert_effect(_STOPPED_BY_HOOKED, passing=[_DHCP, _UP_TCP, _DOWN_UDP])
        device.l3ctl("wan", "update", "wan3")
        self.assert_effect({**_STOPPED_BY_DISPATCHED, **_STOPPED_BY_HOOKED}, passing=[_DHCP])

    def test_ipv6_rules_come_from_their_save_file(self):
        device.apply(_SAMPLE)
        path = f"{device.STORE}/firewall6.conf"
        with open(path, encoding="utf-8") as file:
            saved = file.read()
        with open(path, "w", encoding="utf-8") as file:
            file.write(saved.replace("--dport 2323 ", "--dport 2324 "))
        self.assertNotEqual(saved, saved.replace("--dport 2323 ", "--dport 2324 "))
        device.cut_power()
        device.l3ctl("init")
        self.assert_all_pass("as saved", [_UP6])
        self.assert_stopped(_UP6.replace("2323", "2324"), Rule(_US, "DROP", 6))

    def test_a_start_with_the_firewall_off_brings_no_rule_but_the_ipsec_ones(self):
        device.apply({**_SAMPLE, "ipsec_pass_through": False})
        device.apply({"firewall": {"enabled": False}})
        device.cut_power()
        device.l3ctl("init")
        device.l3ctl("wan", "update", "wan3")
        self.assert_all_pass("switched off", _STOPPED_BY_ALL)
        self.assert_stopped("udp 500->500 from lan to wan", Rule("FORWARD", "spt:500 dpt:500"))
        self.assert_stopped("udp 4500->4500 from lan to wan", Rule("FORWARD", "dpt:4500"))


class Switch(LabCase):
    def test_off_opens_everything_and_on_shuts_it_again_but_for_dhcp(self):
        device.apply(_SAMPLE)
        self.assert_effect(_STOPPED_BY_ALL)
        device.l3ctl("firewall", "off")
        self.assert_all_pass("off", _STOPPED_BY_ALL)
        device.l3ctl("firewall", "on")
        self.assert_effect({**_STOPPED_BY_DISPATCHED, **_STOPPED_BY_HOOKED}, passing=[_DHCP])

    def test_the_portal_switch_is_the_whole_firewall(self):
        device.apply(_SAMPLE)
        device.l3ctl("portal", "off")
        self.assert_all_pass("off", _STOPPED_BY_ALL)
        device.l3ctl("portal", "on")
        self.assert_effect({**_STOPPED_BY_DISPATCHED, **_STOPPED_BY_HOOKED}, passing=[_DHCP])

    def test_levels(self):
        scan = "tcp flags ACK from wan to lan port 80"
        not_syn = "DROP 6 -- * * 0.0.0.0/0 0.0.0.0/0 tcp flags:!0x17/0x02"
        dropped = Rule("forward_ext_bad_tcp", not_syn)
        device.apply(_SAMPLE)
        device.l3ctl("level", "high")
        self.assert_effect({**_STOPPED_BY_DISPATCHED, scan: dropped})
        device.l3ctl("level", "low")
        self.assert_effect(_STOPPED_BY_DISPATCHED, passing=[scan])
        device.l3ctl("level", "off")
        self.assert_all_pass("off", [*_STOPPED_BY_ALL, scan])

    def test_a_factory_reset_opens_everything_for_good(self):
        device.apply({**_SAMPLE, "port_scan_protection": True})
        self.assert_effect({**_STOPPED_BY_DISPATCHED, **_STOPPED_BY_HOOKED})
        device.l3ctl("reset", "--yes")
        self.assert_all_pass("reset", _STOPPED_BY_ALL)
        self.assert_rules_are_those_of_the_start()
        device.cut_power()
        device.l3ctl("init")
        device.l3ctl("wan", "update", "wan3")
        self.assert_all_pass("reset and restarted", _STOPPED_BY_ALL)
        device.l3ctl("firewall", "on")
        self.assert_all_pass("reset and on again", _STOPPED_BY_ALL)


class WanBinding(LabCase):
    _THERE = "udp from other to lan port 5000"

    def test_the_rules_follow_the_internet_to_its_new_interface(self):
        device.apply(_SAMPLE)
        by_rule = Rule(_DS, "dpt:5000")
        self.assert_effect({_DOWN_UDP: by_rule}, passing=[self._THERE])
        device.move_internet_to("wan4")
        device.l3ctl("wan", "clear")
        self.assert_all_pass("cleared", [_DOWN_UDP, self._THERE, _UP_TCP, _UP6, _DOWN6])
        device.l3ctl("wan", "update", "wan4")
        self.assert_effect(
            {self._THERE: by_rule, _UP_TCP: Rule(_US, "dpt:2323")}, passing=[_DOWN_UDP]
        )
        self.assert_stopped(_UP6, Rule(_US, "dpt:2323", 6))
        self.assert_all_pass("no longer the Internet", [_DOWN6])
        entry = {**_SAMPLE["ip6_filter"]["rules"][1], "source": "2001:db8:2::2"}
        device.apply({"ip6_filter": {"enabled": True, "rules": [entry]}})
        self.assert_stopped("udp6 from other to tablet port 5000", Rule(_DS, "DROP", 6))

    def test_port_scan_protection_shuts_the_new_wan_and_opens_the_old(self):
        device.apply({"port_scan_protection": True})
        chain = "input_ext_local_access_ex"
        old, new = "udp from wan to gateway port 161", "udp from other to gateway port 161"
        self.assert_effect({old: Rule(chain, "wan3")}, passing=[new])
        device.move_internet_to("wan4")
        device.l3ctl("wan", "clear")
        device.l3ctl("wan", "update", "wan4")
        self.assert_effect({new: Rule(chain, "wan4")}, passing=[old])

    def test_the_access_list_follows_as_well(self):
        entry = {"service": "ping", "from": "wan", "sources": "any"}
        device.apply({"acl": {"enabled": True, "entries": [entry]}})
        old, new = "tcp from wan to gateway port 80", "tcp from other to gateway port 80"
        dropped = Rule("input_ext_ds_acl", "DROP")
        self.assert_effect({old: dropped}, passing=[new])
        device.move_internet_to("wan4")
        device.l3ctl("wan", "clear")
        device.l3ctl("wan", "update", "wan4")
        self.assert_effect({new: dropped}, passing=[old])


class OrderOfTheChains(LabCase):
    """ACCEPT is final: what an earlier chain lets pass, a later one never sees."""

    _DNS = "dns query for example.com from lan to wan"
    _URL = {"url_filter": _SAMPLE["url_filter"]}

    def test_an_upstream_white_list_that_names_dns_bypasses_the_url_filter(self):
        device.apply(self._URL)
        self.assert_stopped(self._DNS, Rule("forward_ext_url", "DROP"))
        listed = {"direction": "upstream", "protocol": "udp", "destination_ports": "53"}
        device.apply(
            {"ip_filter": {"enabled": True, "upstream": "white-list", "rules": [listed]}}
        )
        self.assert_accepted(self._DNS, Rule(_US, "dpt:53"))

    def test_a_mac_white_list_bypasses_the_captive_portal(self):
        device.apply({"captive_portal": {"enabled": True, "destinations": []}})
        probe = "tcp from lan to wan port 80"
        self.assert_stopped(probe, Rule("forward_ext_captiveportal", "DROP"))
        lan = {"mac": "02:00:00:00:01:10"}
        device.apply({"mac_filter": {"enabled": True, "mode": "white-list", "devices": [lan]}})
        self.assert_accepted(probe, Rule("forward_ext_mac", "ACCEPT"))


class TheBaseline(LabCase):
    def test_it_filters_nothing(self):
        self.assert_all_pass("baseline", _STOPPED_BY_ALL)
        self.assertEqual(set(NOTHING) - set(_SAMPLE), {"port_scan_protection", "ipsec_pass_through"})
        self.assertIn("l3_advance.dat", baseline().files)
