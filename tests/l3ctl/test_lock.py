"""Several l3ctl at once: changes wait for each other, and who compares waits for changes."""
import fcntl
import os
import subprocess
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, Gateway
from live import Rules
from test_plan import without

LOCK = "/run/l3ctl.lock"
WAITING = b"l3ctl: waiting for another l3ctl\n"
BUSY = "l3ctl: cannot lock /run/l3ctl.lock: another l3ctl is changing settings; --lock-timeout waits longer\n"


def at_work():
    """Another l3ctl, until the descriptor that is returned is closed."""
    lock = os.open(LOCK, os.O_CREAT | os.O_RDWR, 0o600)
    fcntl.flock(lock, fcntl.LOCK_EX)
    return lock


class Changing(Gateway):
    def started(self, *words):
        """An l3ctl that waits for another."""
        process = subprocess.Popen([L3CTL, *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   env=self.environment())
        self.addCleanup(process.kill)
        self.assertEqual(process.stderr.readline(), WAITING)
        return process

    def test_of_two_starts_at_once_the_second_is_refused(self):
        lock = at_work()
        second = self.started("init")
        Path("/tmp/rules.iptables.filter").write_text("-A FORWARD -j forward_ext_ip\n", encoding="ascii")
        os.close(lock)
        out, err = second.communicate(timeout=60)
        self.assertEqual((second.returncode, out), (1, b""))
        self.assertTrue(err.startswith(b"l3ctl: init: the gateway has started; "), err)
        self.assertFalse(CONFIGURATION.exists())


class Comparing(Rules):
    def test_it_waits_for_a_change_that_is_at_work(self):
        self.settings()
        lock = at_work()
        for words in (["check"], ["rules"], ["rules", "--svg", "-"], ["rules", "--watch"]):
            self.assert_outcome(self.l3ctl(*words, "--lock-timeout", "0"), 5, "", BUSY)
        # Doctor reports it among its findings.
        outcome = self.l3ctl("doctor", "--lock-timeout", "0")
        self.assertEqual(outcome.status, 3)
        self.assertIn(BUSY.removeprefix("l3ctl: ").strip(), outcome.out)
        process = subprocess.Popen([L3CTL, "check"], stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=self.environment())
        self.addCleanup(process.kill)
        self.assertEqual(process.stderr.readline(), WAITING)
        os.close(lock)
        self.assertEqual((process.communicate(timeout=60), process.returncode), ((b"", b""), 0))

    def test_readers_do_not_wait_for_each_other(self):
        self.settings()
        lock = os.open(LOCK, os.O_CREAT | os.O_RDWR, 0o600)
        fcntl.flock(lock, fcntl.LOCK_SH)
        self.assert_outcome(self.l3ctl("check", "--lock-timeout", "0"), 0)
        os.close(lock)

    def test_who_may_not_open_the_lock_reads_all_the_same(self):
        self.settings()
        CONFIGURATION.chmod(0o666)
        lock = at_work()
        os.chmod(LOCK, 0)
        done = subprocess.run([*without("dac_override", "dac_read_search"), L3CTL, "check", "--lock-timeout", "0"],
                              capture_output=True, env=self.environment(), check=False)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))
        os.close(lock)

    def test_reading_makes_no_lock(self):
        self.settings()
        Path(LOCK).unlink()
        self.assert_outcome(self.l3ctl("check"), 0)
        self.assertFalse(Path(LOCK).exists())


if __name__ == "__main__":
    unittest.main()
