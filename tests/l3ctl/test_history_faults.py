"""The history on a full disk, and where a change is killed."""
import json
import signal
import subprocess
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL
from test_history import HISTORY, History


class HistoryFaults(History):
    def test_a_full_disk_costs_the_history_and_no_change(self):
        script = ("mount -t tmpfs -o size=128k none /ztcfg && cp /tmp/stored /ztcfg/l3_advance.dat && "
                  "cp /tmp/history /ztcfg/l3ctl.history && head -c 50000 /dev/zero >/ztcfg/other && "
                  f"{L3CTL} ipsec off && ls /ztcfg && cmp /tmp/stored /ztcfg/l3_advance.dat")
        self.add("a.example.com")
        Path("/tmp/stored").write_bytes(CONFIGURATION.read_bytes())
        Path("/tmp/history").write_bytes(HISTORY.read_bytes())
        done = subprocess.run(["unshare", "--mount", "sh", "-c", script], env=self.environment(), capture_output=True, text=True,
                              check=False)
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertIn("ipsec: off\n", done.stdout)
        self.assertNotIn("l3ctl.history", done.stdout)
        self.assertIn("l3ctl: warning: /ztcfg is almost full; the history of the changes was dropped\n", done.stderr)

    def test_killed_at_each_step(self):
        """Before each file operation of the history's writing: the change stands, and the history is the old or the new one."""
        self.add("a.example.com")
        for call in ("openat", "pwrite64", "write", "fsync", "rename", "renameat2"):
            trace = ["strace", "-f", "-o", "/dev/null", "-P", str(HISTORY), "-P", str(HISTORY) + ".next", "-e",
                     f"inject={call}:signal=KILL:when=1"]
            old = len(self.history())
            self.l3ctl("ipsec", "on")
            old = len(self.history())
            done = subprocess.run([*trace, L3CTL, "ipsec", "off"], env=self.traced_environment(), capture_output=True, check=False)
            self.assertIn(done.returncode, (0, -signal.SIGKILL, 137), (call, done.stderr))
            outcome = self.l3ctl("history", "--json")
            self.assertEqual(outcome.err, "", call)
            self.assertIn(len(json.loads(outcome.out)["changes"]), (old, old + 1), call)
            self.assertEqual(self.l3ctl("ipsec", "on").status, 0, call)


def load_tests(loader, _tests, _pattern):
    """Without the tests of the class that it builds on."""
    names = [name for name in loader.getTestCaseNames(HistoryFaults) if name not in dir(History)]
    return unittest.TestSuite(HistoryFaults(name) for name in names)


if __name__ == "__main__":
    unittest.main()
