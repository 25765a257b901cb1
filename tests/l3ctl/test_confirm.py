"""l3ctl apply --confirm and l3ctl confirm: nobody locks himself out, whatever becomes of his terminal."""
import contextlib
import fcntl
import json
import os
import pty
import signal
import socket
import subprocess
import sys
import time
import unittest
from pathlib import Path

from gateway import CHAINS, CONFIGURATION, L3CTL, REFUSED, TOOLS, Gateway, configuration, empty_folder

ROOT = Path(__file__).resolve().parents[2]
sys.path += [str(ROOT / "lab"), str(ROOT / "tests/lab")]

from random_settings import Dice, settings  # noqa: E402  (found through the line above)

PENDING = Path("/ztcfg/l3ctl.pending")
TIMER = Path("/run/l3ctl.timer")
FLUSHES = ("iptables -t filter -F forward_ext_captiveportal", "iptables -F forward_ext_captiveportal")
ROUNDS = 60 if os.environ.get("L3_TEST_FULL") else 8
SEED = int(os.environ.get("L3_TEST_SEED", "12"))

PORTAL = '{"captive_portal": {"enabled": true, "destinations": ["203.0.113.2"]}}'
WAITING = 'l3ctl: "l3ctl confirm" within %s s keeps these settings; otherwise the old ones come back\n'
GONE_DOWN = "l3ctl: the machine went down before an apply was confirmed: the old settings are back\n"
NOTHING_PENDING = "l3ctl: no confirmation is pending; nothing was changed\n"
ROLLED_BACK = "l3ctl: an apply was not confirmed in time: the old settings are restored\n"
IS_PENDING = "l3ctl: the confirmation of an earlier apply is pending: "


# In a tool: whoever started the shell that started it.
KILL_L3CTL = 'kill -KILL "$(cut -d " " -f 4 "/proc/$PPID/stat")"'


class Confirming(Gateway):
    def setUp(self):
        super().setUp()
        self.store(firewall=True)
        Path("/tmp/wanted.json").write_text(PORTAL, encoding="ascii")
        self.addCleanup(self.leave_no_timer)
        signal.alarm(60)
        self.addCleanup(signal.alarm, 0)

    def leave_no_timer(self):
        if PENDING.exists():
            self.l3ctl("confirm")
        if TIMER.exists():
            self.wait_for_the_timer()

    def timer(self):
        return json.loads(PENDING.read_text(encoding="ascii"))["timer"]

    def wait_for_the_timer(self):
        """The process that waits holds a lock as long as it lives."""
        with TIMER.open("rb") as file:
            fcntl.flock(file, fcntl.LOCK_SH)

    def wait_until(self, condition, what):
        end = time.monotonic() + 30
        while not condition():
            self.assertLess(time.monotonic(), end, what)
            time.sleep(0.02)

    def confirmation(self):
        return json.loads(self.l3ctl("status", "--json").out)["confirmation"]

    def doctor_says(self):
        """What doctor finds about the confirmation, as state and text."""
        findings = json.loads(self.l3ctl("doctor", "--json").out)["findings"]
        return [(one["state"], one["finding"]) for one in findings if one["about"] == "confirmation"]

    def wait_until_it_sleeps(self, process):
        """A timer that is still starting has files open, and would end where the note names another process."""
        switches, end = None, time.monotonic() + 10
        while time.monotonic() < end:
            status = Path(f"/proc/{process}/status").read_text(encoding="ascii")
            now = "State:\tS" in status and [line for line in status.splitlines() if "ctxt" in line]
            if now and now == switches:
                return
            switches = now
            time.sleep(0.05)
        self.fail("the timer never sleeps")

    def kill_timer(self):
        os.kill(self.timer(), signal.SIGKILL)
        self.wait_for_the_timer()

    def timer_lives(self):
        with TIMER.open("rb") as file:
            try:
                fcntl.flock(file, fcntl.LOCK_SH | fcntl.LOCK_NB)
            except BlockingIOError:
                return True
            return False

    def on_first_line(self, beginning, action):
        """The tools do this at the first command line that begins so."""
        tool = TOOLS / "iptables"
        tool.write_text(tool.read_text(encoding="ascii").replace(
            "exit 0", f'case "$line" in "{beginning}"*)\n  [ -e /tmp/tools/done ] || {{ touch /tmp/tools/done; '
                      f'{action}; }} ;;\nesac\nexit 0'), encoding="ascii")

    def cut_the_power(self):
        """What lies in memory alone is gone, and the machine has started once more."""
        self.kill_timer()
        empty_folder("/run")
        self.forget_rules()
        note = json.loads(PENDING.read_text(encoding="ascii"))
        PENDING.write_text(json.dumps(note | {"boot": "another"}), encoding="ascii")

    def assert_old_settings_are_back(self):
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
        commands = self.commands()
        self.assertTrue(any(line.endswith(" -F forward_ext_captiveportal") for line in commands), commands)
        self.assertEqual(commands[-1], "iptables-save -t filter")
        self.assertFalse(PENDING.exists())
        self.assertEqual(TIMER.read_text(encoding="ascii"), "")


class Confirm(Confirming):
    def test_an_apply_that_is_refused_leaves_nothing_to_confirm(self):
        self.refuse(*FLUSHES)
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
        self.assert_outcome(self.l3ctl("confirm"), 1, "", NOTHING_PENDING)

    def test_giving_up_at_once(self):
        self.apply(PORTAL, "--confirm", "3600")
        self.commands()
        self.assert_outcome(self.l3ctl("confirm", "--revert"), 0, "confirm: the old settings are back\n")
        self.wait_for_the_timer()
        self.assert_old_settings_are_back()

    def test_nothing_waits(self):
        self.assert_outcome(self.l3ctl("confirm"), 1, "", NOTHING_PENDING)
        self.assert_outcome(self.l3ctl("confirm", "--revert"), 1, "", NOTHING_PENDING)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))

    def test_where_nothing_changes_nobody_waits(self):
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

    def test_what_only_looks_does_not_wait_for_the_confirmation(self):
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
                         {"done": "confirm: the new settings stay", "failed": [], "failed_rules": []})

    def test_status_tells(self):
        self.assertIsNone(json.loads(self.l3ctl("status", "--json").out)["confirmation"])
        self.assertNotIn("confirmation", self.l3ctl("status").out)
        self.apply(PORTAL, "--confirm", "3600")
        waits = json.loads(self.l3ctl("status", "--json").out)["confirmation"]
        self.assertTrue(3500 < waits.pop("seconds_left") <= 3600, waits)
        self.assertEqual(waits, {"timer": True, "state": "waiting", "reason": None})
        self.assertRegex(self.l3ctl("status").out,
                         r'\nconfirmation            pending: rollback in 3[56]\d\d s unless "l3ctl confirm" keeps the settings\n')
        self.assertEqual(self.doctor_says(), [("warning", "is pending; without it the old settings are restored")])

    def test_random_settings_come_back_byte_for_byte(self):
        dice = Dice(SEED)
        changed = 0
        for number in range(ROUNDS):
            with self.subTest(round=number, seed=SEED):
                text = settings(dice)
                self.assertEqual(self.apply(json.dumps(text)).status, 0)
                before = CONFIGURATION.read_bytes()
                self.assertEqual(self.apply(json.dumps(settings(dice)), "--confirm", "600").status, 0)
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
    """The rules of a change made as one, which is how they are made unless the command line says otherwise."""
    way = ()


class Cut(Confirming):
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
        """Nothing of the apply is in its memory, and nobody takes it for another apply."""
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

    def test_an_apply_that_is_killed_at_work_is_taken_back(self):
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

    def test_a_machine_that_goes_down_keeps_no_unconfirmed_settings(self):
        self.apply(PORTAL, "--confirm", "3600")
        self.commands()
        os.kill(self.timer(), signal.SIGTERM)
        self.wait_for_the_timer()
        self.assert_old_settings_are_back()

    def test_a_killed_timer_leaves_the_choice(self):
        for verb in ([], ["--revert"]):
            self.apply(PORTAL, "--confirm", "3600")
            self.kill_timer()
            self.assertIn("confirmation            pending, but the timer is gone: ", self.l3ctl("status").out)
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

    def test_a_damaged_note_is_told_with_a_way_out(self):
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
        self.assertIn("confirmation            overdue, and the timer is gone: ", self.l3ctl("status").out)
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

    def test_what_was_confirmed_outlives_a_power_cut(self):
        self.apply(PORTAL, "--confirm", "3600")
        stored = CONFIGURATION.read_bytes()
        self.l3ctl("confirm")
        self.wait_for_the_timer()
        empty_folder("/run")
        self.assert_outcome(self.l3ctl("init"), 0, "init: the gateway is up\n")
        self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def test_a_damaged_note_keeps_no_gateway_from_its_start(self):
        PENDING.write_text("{", encoding="ascii")
        outcome = self.l3ctl("init")
        self.assertEqual((outcome.status, outcome.out), (0, "init: the gateway is up\n"))
        self.assertIn("/ztcfg/l3ctl.pending is damaged: ", outcome.err)
        PENDING.unlink()

    def one_by_one(self):
        return ["--one-by-one"] if "--one-by-one" in self.l3ctl("--help").out else []


class CutTogether(Cut):
    way = ()


class Note(Confirming):
    """The file that says what is pending."""
    way = ()

    def note(self):
        return json.loads(PENDING.read_text(encoding="ascii"))

    def test_old_settings_are_told_in_words(self):
        self.assertEqual(self.apply('{"acl": {"enabled": true, "entries": [{"from": "lan", "service": "web", "sources": "any"}]}}').status, 0)
        acl = json.loads(self.l3ctl("export", "--section", "acl").out)["acl"]
        self.apply('{"acl": {"enabled": false}, "route_qos": {"enabled": true}}', "--confirm", "3600")
        self.assertEqual(self.note()["old_settings"]["acl"], acl)
        self.assertEqual(self.note()["old_settings"]["route_qos"]["enabled"], False)
        self.assertEqual(self.note()["stored_bytes"], {})
        self.assertEqual(PENDING.stat().st_mode & 0o7777, 0o600)

    def test_what_words_cannot_say_comes_back_byte_for_byte(self):
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


class Retry(Confirming):
    """A rollback that does not succeed at once is tried again until it does."""
    way = ()

    def assert_reported(self, reason):
        waits = self.confirmation()
        self.assertEqual((waits["seconds_left"], waits["timer"], waits["state"]), (0, True, "retrying"))
        self.assertIn(reason, waits["reason"])
        line = next(line for line in self.l3ctl("status").out.splitlines() if line.startswith("confirmation"))
        self.assertTrue(line.startswith("confirmation            overdue, the rollback is tried again: "), line)
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
        self.assertEqual(self.confirmation(), {"seconds_left": 0, "timer": False, "state": "timer_gone", "reason": None})
        self.assertIn("confirmation            overdue, and the timer is gone: the next change rolls back first\n",
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
        self.assertIn("l3ctl: an apply was not confirmed in time, and rolling it back failed: ", outcome.err)
        self.assertIn("Too many links; nothing else was changed\n", outcome.err)
        self.assertTrue(PENDING.exists())
        REFUSED.unlink()
        self.assertEqual(self.l3ctl("ipsec", "off").status, 0)

    def test_what_only_looks_rolls_nothing_back(self):
        self.make_overdue()
        stored = CONFIGURATION.read_bytes()
        for command in (["status"], ["show"], ["export"], ["doctor"], ["check"], ["level"]):
            self.l3ctl(*command)
        self.assertEqual(CONFIGURATION.read_bytes(), stored)
        self.assertTrue(PENDING.exists())
        self.assertEqual(self.l3ctl("confirm", "--revert").status, 0)


if __name__ == "__main__":
    unittest.main()
