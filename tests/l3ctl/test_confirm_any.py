"""--confirm and --dry-run of every change, change ids, and what is said of a rollback afterwards."""
import json
import unittest
from pathlib import Path

from confirming import KILL_L3CTL, PENDING, PORTAL, Confirming
from gateway import CONFIGURATION, configuration

CHANGES = (["url-filter", "add", "a.example.com"], ["ipsec", "off"], ["firewall", "off"], ["level", "high"], ["qos", "on"],
           ["vpn", "on"], ["mac-filter", "on"], ["portal", "off"], ["reset", "--yes"], ["restore", "/tmp/backup.dat"],
           ["restore", "--file-only", "/tmp/backup.dat"], ["captive-portal", "add", "203.0.113.7"])
# They store no setting.
OTHERS = (["wan", "clear"], ["access", "telnet", "block"], ["page-jump", "add", "192.168.1.0/24", "192.168.1.1"],
          ["restore-rules"])
UNSTORED = (["wan", "update", "wan4"], ["access", "telnet", "block"], ["access", "web", "block", "--port", "8080"])
OTHER_ID = "0123456789abcdef"


class AnyChange(Confirming):
    def setUp(self):
        super().setUp()
        Path("/tmp/backup.dat").write_bytes(configuration(vpn=True))

    def pending(self, *change):
        outcome = self.l3ctl(*change, "--confirm", "60", "--json")
        self.assertEqual(outcome.status, 0, (change, outcome.err))
        return json.loads(outcome.out)

    def test_every_change_can_wait_for_its_confirmation(self):
        for change in CHANGES:
            with self.subTest(change):
                self.store(firewall=True)
                old = self.l3ctl("export").out
                result = self.pending(*change)
                self.assertEqual(result["confirm_within"], 60)
                self.assertNotEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
                self.assertEqual(self.confirmation()["id"], result["id"])
                self.assertEqual(self.l3ctl("confirm", "--revert", result["id"]).status, 0)
                if "level" not in change:
                    # The library also stores the level as a word of its own, which nothing reads.
                    self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
                self.assertEqual(self.l3ctl("export").out, old)
                self.assertFalse(PENDING.exists())
                self.wait_for_the_timer()

    def test_a_change_without_effect_waits_for_nothing(self):
        result = self.pending("ipsec", "on")
        self.assertEqual((result["id"], "confirm_within" in result), (None, False))
        self.assertFalse(PENDING.exists())
        self.wait_for_the_timer()

    def test_words_that_are_wrong_leave_nothing_to_confirm(self):
        outcome = self.l3ctl("url-filter", "add", "not a host", "--confirm", "60")
        self.assertEqual(outcome.status, 2)
        self.assertFalse(PENDING.exists())
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))

    @staticmethod
    def live_rules():
        return {path.name: path.read_text() for path in Path("/tmp").glob("rules.ip*tables.*") if path.read_text()}

    def test_rules_that_nothing_stores_come_back_too(self):
        for self.way in (), ("--one-by-one",):
            for change in UNSTORED:
                with self.subTest(change=change, way=self.way):
                    before = self.live_rules()
                    result = self.pending(*change)
                    self.assertNotEqual(self.live_rules(), before)
                    self.assertEqual(result["id"], self.confirmation()["id"])
                    self.assertEqual(self.l3ctl("confirm", "--revert").status, 0)
                    self.assertEqual(self.live_rules(), before)
                    self.wait_for_the_timer()

    def test_rules_of_a_change_that_was_killed_come_back(self):
        for change in UNSTORED:
            with self.subTest(change):
                before = self.live_rules()
                self.hook("iptables", f'case "$*" in *-[AI]*) {KILL_L3CTL} ;; esac')
                self.assertEqual(self.l3ctl(*change, "--confirm", "1").status, -9)
                self.hook("iptables")
                self.wait_until(lambda: not PENDING.exists(), "the rollback")
                self.wait_for_the_timer()
                self.assertEqual(self.live_rules(), before)

    def test_a_table_that_cannot_be_read_stops_the_change(self):
        for name in ("iptables-save", "ip6tables-save"):
            self.hook(name, "exit 1")
            outcome = self.l3ctl("wan", "update", "wan4", "--confirm", "60")
            self.assertEqual((outcome.status, outcome.out), (1, ""))
            self.assertTrue(outcome.err.endswith("nothing was changed\n"), outcome.err)
            self.assertFalse(PENDING.exists())
            self.assertEqual([line for line in self.commands() if "-save" not in line], [])
            self.hook(name)

    def test_what_waits_for_nothing_does_not_take_it(self):
        for change in (["clock"], ["init"], ["record", "write", "ct-timeout", "300"]):
            outcome = self.l3ctl(*change, "--confirm", "60")
            self.assertEqual((outcome.status, outcome.out), (2, ""), change)
            self.assertIn('"--confirm" is no option of', outcome.err)

    def test_a_dry_run_shows_and_changes_nothing(self):
        for change in (*CHANGES, *OTHERS):
            with self.subTest(change):
                self.store(firewall=True)
                self.commands()
                files = sorted(Path("/ztcfg").iterdir())
                outcome = self.l3ctl(*change, "--dry-run")
                self.assertEqual(outcome.status, 2, outcome.err)
                self.assertNotEqual(outcome.out, "")
                self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
                self.assertEqual([line for line in self.commands() if "-save" not in line], [])
                self.assertEqual(sorted(Path("/ztcfg").iterdir()), files)

    def test_the_statuses_of_a_dry_run(self):
        self.assertEqual(self.l3ctl("ipsec", "on", "--dry-run").status, 0)
        self.assertEqual(self.l3ctl("ipsec", "on", "--dry-run").out, "nothing to do\n")
        self.assertEqual(self.l3ctl("url-filter", "add", "not a host", "--dry-run").status, 1)
        self.assertEqual(self.l3ctl("url-filter", "--dry-run", "nothing").status, 1)

    def test_another_id_is_refused(self):
        identity = self.pending("ipsec", "off")["id"]
        stored = CONFIGURATION.read_bytes()
        refusal = f"l3ctl: change {identity} is pending, and not {OTHER_ID}; nothing was changed\n"
        for options in ([], ["--revert"], ["--extend", "60"]):
            self.assert_outcome(self.l3ctl("confirm", OTHER_ID, *options), 2, "", refusal)
        self.assertEqual(self.l3ctl("confirm", "last").status, 2)
        self.assertEqual(self.confirmation()["id"], identity)
        done = json.loads(self.l3ctl("confirm", identity, "--json").out)
        self.assertEqual((done["id"], done["messages"]), (identity, []))
        self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def test_the_time_is_extended(self):
        identity = self.pending("ipsec", "off")["id"]
        self.assertLessEqual(self.confirmation()["seconds_left"], 60)
        self.assert_outcome(self.l3ctl("confirm", "--extend", "600", identity), 0, "confirm: 600 s from now on\n")
        left = self.confirmation()["seconds_left"]
        self.assertTrue(500 < left <= 600, left)
        self.assertTrue(self.timer_lives())
        self.assertEqual(self.l3ctl("confirm", "--extend", "1").status, 0)
        self.wait_for_the_timer()
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))

    def test_a_rollback_is_reported_afterwards(self):
        for end, why in ((["--extend", "1"], "not confirmed within 1 s"), (["--revert"], "reverted by confirm --revert")):
            identity = self.pending("ipsec", "off")["id"]
            self.assertEqual(self.l3ctl("confirm", *end).status, 0)
            self.wait_for_the_timer()
            rolled_back = json.loads(self.l3ctl("status", "--json").out)["rolled_back"]
            self.assertEqual((rolled_back["id"], rolled_back["why"]), (identity, why))
            self.assertIn(f"\nrolled_back             change {identity} at {rolled_back['time']}: {why}\n", self.l3ctl("status").out)
            last = json.loads(self.l3ctl("history", "1", "--json").out)["changes"][0]
            self.assertEqual((last["id"], last["rolled_back"]), (identity, {"time": rolled_back["time"], "why": why}))
            outcome = self.l3ctl("confirm")
            self.assertEqual(outcome.err, f"l3ctl: note: change {identity} was rolled back at {rolled_back['time']}: {why}\n"
                             "l3ctl: no confirmation is pending; nothing was changed\n")
        self.assertEqual(self.l3ctl("ipsec", "off").status, 0)
        self.assertIsNone(json.loads(self.l3ctl("status", "--json").out)["rolled_back"])

    def test_undo_passes_over_what_was_rolled_back(self):
        self.l3ctl("url-filter", "add", "a.example.com")
        self.pending("ipsec", "off")
        self.l3ctl("confirm", "--revert")
        outcome = self.l3ctl("undo", "1")
        self.assertEqual(outcome.status, 2)
        self.assertIn("undo: change 1 was rolled back at ", outcome.err)
        self.assertEqual(self.l3ctl("undo").status, 0)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))

    def test_a_pending_change_is_in_the_history(self):
        identity = self.pending("ipsec", "off")["id"]
        self.assertEqual(json.loads(self.l3ctl("history", "--json").out)["changes"][0]["id"], identity)
        self.assertEqual(self.l3ctl("undo").status, 5)

    def test_an_apply_has_an_id_too(self):
        result = json.loads(self.apply(PORTAL, "--json").out)
        self.assertRegex(result["id"], "^[0-9a-f]{16}$")
        again = json.loads(self.apply(PORTAL, "--json").out)
        self.assertIsNone(again["id"])


if __name__ == "__main__":
    unittest.main()
