"""How l3ctl ends when its answer cannot be written, and when it has to wait for another."""
import fcntl
import json
import os
import signal
import subprocess
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, Gateway, configuration

MADE = "l3ctl: the change was made, but its answer could not be written to standard output\n"
UNREAD = "l3ctl: cannot write to standard output\n"
CHANGES = (["vpn", "on"], ["apply", "-"], ["mac-filter", "add", "02:00:00:00:00:01"], ["level", "low"], ["reset", "--yes"],
           ["wan", "update", "wan3"], ["record", "write", "ct-timeout", "30"], ["init", "--again"], ["restore", "-"])
READERS = (["show"], ["export"], ["status"], ["inspect"], ["backup", "-"], ["--version"], ["--help"], ["level"],
           ["diff", "-"], ["plan", "-"], ["qos", "show"], ["record", "read", "ct-timeout"])


def to_full(words, environment, **options):
    with open("/dev/full", "wb") as full:
        return subprocess.run([L3CTL, *words], stdout=full, stderr=subprocess.PIPE, env=environment, timeout=60,
                              check=False, **options)


def to_nothing(words, environment, **options):
    return subprocess.run(["/bin/sh", "-c", 'exec "$0" "$@" >&-', L3CTL, *words], stderr=subprocess.PIPE, env=environment,
                          timeout=60, check=False, **options)


def to_nobody(words, environment, **options):
    """Into a pipe that is not read any more."""
    reader, writer = os.pipe()
    os.close(reader)
    try:
        return subprocess.run([L3CTL, *words], stdout=writer, stderr=subprocess.PIPE, env=environment, timeout=60,
                              check=False, **options)
    finally:
        os.close(writer)


class Answer(Gateway):
    way = ()

    def words_and_input(self, words):
        stdin = {"apply": b'{"ipsec_pass_through": false}', "restore": configuration(vpn=True)}.get(words[0], b"{}")
        return words, stdin

    def setUp(self):
        super().setUp()
        self.store()

    def test_a_change_whose_answer_is_lost(self):
        for sink in (to_full, to_nothing, to_nobody):
            for form in ((), ("--json",)):
                for words in CHANGES:
                    with self.subTest(sink=sink.__name__, words=[*form, *words]):
                        self.store()
                        Path("/ztcfg/l3ctl.pending").unlink(missing_ok=True)
                        words, stdin = self.words_and_input(words)
                        done = sink([*form, *words], self.environment(), input=stdin)
                        err = done.stderr.decode()
                        self.assertEqual(done.returncode, 4, err)
                        self.assertTrue(err.endswith(MADE), err)
        self.store()
        self.assertEqual(to_full(["vpn", "on"], self.environment()).returncode, 4)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(vpn=True))

    def test_a_reader_whose_answer_is_lost(self):
        for words in READERS:
            for sink in (to_full, to_nothing):
                with self.subTest(sink=sink.__name__, words=words):
                    done = sink(words, self.environment(), input=b'{"vpn_pass_through": true}')
                    err = done.stderr.decode()
                    self.assertEqual(done.returncode, 1, err)
                    self.assertTrue(err.endswith(UNREAD), err)
                    self.assertNotIn("the change was made", err)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_a_read_only_command_without_a_reader_ends_by_sigpipe(self):
        self.assertEqual(to_nobody(["show"], self.environment()).returncode, -signal.SIGPIPE)

    def test_a_backup_whose_answer_is_lost(self):
        done = to_full(["backup", "/tmp/copy"], self.environment())
        self.assertEqual((done.returncode, done.stderr.decode()), (4, MADE))
        self.assertEqual(Path("/tmp/copy").read_bytes(), configuration())
        os.unlink("/tmp/copy")

    def test_a_failed_change_is_reported_whatever_becomes_of_its_output(self):
        self.store(firewall=True)
        self.refuse("iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --hex-string nothing")
        self.stand(["-A forward_ext_url -j OLD"])
        self.hook("iptables-restore", "exit 2")
        self.hook("iptables", "exit 2")
        for sink in (to_full, to_nothing, to_nobody):
            for form in ((), ("--json",)):
                done = sink([*form, "url-filter", "on"], self.environment())
                err = done.stderr.decode()
                self.assertNotIn("the change was made", err)
                self.assertIn(done.returncode, (1, 3), err)
                self.assertIn("everything is as it was before", err)

    def test_both_streams_lost(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([L3CTL, "vpn", "on"], stdout=full, stderr=full, env=self.environment(), check=False)
        self.assertEqual(done.returncode, 4)
        reader, writer = os.pipe()
        os.close(reader)
        self.store()
        done = subprocess.run([L3CTL, "vpn", "on"], stdout=writer, stderr=writer, env=self.environment(), check=False)
        os.close(writer)
        self.assertEqual(done.returncode, 4)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(vpn=True))

    def test_an_apply_that_waits_names_the_confirmation(self):
        done = to_full(["apply", "-", "--confirm", "600"], self.environment(), input=b'{"vpn_pass_through": true}')
        err = done.stderr.decode()
        self.assertEqual(done.returncode, 4, err)
        self.assertIn("confirm", err)
        self.assertTrue(err.endswith(MADE), err)
        done = to_full(["confirm"], self.environment())
        self.assertEqual((done.returncode, done.stderr.decode()[-len(MADE):]), (4, MADE))
        self.assertFalse(Path("/ztcfg/l3ctl.pending").exists())


class Busy(Gateway):
    way = ()

    def setUp(self):
        super().setUp()
        self.store()

    def test_the_lock_is_held_by_another(self):
        lock = os.open("/run/l3ctl.lock", os.O_CREAT | os.O_RDWR, 0o600)
        fcntl.flock(lock, fcntl.LOCK_EX)
        for words in (["vpn", "on"], ["apply", "-"], ["plan", "-"], ["check"], ["backup", "-"], ["init"], ["confirm"]):
            for form in ((), ("--json",)):
                if words[0] == "backup" and form:
                    continue
                outcome = self.l3ctl("--lock-timeout", "0", *form, *words, stdin=b"{}")
                self.assertEqual(outcome.status, 5, (words, outcome.err))
                self.assertIn("another l3ctl is changing settings", outcome.err)
                if form:
                    self.assertIn("another l3ctl is changing settings", json.loads(outcome.out)["error"])
        os.close(lock)
        self.assertEqual(self.l3ctl("vpn", "on").status, 0)

    def test_an_apply_waits_for_its_confirmation(self):
        self.assertEqual(self.apply('{"vpn_pass_through": true}', "--confirm", "600").status, 0)
        for words in (["vpn", "off"], ["apply", "-"], ["plan", "-"], ["reset", "--yes"], ["restore", "-"]):
            outcome = self.l3ctl(*words, stdin=configuration() if words[0] == "restore" else b"{}")
            self.assertEqual(outcome.status, 5, (words, outcome.err))
            self.assertIn("the confirmation of an earlier change is pending", outcome.err)
        self.assertEqual(self.l3ctl("confirm").status, 0)
        self.assertEqual(self.l3ctl("vpn", "off").status, 0)

    def test_a_lock_that_cannot_be_opened_is_another_matter(self):
        os.mkdir("/run/l3ctl.lock")
        self.assertEqual(self.l3ctl("vpn", "on").status, 1)

    def test_help_lists_the_statuses(self):
        for words in (["apply"], ["firewall"], ["init"]):
            out = self.l3ctl(*words, "--help").out
            self.assertIn("  4  the change was made, but its answer could not be written\n", out, words)
            self.assertIn("  5  busy: ", out, words)
        for words in (["plan"], ["check"]):
            out = self.l3ctl(*words, "--help").out
            self.assertNotIn("  4  ", out, words)
            self.assertIn("  5  busy: ", out, words)
        for words in (["show"], ["version"], ["inspect"]):
            out = self.l3ctl(*words, "--help").out
            self.assertNotIn("  4  ", out, words)
            self.assertNotIn("  5  ", out, words)


if __name__ == "__main__":
    unittest.main()
