"""l3ctl apply --confirm and l3ctl confirm: an apply that is not confirmed is rolled back."""
import json
import os
import sys
import time
import unittest
from pathlib import Path

from confirming import FLUSHES, GONE_DOWN, PENDING, PORTAL, Confirming
from gateway import CONFIGURATION, configuration

ROOT = Path(__file__).resolve().parents[2]
sys.path += [str(ROOT / "lab"), str(ROOT / "tests/lab")]

from random_settings import Random, settings  # noqa: E402  (found through the line above)

ROUNDS = 60 if os.environ.get("L3_TEST_FULL") else 8
SEED = int(os.environ.get("L3_TEST_SEED", "12"))

WAITING = 'l3ctl: "l3ctl confirm" within %s s keeps these settings; otherwise the old ones come back\n'
NOTHING_PENDING = "l3ctl: no confirmation is pending; nothing was changed\n"
IS_PENDING = "l3ctl: the confirmation of an earlier change is pending: "


class Confirm(Confirming):
    def test_an_apply_that_is_refused_leaves_nothing_to_confirm(self):
        self.refuse(*FLUSHES)
        self.stand(["-A forward_ext_captiveportal -j OLD"])
        for way in ((), ("--one-by-one",)):
            self.way = way
            outcome = self.l3ctl("apply", "--confirm", "60", "/tmp/wanted.json")
            self.assertEqual((outcome.status, outcome.out), (3, ""))
            self.assertNotIn("l3ctl confirm", outcome.err)
            self.wait_for_the_timer()
            self.assertFalse(PENDING.exists())
            self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))

    def test_confirmed_settings_stay(self):
        self.assert_outcome(self.apply(PORTAL, "--confirm", "60"), 0,
                            "applied: captive_portal; unchanged: nothing\n", WAITING % 60)
        stored = CONFIGURATION.read_bytes()
        self.assertTrue(self.timer_lives())
        self.assert_outcome(self.l3ctl("confirm"), 0, "confirm: the new settings stay\n")
        self.wait_for_the_timer()
        self.assertEqual(CONFIGURATION.read_bytes(), stored)
        self.assertNotEqual(stored, configuration(firewall=True))
        self.assert_outcome(self.l3ctl("confirm"), 1, "", NOTHING_PENDING)

    def test_unconfirmed_settings_go(self):
        before = time.monotonic()
        self.assertEqual(self.apply(PORTAL, "--confirm", "1").status, 0)
        self.commands()
        self.wait_for_the_timer()
        self.assertGreaterEqual(time.monotonic() - before, 1)
        self.assert_old_settings_are_back()
        outcome = self.l3ctl("confirm")
        self.assertEqual((outcome.status, outcome.out, outcome.err.endswith(NOTHING_PENDING)), (1, "", True))

    def test_revert(self):
        self.apply(PORTAL, "--confirm", "3600")
        self.commands()
        self.assert_outcome(self.l3ctl("confirm", "--revert"), 0, "confirm: the old settings are back\n")
        self.wait_for_the_timer()
        self.assert_old_settings_are_back()

    def test_nothing_is_pending(self):
        self.assert_outcome(self.l3ctl("confirm"), 1, "", NOTHING_PENDING)
        self.assert_outcome(self.l3ctl("confirm", "--revert"), 1, "", NOTHING_PENDING)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))

    def test_no_confirmation_is_pending_where_nothing_changes(self):
        self.assert_outcome(self.apply('{"firewall": {"enabled": true}}', "--confirm", "60"), 0,
                            "applied: nothing; unchanged: firewall\n")
        self.assertFalse(PENDING.exists())

    def test_a_second_apply_is_refused(self):
        self.apply(PORTAL, "--confirm", "60")
        stored = CONFIGURATION.read_bytes()
        for options in ([], ["--confirm", "60"]):
            self.assert_outcome(
                self.apply('{"firewall": {"enabled": false}}', *options), 5, "",
                IS_PENDING + '"l3ctl confirm" keeps its settings, "l3ctl confirm --revert" restores the old ones; '
                'nothing was changed\n')
        self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def test_another_wait_after_the_first(self):
        self.apply(PORTAL, "--confirm", "60")
        self.l3ctl("confirm")
        self.assertEqual(self.apply('{"firewall": {"enabled": false}}', "--confirm", "60").status, 0)
        self.assertTrue(self.timer_lives())
        self.assertEqual(self.l3ctl("confirm", "--revert").status, 0)
        self.assertEqual(CONFIGURATION.read_bytes()[19:31], b"fire_wall=1\n")

    def test_other_changes_wait_for_the_confirmation(self):
        self.apply(PORTAL, "--confirm", "60")
        stored = CONFIGURATION.read_bytes()
        self.commands()
        for change in (["ipsec", "off"], ["reset", "--yes"], ["mac-filter", "add", "02:00:00:00:00:01"],
                       ["--force", "firewall", "off"], ["access", "telnet", "block"], ["qos", "on"]):
            outcome = self.l3ctl(*change, "--lock-timeout", "0")
            self.assertEqual((outcome.status, outcome.out), (5, ""), change)
            self.assertTrue(outcome.err.startswith(IS_PENDING), outcome.err)
        self.assertEqual((CONFIGURATION.read_bytes(), self.commands()), (stored, []))
        self.assertEqual(self.l3ctl("init").status, 0)
        self.assertEqual(self.l3ctl("confirm", "--revert").status, 0)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
        self.assertEqual(self.l3ctl("ipsec", "off").status, 0)

    def test_read_only_commands_do_not_wait_for_the_confirmation(self):
        self.apply(PORTAL, "--confirm", "60")
        stored = CONFIGURATION.read_bytes(), CONFIGURATION.stat().st_mtime_ns
        self.assert_outcome(self.l3ctl("level"), 0, "security level low\n")
        self.assert_outcome(self.l3ctl("level", "--json"), 0, '{\n  "security_level": "low"\n}\n')
        self.assertEqual((CONFIGURATION.read_bytes(), CONFIGURATION.stat().st_mtime_ns), stored)

    def test_a_plan_is_refused_where_apply_would_be(self):
        self.apply(PORTAL, "--confirm", "60")
        outcome = self.l3ctl("plan", "-", stdin='{"firewall": {"enabled": false}}')
        self.assertEqual((outcome.status, outcome.out), (5, ""))
        self.assertTrue(outcome.err.startswith(IS_PENDING), outcome.err)

    def test_wrong_times(self):
        for seconds in ("0", "-1", "86401", "soon"):
            self.assertEqual(self.apply(PORTAL, "--confirm", seconds).status, 2, seconds)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))

    def test_as_json(self):
        outcome = self.apply(PORTAL, "--confirm", "60", "--json")
        self.assertEqual(json.loads(outcome.out)["confirm_within"], 60)
        self.assertEqual(json.loads(self.l3ctl("confirm", "--json").out),
                         {"done": "confirm: the new settings stay", "id": json.loads(outcome.out)["id"], "failed": [],
                          "failed_rules": [], "messages": []})

    def test_status_shows_a_pending_confirmation(self):
        self.assertIsNone(json.loads(self.l3ctl("status", "--json").out)["confirmation"])
        self.assertNotIn("confirmation", self.l3ctl("status").out)
        self.apply(PORTAL, "--confirm", "3600")
        waits = json.loads(self.l3ctl("status", "--json").out)["confirmation"]
        self.assertTrue(3500 < waits.pop("seconds_left") <= 3600, waits)
        self.assertRegex(waits.pop("id"), "^[0-9a-f]{16}$")
        self.assertEqual(waits, {"timer": True, "state": "waiting", "reason": None})
        self.assertRegex(self.l3ctl("status").out,
                         r'\nconfirmation            change [0-9a-f]{16} pending: rollback in 3[56]\d\d s unless "l3ctl confirm" keeps the settings\n')
        self.assertEqual(self.doctor_says(), [("warning", "is pending; without it the old settings are restored")])

    def test_random_settings_come_back_byte_for_byte(self):
        rng = Random(SEED)
        changed = 0
        for number in range(ROUNDS):
            with self.subTest(round=number, seed=SEED):
                text = settings(rng)
                self.assertEqual(self.apply(json.dumps(text)).status, 0)
                before = CONFIGURATION.read_bytes()
                self.assertEqual(self.apply(json.dumps(settings(rng)), "--confirm", "600").status, 0)
                changed += CONFIGURATION.read_bytes() != before
                if number % 2:
                    self.assertEqual(self.l3ctl("confirm", "--revert").status, 0)
                else:
                    self.cut_the_power()
                    start = self.l3ctl("init")
                    self.assertEqual((start.status, start.out), (0, "init: the gateway is up\n"))
                    self.assertIn(GONE_DOWN, start.err)
                self.assertEqual(CONFIGURATION.read_bytes(), before)
        self.assertGreater(changed, ROUNDS // 2)


class ConfirmTogether(Confirm):
    """The rules of a change made as one, which is the default."""
    way = ()


if __name__ == "__main__":
    unittest.main()
