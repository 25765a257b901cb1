"""Commit-confirm with terminals, sessions and processes that end early, and its pending file."""
import json
import os
import pty
import signal
import subprocess
import time
import unittest
from pathlib import Path

from confirming import FLUSHES, GONE_DOWN, KILL_L3CTL, PENDING, PORTAL, TIMER, Confirming
from gateway import CHAINS, CONFIGURATION, L3CTL, REFUSED, configuration, empty_folder


class Interrupted(Confirming):
    """Terminals, sessions and processes that end before their time."""

    def start_at_a_terminal(self, seconds):
        """Applies at a terminal of its own and stays there; returns the shell and the terminal."""
        shell, terminal = pty.fork()
        if shell == 0:
            script = f'"{L3CTL}" {" ".join(self.way)} apply --confirm {seconds} /tmp/wanted.json; echo done; read line'
            os.execve("/bin/sh", ["sh", "-c", script], self.environment())
        said = b""
        while b"done" not in said:
            said += os.read(terminal, 4096)
        return shell, terminal, said.decode()

    def test_the_terminal_is_cut_off(self):
        shell, terminal, _ = self.start_at_a_terminal(1)
        os.close(terminal)
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(shell, 0)[1]), -signal.SIGHUP)
        self.commands()
        self.wait_for_the_timer()
        self.assert_old_settings_are_back()

    def test_the_whole_session_is_hung_up(self):
        shell, terminal, _ = self.start_at_a_terminal(1)
        os.killpg(shell, signal.SIGHUP)
        os.waitpid(shell, 0)
        os.close(terminal)
        self.commands()
        self.wait_for_the_timer()
        self.assert_old_settings_are_back()

    def test_the_timer_has_no_other_descriptor(self):
        with open("/tmp/held", "w", encoding="ascii") as held:
            subprocess.run([L3CTL, *self.way, "apply", "--confirm", "60", "/tmp/wanted.json"], check=True, stderr=subprocess.DEVNULL,
                           stdout=subprocess.DEVNULL, env=self.environment(), pass_fds=[held.fileno()])
        timer = self.timer()
        self.wait_until_it_sleeps(timer)
        self.assertEqual(sorted(os.listdir(f"/proc/{timer}/fd")), ["0", "1", "2"])

    def test_the_timer_is_a_program_of_its_own(self):
        """Nothing of the apply is in its memory, and its name is not that of another apply."""
        self.apply(PORTAL, "--confirm", "60")
        self.wait_until_it_sleeps(self.timer())
        words = Path(f"/proc/{self.timer()}/cmdline").read_bytes().split(b"\0")
        self.assertEqual(words[-3:-1], [b"confirm", b"--wait"])
        self.assertNotIn("--wait", self.l3ctl("confirm", "--help").out)

    def test_the_timer_has_nothing_of_the_caller(self):
        shell, terminal, _ = self.start_at_a_terminal(60)
        timer = self.timer()
        self.wait_until_it_sleeps(timer)
        links = {int(fd): os.readlink(f"/proc/{timer}/fd/{fd}") for fd in os.listdir(f"/proc/{timer}/fd")}
        self.assertEqual(links, {0: "/dev/null", 1: "/dev/null", 2: str(TIMER)})
        status = Path(f"/proc/{timer}/stat").read_text(encoding="ascii").rpartition(")")[2].split()
        self.assertEqual((int(status[3]), status[4]), (timer, "0"), "session and terminal")
        self.assertEqual(os.readlink(f"/proc/{timer}/cwd"), "/")
        os.close(terminal)
        os.waitpid(shell, 0)

    def test_at_a_terminal_progress_is_shown(self):
        shell, terminal, said = self.start_at_a_terminal(60)
        self.assertIn("l3ctl: 1/1 captive_portal\r\n", said)
        os.close(terminal)
        os.waitpid(shell, 0)

    def test_an_apply_that_is_killed_is_rolled_back(self):
        self.on_first_line("iptables -A forward_ext_captiveportal", KILL_L3CTL)
        outcome = self.apply(PORTAL, "--confirm", "1", *self.one_by_one())
        self.assertEqual(outcome.status, -signal.SIGKILL)
        self.assertNotEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
        self.wait_for_the_timer()
        self.assert_old_settings_are_back()

    def test_the_time_begins_when_the_apply_ends(self):
        self.on_first_line("iptables -A forward_ext_captiveportal", "sleep 1.5")
        self.assertEqual(self.apply(PORTAL, "--confirm", "1", *self.one_by_one()).status, 0)
        self.assertEqual(self.l3ctl("confirm").status, 0)
        self.assertNotEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))

    def test_a_shutdown_rolls_unconfirmed_settings_back(self):
        self.apply(PORTAL, "--confirm", "3600")
        self.commands()
        os.kill(self.timer(), signal.SIGTERM)
        self.wait_for_the_timer()
        self.assert_old_settings_are_back()

    def test_a_killed_timer_leaves_the_choice(self):
        for verb in ([], ["--revert"]):
            self.apply(PORTAL, "--confirm", "3600")
            self.kill_timer()
            self.assertRegex(self.l3ctl("status").out, "confirmation            change [0-9a-f]{16} pending, but the timer is gone: ")
            self.assertEqual(self.confirmation()["state"], "timer_gone")
            self.assertEqual(self.apply("{}").status, 5)
            self.assertEqual(self.l3ctl("confirm", *verb).status, 0)
            self.assertEqual(CONFIGURATION.read_bytes() == configuration(firewall=True), verb == ["--revert"])
            self.store(firewall=True)

    def test_a_refused_rule_keeps_the_choice_open(self):
        self.apply(PORTAL, "--confirm", "3600")
        self.refuse(*FLUSHES)
        outcome = self.l3ctl("confirm", "--revert")
        self.assertEqual((outcome.status, outcome.out), (1, ""))
        self.assertIn("the rollback is not complete", outcome.err)
        self.assertTrue(PENDING.exists())
        # The timer has taken over, with a growing time between its attempts.
        self.commands()
        time.sleep(1.5)
        self.assertLess(len([line for line in self.commands() if line in FLUSHES]), 8)
        REFUSED.unlink()
        self.wait_for_the_timer()
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
        self.assertFalse(PENDING.exists())

    def test_an_apply_that_fails_before_anything_is_stored_waits_for_nothing(self):
        read_only = "mount --bind /ztcfg /ztcfg && mount -o remount,bind,ro /ztcfg && exec \"$@\""
        done = subprocess.run(["unshare", "--mount", "sh", "-c", read_only, "sh", L3CTL, "apply", "--confirm", "60",
                               "/tmp/wanted.json"], capture_output=True, env=self.environment(), check=False)
        self.assertEqual((done.returncode, done.stdout), (1, b""), done.stderr)
        self.assertNotIn(b"l3ctl confirm", done.stderr)
        self.assertFalse(PENDING.exists())
        self.wait_for_the_timer()

    def test_a_damaged_pending_file_is_reported_with_a_remedy(self):
        self.apply(PORTAL, "--confirm", "3600")
        whole = json.loads(PENDING.read_text(encoding="ascii"))
        self.kill_timer()
        portal = {"old_settings": {}, "stored_bytes": {"captive_portal": (b"\1\0\0\0\1\0\0\0$(touch /tmp/x)" + bytes(776)).hex()[:1552]}}
        for text in ("", "{", "[]", '{"timer": 1}', "x" * 600000, json.dumps(whole | {"timer": "soon"}),
                     json.dumps(whole | {"old_settings": {"acl": 7}}), json.dumps(whole | {"stored_bytes": {"acl": "00"}}),
                     json.dumps(whole | {"jumps": whole["jumps"] | {"IPv4": [{"rule": "-A INPUT -j DROP", "after": ""}]}}),
                     json.dumps(whole | {"jumps": whole["jumps"] | {"IPv4": [
                         {"rule": "-A INPUT -j DROP\n-A INPUT -j forward_ext_ip", "after": ""}]}}),
                     json.dumps(whole | portal)):
            with self.subTest(text[:80]):
                PENDING.write_text(text, encoding="ascii")
                for command in (["confirm"], ["confirm", "--revert"], ["vpn", "off"]):
                    outcome = self.l3ctl(*command)
                    self.assertEqual((outcome.status, outcome.out), (1, ""), outcome.err)
                    self.assertTrue(outcome.err.startswith("l3ctl: /ztcfg/l3ctl.pending is damaged: "), outcome.err)
                    self.assertIn("to keep the settings that are stored now, remove the file", outcome.err)
                self.assertEqual(self.doctor_says()[0][0], "problem")
        PENDING.unlink()
        os.mkfifo(PENDING)
        self.assert_outcome(self.l3ctl("confirm"), 1, "", "l3ctl: /ztcfg/l3ctl.pending: is a named pipe, not a regular file\n")
        PENDING.unlink()
        self.assertEqual(self.l3ctl("vpn", "off").status, 0)

    def test_after_a_power_cut_start_up_brings_the_old_settings_back(self):
        self.apply(PORTAL, "--confirm", "3600")
        self.cut_the_power()
        self.assertRegex(self.l3ctl("status").out, "confirmation            change [0-9a-f]{16} overdue, and the timer is gone: ")
        standing = CHAINS.read_text(encoding="ascii")
        CHAINS.write_text(":INPUT\n:FORWARD\n:OUTPUT\n", encoding="ascii")
        refused = self.apply("{}")
        self.assertEqual((refused.status, refused.out), (1, ""))
        self.assertIn('"l3ctl init" restores the old settings', refused.err)
        CHAINS.write_text(standing, encoding="ascii")
        self.commands()
        self.assert_outcome(self.l3ctl("init"), 0, "init: the gateway is up\n", GONE_DOWN)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
        self.assertEqual([line for line in self.commands() if "203.0.113.2" in line], [])
        self.assertFalse(PENDING.exists())
        self.assertEqual(self.apply("{}").status, 0)

    def test_confirmed_settings_survive_a_power_cut(self):
        self.apply(PORTAL, "--confirm", "3600")
        stored = CONFIGURATION.read_bytes()
        self.l3ctl("confirm")
        self.wait_for_the_timer()
        empty_folder("/run")
        self.assert_outcome(self.l3ctl("init"), 0, "init: the gateway is up\n")
        self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def test_a_damaged_pending_file_does_not_prevent_a_start(self):
        PENDING.write_text("{", encoding="ascii")
        outcome = self.l3ctl("init")
        self.assertEqual((outcome.status, outcome.out), (0, "init: the gateway is up\n"))
        self.assertIn("/ztcfg/l3ctl.pending is damaged: ", outcome.err)
        PENDING.unlink()

    def one_by_one(self):
        return ["--one-by-one"] if "--one-by-one" in self.l3ctl("--help").out else []


class InterruptedTogether(Interrupted):
    way = ()


class PendingFile(Confirming):
    """The file of a pending confirmation."""
    way = ()

    def note(self):
        return json.loads(PENDING.read_text(encoding="ascii"))

    def test_old_settings_are_kept_as_json(self):
        self.assertEqual(self.apply('{"acl": {"enabled": true, "entries": [{"from": "lan", "service": "web", "sources": "any"}]}}').status, 0)
        acl = json.loads(self.l3ctl("export", "--section", "acl").out)["acl"]
        self.apply('{"acl": {"enabled": false}, "route_qos": {"enabled": true}}', "--confirm", "3600")
        self.assertEqual(self.note()["old_settings"]["acl"], acl)
        self.assertEqual(self.note()["old_settings"]["route_qos"]["enabled"], False)
        self.assertEqual(self.note()["stored_bytes"], {})
        self.assertEqual(PENDING.stat().st_mode & 0o7777, 0o600)

    def test_what_json_cannot_express_comes_back_byte_for_byte(self):
        stored = bytearray(configuration(firewall=True))
        # Unused entries of the portal and of the MAC filter that are not empty, and a protocol without a name.
        stored[31 + 5388 + 400:31 + 5388 + 404] = b"\xff\x80\x01\x7f"
        stored[31 + 4640 + 100] = 9
        CONFIGURATION.write_bytes(stored)
        self.assertEqual(self.l3ctl("--force", "apply", "--confirm", "3600", "-", stdin=json.dumps({
            **json.loads(PORTAL), "mac_filter": {"enabled": True, "devices": []}, "vpn_pass_through": True})).status, 0)
        self.assertEqual(sorted(self.note()["stored_bytes"]), ["captive_portal", "mac_filter"])
        self.assertEqual(self.note()["old_settings"], {"vpn_pass_through": False})
        self.assertEqual(self.l3ctl("confirm", "--revert").status, 0)
        self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def test_no_process_is_signalled_but_the_timer(self):
        """Whatever number the note holds, and while the timer's file is locked."""
        with subprocess.Popen(["sleep", "60"]) as other:
            self.addCleanup(other.kill)
            for process in (-1, 0, 1, os.getpid(), other.pid, -other.pid, 2**32 - 1, 2**31 + 5):
                for verb in ([], ["--revert"]):
                    with self.subTest(process=process, verb=verb):
                        self.assertEqual(self.apply(PORTAL, "--confirm", "3600").status, 0)
                        timer = self.timer()
                        self.wait_until_it_sleeps(timer)
                        PENDING.write_text(json.dumps(self.note() | {"timer": process}), encoding="ascii")
                        self.assertEqual(self.l3ctl("confirm", *verb).status, 0)
                        self.assertFalse(PENDING.exists())
                        self.assertIsNone(other.poll())
                        self.assertTrue(self.timer_lives())
                        os.kill(timer, signal.SIGKILL)
                        self.wait_for_the_timer()
                        self.store(firewall=True)
            other.kill()


if __name__ == "__main__":
    unittest.main()
