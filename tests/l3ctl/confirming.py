"""A gateway on which an apply waits for its confirmation."""
import fcntl
import json
import os
import signal
import time
from pathlib import Path

from gateway import CONFIGURATION, Gateway, configuration, empty_folder

PENDING = Path("/ztcfg/l3ctl.pending")
TIMER = Path("/run/l3ctl.timer")
FLUSHES = ("iptables -t filter -F forward_ext_captiveportal", "iptables -F forward_ext_captiveportal")

PORTAL = '{"captive_portal": {"enabled": true, "destinations": ["203.0.113.2"]}}'
GONE_DOWN = "l3ctl: the machine went down before a change was confirmed: the old settings are back\n"

# In a tool: kills the process that started the tool's shell.
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
        self.hook("iptables", f'case "$line" in "{beginning}"*)\n  [ -e /tmp/tools/done ] || {{ touch /tmp/tools/done; '
                              f'{action}; }} ;;\nesac')

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
