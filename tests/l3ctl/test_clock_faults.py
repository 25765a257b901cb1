"""A shift of time spans that is killed at any step: the local hours stay, and the next command completes it."""
import json
import os
import subprocess

from clock_case import SUMMER, ZONE_FILE, ClockCase
from gateway import CONFIGURATION, L3CTL
from test_clock import LISTS, LOCAL

FULL = os.environ.get("L3_TEST_FULL") == "yes"
CALLS = ("rename", "fsync", "write", "unlink", "openat") if FULL else ("rename", "fsync")


class ClockFaults(ClockCase):
    def killed(self, call, number):
        """Runs a shift that is killed at this call; whether it came so far."""
        done = subprocess.run(["strace", "-e", f"trace={call}", "-e", f"inject={call}:signal=KILL:when={number}", "-o", "/dev/null",
                               L3CTL, "clock"], capture_output=True, env=self.environment(), timeout=60, check=False)
        return done.returncode != 0

    def begin(self):
        self.moment = SUMMER - 180 * 86400
        ZONE_FILE.unlink(missing_ok=True)
        self.forget_rules()
        self.store(firewall=True)
        self.set({"time_zone": "Europe/Berlin", **LISTS})
        self.moment = SUMMER

    def test_killed_anywhere(self):
        self.begin()
        self.done("clock")
        wanted = CONFIGURATION.read_bytes(), self.rules()
        steps = 0
        for call in CALLS:
            for number in range(1, 200):
                self.begin()
                if not self.killed(call, number):
                    break
                steps += 1
                with self.subTest((call, number)):
                    self.assertEqual(self.spans(), LOCAL)
                    if number % 2:
                        self.done("clock")
                        self.assertEqual((CONFIGURATION.read_bytes(), self.rules()), wanted)
                    else:
                        # A change that comes first completes what was begun, and keeps one offset for all spans.
                        self.done("url-filter", "add", "b.example", "active=10:00-11:00")
                        self.assertEqual(self.spans(), [LOCAL[0], "10:00-11:00", *LOCAL[1:]])
                        self.assertNotIn("shift", json.loads(ZONE_FILE.read_text()))
                        self.done("clock")
                        self.done("url-filter", "delete", "b.example")
                        self.assertEqual(CONFIGURATION.read_bytes(), wanted[0])
                    self.assertEqual(json.loads(ZONE_FILE.read_text()),
                                     {"time_zone": "Europe/Berlin", "offset_minutes": 120})
        self.assertGreater(steps, 5)
