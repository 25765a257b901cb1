"""Changes where the stored file is torn or implausible."""
import unittest

from gateway import CONFIGURATION, Gateway, configuration

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

    def test_what_apply_takes_is_no_damage(self):
        for mac in ("01:00:5e:00:00:01", "ff:ff:ff:ff:ff:ff"):
            self.store()
            self.assertEqual(self.l3ctl("mac-filter", "add", mac).status, 0)
            self.assertEqual(self.l3ctl("mac-filter", "delete", mac).status, 0)


if __name__ == "__main__":
    unittest.main()
