"""Rollbacks of unconfirmed settings that fail at first, or that no timer is left to make."""
import contextlib
import json
import os
import socket
import subprocess
import unittest
from pathlib import Path

from confirming import FLUSHES, KILL_L3CTL, PENDING, PORTAL, Confirming
from gateway import CONFIGURATION, REFUSED, configuration

ROLLED_BACK = "l3ctl: a change was not confirmed in time: the old settings are restored\n"


class Retry(Confirming):
    """A rollback that does not succeed at once is tried again until it does."""
    way = ()

    def assert_reported(self, reason):
        waits = self.confirmation()
        self.assertEqual((waits["seconds_left"], waits["timer"], waits["state"]), (0, True, "retrying"))
        self.assertIn(reason, waits["reason"])
        line = next(line for line in self.l3ctl("status").out.splitlines() if line.startswith("confirmation"))
        self.assertRegex(line, "^confirmation            change [0-9a-f]{16} overdue, the rollback is tried again: ")
        self.assertIn(reason, line)
        self.assertEqual([state for state, _ in self.doctor_says()], ["problem"])
        self.assertIn(reason, self.doctor_says()[0][1])

    def refused_until_reported(self, seconds="1"):
        self.assertEqual(self.apply(PORTAL, "--confirm", seconds).status, 0)
        self.refuse(*FLUSHES)
        self.wait_until(lambda: (self.confirmation() or {}).get("state") == "retrying", "retrying")

    def test_a_refused_rule(self):
        self.refused_until_reported()
        self.assert_reported("Too many links")
        # What can be restored is: the file is.
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
        self.commands()
        REFUSED.unlink()
        self.wait_for_the_timer()
        self.assertFalse(PENDING.exists())
        self.assertTrue(set(FLUSHES) & set(self.commands()), "the rules were not made again")
        self.assertIsNone(self.confirmation())
        self.assertEqual(self.doctor_says(), [])

    def test_one_section_that_fails_keeps_none_of_the_others(self):
        wanted = {**json.loads(PORTAL), "url_filter": {"enabled": True, "entries": [{"host": "a.example"}]}}
        self.assertEqual(self.apply(json.dumps(wanted), "--confirm", "1").status, 0)
        self.commands()
        self.refuse(*FLUSHES)
        self.wait_until(lambda: (self.confirmation() or {}).get("state") == "retrying", "retrying")
        self.assertTrue({"iptables -t filter -F forward_ext_url", "iptables -F forward_ext_url"} & set(self.commands()))
        REFUSED.unlink()
        self.wait_for_the_timer()
        self.assertFalse(PENDING.exists())

    def test_a_store_that_is_read_only(self):
        self.assertEqual(self.apply(PORTAL, "--confirm", "1").status, 0)
        stored = CONFIGURATION.read_bytes()
        self.commands()
        subprocess.run(["mount", "-o", "remount,ro", "/ztcfg"], check=True)
        self.addCleanup(subprocess.run, ["mount", "-o", "remount,rw", "/ztcfg"], check=True)
        self.wait_until(lambda: self.confirmation()["state"] == "retrying", "retrying")
        self.assert_reported("Read-only file system")
        self.assertEqual(CONFIGURATION.read_bytes(), stored)
        self.assertTrue(set(FLUSHES) & set(self.commands()), "the rules were not restored")
        subprocess.run(["mount", "-o", "remount,rw", "/ztcfg"], check=True)
        self.wait_for_the_timer()
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
        self.assertFalse(PENDING.exists())

    def test_a_rollback_that_is_killed(self):
        self.way = ("--one-by-one",)
        self.assertEqual(self.apply(PORTAL, "--confirm", "1").status, 0)
        self.on_first_line("iptables", KILL_L3CTL)
        self.wait_for_the_timer()
        self.assertTrue(Path("/tmp/tools/done").exists(), "nothing was killed")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
        self.assertFalse(PENDING.exists())

    def test_the_log_gets_each_reason_once(self):
        with contextlib.suppress(FileNotFoundError):
            os.unlink("/dev/log")
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as log:
            log.bind("/dev/log")
            log.settimeout(30)
            self.refused_until_reported()
            self.assertIn(b"retrying to roll back: ", log.recv(4096))
            # A second attempt, and a third one.
            for _ in range(2):
                self.commands()
                self.wait_until(lambda: set(FLUSHES) & set(self.commands()), "another attempt")
            REFUSED.unlink()
            self.assertIn(b"a change was rolled back: ", log.recv(4096))
            self.assertIn(b"settings were not confirmed; the old ones are restored", log.recv(4096))
            self.wait_for_the_timer()
            log.setblocking(False)
            self.assertRaises(BlockingIOError, log.recv, 4096)
        os.unlink("/dev/log")


class Overdue(Confirming):
    """The timer was killed, and its deadline has passed."""
    way = ()

    def make_overdue(self):
        self.store(firewall=True)
        self.assertEqual(self.apply(PORTAL, "--confirm", "1").status, 0)
        self.kill_timer()
        self.wait_until(lambda: self.confirmation()["seconds_left"] == 0, "overdue")
        self.assertNotEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
        self.commands()

    def test_it_is_reported(self):
        self.make_overdue()
        confirmation = self.confirmation()
        self.assertRegex(confirmation.pop("id"), "^[0-9a-f]{16}$")
        self.assertEqual(confirmation, {"seconds_left": 0, "timer": False, "state": "timer_gone", "reason": None})
        self.assertIn(" overdue, and the timer is gone: the next change rolls back first\n",
                      self.l3ctl("status").out)
        self.assertEqual([state for state, _ in self.doctor_says()], ["problem"])
        self.assertEqual(self.l3ctl("confirm", "--revert").status, 0)

    def test_the_next_change_rolls_back_first(self):
        for command, status in ((["vpn", "off"], 0), (["apply", "-"], 0), (["ipsec", "off"], 0), (["reset", "--yes"], 0),
                                (["confirm"], 1)):
            with self.subTest(command):
                self.make_overdue()
                outcome = self.l3ctl(*command, stdin="{}")
                self.assertEqual(outcome.status, status, outcome.err)
                self.assertIn(ROLLED_BACK, outcome.err)
                self.assertTrue(set(FLUSHES) & set(self.commands()), "the rules were not restored")
                self.assertFalse(PENDING.exists())
                if command[0] not in ("ipsec", "reset"):
                    self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))

    def test_start_up_rolls_back_first(self):
        self.make_overdue()
        outcome = self.l3ctl("init")
        self.assertEqual((outcome.status, outcome.out), (0, "init: the gateway is up\n"))
        self.assertIn(ROLLED_BACK, outcome.err)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
        self.assertFalse(PENDING.exists())

    def test_what_cannot_be_rolled_back_stops_the_change(self):
        self.make_overdue()
        self.refuse(*FLUSHES)
        outcome = self.l3ctl("ipsec", "off")
        self.assertEqual((outcome.status, outcome.out), (1, ""))
        self.assertIn("l3ctl: a change was not confirmed in time, and rolling it back failed: ", outcome.err)
        self.assertIn("Too many links; nothing else was changed\n", outcome.err)
        self.assertTrue(PENDING.exists())
        REFUSED.unlink()
        self.assertEqual(self.l3ctl("ipsec", "off").status, 0)

    def test_read_only_commands_roll_nothing_back(self):
        self.make_overdue()
        stored = CONFIGURATION.read_bytes()
        for command in (["status"], ["show"], ["export"], ["doctor"], ["check"], ["level"]):
            self.l3ctl(*command)
        self.assertEqual(CONFIGURATION.read_bytes(), stored)
        self.assertTrue(PENDING.exists())
        self.assertEqual(self.l3ctl("confirm", "--revert").status, 0)


if __name__ == "__main__":
    unittest.main()
