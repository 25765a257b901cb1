"""l3ctl apply --confirm and l3ctl confirm: nobody locks himself out, whatever becomes of his terminal."""
import fcntl
import json
import os
import pty
import signal
import subprocess
import sys
import time
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, TOOLS, Gateway, configuration, empty_folder

ROOT = Path(__file__).resolve().parents[2]
sys.path += [str(ROOT / "lab"), str(ROOT / "tests/lab")]

from random_settings import Dice, settings  # noqa: E402  (found through the line above)

PENDING = Path("/ztcfg/l3ctl.pending")
TIMER = Path("/run/l3ctl.timer")
ROUNDS = 60 if os.environ.get("L3_TEST_FULL") else 8
SEED = int(os.environ.get("L3_TEST_SEED", "12"))

PORTAL = '{"captive_portal": {"enabled": true, "destinations": ["203.0.113.2"]}}'
WAITING = 'l3ctl: "l3ctl confirm" within %s s keeps these settings; otherwise the old ones come back\n'
GONE_DOWN = "l3ctl: the machine went down before an apply was confirmed: the old settings are back\n"
NOTHING_WAITS = "l3ctl: nothing waits for a confirmation; nothing was changed\n"


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
        os.kill(self.timer(), signal.SIGKILL)
        self.wait_for_the_timer()
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
        self.refuse("iptables -t filter -F forward_ext_captiveportal", "iptables -F forward_ext_captiveportal")
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
        self.assert_outcome(self.l3ctl("confirm"), 1, "", NOTHING_WAITS)

    def test_unconfirmed_settings_go(self):
        before = time.monotonic()
        self.assertEqual(self.apply(PORTAL, "--confirm", "1").status, 0)
        self.commands()
        self.wait_for_the_timer()
        self.assertGreaterEqual(time.monotonic() - before, 1)
        self.assert_old_settings_are_back()
        self.assert_outcome(self.l3ctl("confirm"), 1, "", NOTHING_WAITS)

    def test_giving_up_at_once(self):
        self.apply(PORTAL, "--confirm", "3600")
        self.commands()
        self.assert_outcome(self.l3ctl("confirm", "--revert"), 0, "confirm: the old settings are back\n")
        self.wait_for_the_timer()
        self.assert_old_settings_are_back()

    def test_nothing_waits(self):
        self.assert_outcome(self.l3ctl("confirm"), 1, "", NOTHING_WAITS)
        self.assert_outcome(self.l3ctl("confirm", "--revert"), 1, "", NOTHING_WAITS)
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
                self.apply('{"firewall": {"enabled": false}}', *options), 1, "",
                'l3ctl: an earlier apply waits for its confirmation: "l3ctl confirm" keeps its settings, "l3ctl '
                'confirm --revert" takes them back; nothing was changed\n')
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
            self.assertEqual((outcome.status, outcome.out), (1, ""), change)
            self.assertTrue(outcome.err.startswith("l3ctl: an earlier apply waits for its confirmation"), outcome.err)
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
        self.assertEqual((outcome.status, outcome.out), (1, ""))
        self.assertTrue(outcome.err.startswith("l3ctl: an earlier apply waits for its confirmation"), outcome.err)

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
        self.assertTrue(3500 < waits["seconds_left"] <= 3600 and waits["timer"], waits)
        self.assertRegex(self.l3ctl("status").out,
                         r"\nconfirmation            wanted within 3[56]\d\d s, else the old settings come back\n")

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

    def test_the_timer_has_nothing_of_the_caller(self):
        shell, terminal, _ = self.start_at_a_terminal(60)
        timer = self.timer()
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
            os.kill(self.timer(), signal.SIGKILL)
            self.wait_for_the_timer()
            self.assertIn("confirmation            wanted; the timer is gone: ", self.l3ctl("status").out)
            self.assertEqual(self.apply("{}").status, 1)
            self.assertEqual(self.l3ctl("confirm", *verb).status, 0)
            self.assertEqual(CONFIGURATION.read_bytes() == configuration(firewall=True), verb == ["--revert"])
            self.store(firewall=True)

    def test_a_refused_rule_keeps_the_choice_open(self):
        self.apply(PORTAL, "--confirm", "3600")
        self.refuse("iptables -t filter -F forward_ext_captiveportal", "iptables -F forward_ext_captiveportal")
        self.assertNotEqual(self.l3ctl("confirm", "--revert").status, 0)
        self.assertTrue(PENDING.exists())

    def test_an_apply_that_fails_before_anything_is_stored_waits_for_nothing(self):
        read_only = "mount --bind /ztcfg /ztcfg && mount -o remount,bind,ro /ztcfg && exec \"$@\""
        done = subprocess.run(["unshare", "--mount", "sh", "-c", read_only, "sh", L3CTL, "apply", "--confirm", "60",
                               "/tmp/wanted.json"], capture_output=True, env=self.environment(), check=False)
        self.assertEqual((done.returncode, done.stdout), (1, b""), done.stderr)
        self.assertNotIn(b"l3ctl confirm", done.stderr)
        self.assertFalse(PENDING.exists())
        self.wait_for_the_timer()

    def test_a_damaged_note_is_told(self):
        PENDING.write_text("{", encoding="ascii")
        self.assert_outcome(self.l3ctl("confirm"), 1, "", "l3ctl: /ztcfg/l3ctl.pending is damaged\n")
        PENDING.write_text('{"timer": 1}', encoding="ascii")
        self.assert_outcome(self.l3ctl("confirm"), 1, "", "l3ctl: /ztcfg/l3ctl.pending is damaged\n")
        PENDING.unlink()

    def test_after_a_power_cut_start_up_brings_the_old_settings_back(self):
        self.apply(PORTAL, "--confirm", "3600")
        self.cut_the_power()
        self.assertIn("confirmation            wanted; the timer is gone: ", self.l3ctl("status").out)
        self.assertEqual(self.apply("{}").status, 1)
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
        self.assert_outcome(self.l3ctl("init"), 0, "init: the gateway is up\n",
                            "l3ctl: an apply was not confirmed, and the old settings are not back: "
                            "/ztcfg/l3ctl.pending is damaged\n")
        PENDING.unlink()

    def one_by_one(self):
        return ["--one-by-one"] if "--one-by-one" in self.l3ctl("--help").out else []


class CutTogether(Cut):
    way = ()


if __name__ == "__main__":
    unittest.main()
