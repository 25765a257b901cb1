"""A check of the stored file that fails for a moment is reported, and no change is made unchecked."""
import unittest

from gateway import CONFIGURATION, configuration
from test_store_faults import Faults

UNREADABLE = "/ztcfg/l3_advance.dat: cannot be read: Input/output error"


class Damage(Faults):
    """The first read of the configuration is that of the check; the later ones succeed."""

    def faults(self):
        return ("read:error=EIO:when=1", "openat:error=EIO:when=1")

    def test_a_change_does_not_go_on_unchecked(self):
        for fault in self.faults():
            status, out, err = self.with_fault(CONFIGURATION, fault, "vpn", "on")
            self.assertEqual((status, out), (1, ""), err)
            self.assertIn(f"l3ctl: {UNREADABLE}; nothing was changed\n", err)
            self.assertEqual(CONFIGURATION.read_bytes(), configuration(True))
            self.assertEqual(self.commands(), [])

    def test_a_forced_change_and_the_ways_out_warn(self):
        for words, stdin in ((["--force", "vpn", "on"], ""), (["reset", "--yes"], ""), (["--force", "init", "--again"], "")):
            for fault in self.faults():
                with self.subTest((words, fault)):
                    self.store(firewall=True)
                    status, _, err = self.with_fault(CONFIGURATION, fault, *words, stdin=stdin)
                    self.assertEqual(status, 0, err)
                    self.assertIn(f"l3ctl: warning: {UNREADABLE}; it was not checked\n", err)

    def test_readers_warn(self):
        for words in (["show"], ["status"], ["export"], ["rules"], ["firewall", "status"], ["url-filter", "list"],
                      ["qos", "show"]):
            for fault in self.faults():
                with self.subTest((words, fault)):
                    status, out, err = self.with_fault(CONFIGURATION, fault, *words)
                    self.assertEqual(status, 0, err)
                    self.assertNotEqual(out, "")
                    self.assertEqual(err.count(f"l3ctl: warning: {UNREADABLE}; it was not checked\n"), 1, err)


if __name__ == "__main__":
    unittest.main()
