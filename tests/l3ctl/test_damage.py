"""Changes where the stored file is torn or implausible."""
import json
import unittest

from gateway import CONFIGURATION, FW, Gateway, configuration, word

INSPECT = '"l3ctl inspect" tells all'
COUNT = ("/ztcfg/l3_advance.dat is implausible (fw_rules_table.ip_filter.count: 51, but there is room for 50: rules are "
         "made from whatever lies behind the entries too)")


class Damage(Gateway):
    def setUp(self):
        super().setUp()
        self.store(w0=51)

    def test_a_change_is_refused(self):
        stored = CONFIGURATION.read_bytes()
        for change in (["firewall", "on"], ["mac-filter", "add", "02:00:00:00:00:01"], ["level", "high"], ["apply", "-"],
                       ["vpn", "on"], ["wan", "update", "wan3"]):
            self.assert_outcome(
                self.l3ctl(*change, stdin="{}"), 1,
                err=f'l3ctl: {COUNT}; {INSPECT}, "l3ctl restore" puts a backup back, --force goes on all the same; '
                    "nothing was changed\n")
        self.assertEqual((CONFIGURATION.read_bytes(), self.commands()), (stored, []))

    def test_force_goes_on_with_a_warning(self):
        outcome = self.l3ctl("--force", "dhcp-filter", "add", "02:00:00:00:00:01")
        self.assertEqual((outcome.status, outcome.out), (0, "dhcp-filter: added as dhcp_filter entry 0\n"))
        self.assertTrue(outcome.err.startswith(f"l3ctl: warning: {COUNT}; {INSPECT}\n"), outcome.err)

    def test_the_ways_out_go_on_with_a_warning(self):
        for way, stdin in ((["init"], b""), (["reset", "--yes"], b""), (["restore", "-"], configuration())):
            self.store(w0=51)
            outcome = self.l3ctl(*way, stdin=stdin)
            self.assertEqual(outcome.status, 0, outcome.err)
            self.assertIn(f"l3ctl: warning: {COUNT}; {INSPECT}\n", outcome.err)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_a_short_file_stays_torn(self):
        CONFIGURATION.write_bytes(configuration()[:5000])
        outcome = self.l3ctl("mac-filter", "add", "02:00:00:00:00:01")
        self.assertEqual((outcome.status, outcome.out), (1, ""))
        self.assertTrue(outcome.err.startswith("l3ctl: /ztcfg/l3_advance.dat is torn ("), outcome.err)
        self.assertEqual(CONFIGURATION.stat().st_size, 5000)

    def test_readers_warn_once_and_count_what_there_is_room_for(self):
        lists = [[name, "list"] for name in ("ip-filter", "acl", "url-filter", "mac-filter", "dhcp-filter", "captive-portal")]
        switches = [[name, "status"] for name in ("firewall", "port-scan", "ipsec", "vpn", "portal")]
        stored = CONFIGURATION.read_bytes()
        for reader in (["show"], ["status"], ["export"], ["rules"], ["qos", "show"], ["diff", "-"], *lists, *switches):
            outcome = self.l3ctl(*reader, stdin="{}")
            self.assertEqual((outcome.status, outcome.out == ""), (0, reader[0] == "diff"), reader)
            self.assertEqual(outcome.err, f"l3ctl: warning: {COUNT}; {INSPECT}\n", reader)
        self.assertEqual(self.l3ctl("check").err.count(f"l3ctl: warning: {COUNT}; {INSPECT}\n"), 1)
        self.assertEqual(CONFIGURATION.read_bytes(), stored)
        self.assertIn("ip_filter               waits for the firewall, 50 entries\n", self.l3ctl("status").out)
        self.store()
        self.assertEqual(self.l3ctl("status").err, "")

    def test_a_missing_file_is_none(self):
        CONFIGURATION.unlink()
        self.assertEqual(self.l3ctl("ipsec", "off").status, 0)

    def test_an_address_that_no_device_has_is_refused_on_input(self):
        for mac, group in (("01:00:5e:00:00:01", "multicast"), ("ff:ff:ff:ff:ff:ff", "broadcast")):
            self.store()
            stored = CONFIGURATION.read_bytes()
            why = (f'"{mac}" is not allowed; it must be the address of one device: this is a {group} address, '
                   "from which no device sends\nl3ctl: nothing was changed\n")
            self.assert_outcome(self.l3ctl("mac-filter", "add", mac), 2,
                                err=f"l3ctl: mac_filter.devices[0].mac: {why}")
            self.assert_outcome(self.l3ctl("dhcp-filter", "add", mac), 2,
                                err=f"l3ctl: dhcp_filter.devices[0].mac: {why}")
            self.assert_outcome(
                self.apply(json.dumps({"mac_filter": {"enabled": True, "devices": [{"mac": mac}]}})), 2,
                err=f"l3ctl: standard input:1: mac_filter.devices[0].mac: {why}")
            self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def store_group_addresses(self):
        """Two entries as another program may have stored them: a broadcast and a multicast address."""
        words = {"w4636": 2}
        data = bytearray(configuration(**words))
        for number, mac in enumerate((b"\xff" * 6, b"\x01\x00\x5e\x00\x00\x01")):
            start = FW + 4640 + 20 * number
            data[start:start + 20] = word(1) + mac + bytes((0, 0, 24, 0)) + bytes(6)
        CONFIGURATION.write_bytes(data)

    def test_an_address_that_no_device_has_can_be_deleted_where_it_is_stored(self):
        self.store_group_addresses()
        self.assertEqual(self.l3ctl("mac-filter", "list").err, "")
        inspected = json.loads(self.l3ctl("--json", "inspect").out)
        self.assertTrue(inspected["plausible"])
        self.assertEqual(
            [(one["kind"], one["what"], one["advice"]) for one in inspected["findings"]],
            [("note", f"{mac} is a {group} address, from which no device sends: the entry has no effect",
              f'"l3ctl mac-filter delete {mac}"')
             for mac, group in (("ff:ff:ff:ff:ff:ff", "broadcast"), ("01:00:5e:00:00:01", "multicast"))])
        self.assertEqual(self.l3ctl("explain", "--from", "lan", "--to", "wan", "--protocol", "tcp", "--source",
                                    "192.168.1.2", "--destination", "203.0.113.1", "--destination-port", "80").status, 0)
        # Another change is neither refused nor held up by them, and export names them.
        self.assertEqual(self.l3ctl("mac-filter", "--ipv4", "add", "02:00:00:00:00:01").status, 0)
        self.assertEqual(self.l3ctl("export").status, 1)
        self.assert_outcome(self.l3ctl("mac-filter", "delete", "ff:ff:ff:ff:ff:ff"), 0,
                            out="mac-filter: deleted 1 entry\n")
        self.assert_outcome(self.l3ctl("mac-filter", "delete", "0"), 0, out="mac-filter: deleted 1 entry\n")
        self.assertEqual(json.loads(self.l3ctl("inspect", "--json").out)["findings"], [])
        self.assert_outcome(self.l3ctl("mac-filter", "--ipv4", "list"), 0, out=(
            "mac_filter              off, black-list, 1 entry\n"
            "     mac                active\n"
            "  0  02:00:00:00:00:01  all day\n"))
        self.assertEqual(self.l3ctl("export").status, 0)

    def test_a_backup_with_such_an_address_is_taken(self):
        self.store_group_addresses()
        self.assertEqual(self.l3ctl("backup", "/tmp/group.dat").status, 0)
        self.store()
        self.assertEqual(self.l3ctl("restore", "/tmp/group.dat").status, 0)


if __name__ == "__main__":
    unittest.main()
