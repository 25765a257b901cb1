"""A backup whose file cannot be written, synced or put in place."""
import os
import signal
import subprocess
import unittest

from gateway import CONFIGURATION, L3CTL, configuration
from test_backup import BACKUP, SAMPLE, Copies


class BackupFaults(Copies):
    def with_fault(self, fault, *arguments):
        """Runs l3ctl with one kind of system call failing."""
        return subprocess.run(["strace", "-f", "-e", f"trace={fault.split(':')[0]}", "-e", f"inject={fault}", "-o", "/dev/null",
                               L3CTL, *arguments], capture_output=True, text=True, env=self.environment(),
                              timeout=60, check=False)

    def test_a_failure_leaves_the_file_that_was_there(self):
        self.store()
        for fault in ("write:error=ENOSPC:when=1", "fsync:error=EIO:when=1", "fchmod:error=EPERM",
                      "rename:error=EIO", "lseek:error=EIO"):
            BACKUP.write_bytes(b"the good one")
            done = self.with_fault(fault, "backup", str(BACKUP))
            self.assertEqual((done.returncode, done.stdout), (1, ""), fault)
            self.assertIn(f"l3ctl: {BACKUP}: cannot be written: ", done.stderr)
            self.assertEqual(BACKUP.read_bytes(), b"the good one")
            self.assertEqual(os.listdir(BACKUP.parent), ["backup.dat"])

    def test_an_interruption_leaves_nothing_beside_the_file(self):
        self.store()
        for ending in ("INT", "TERM", "HUP"):
            done = self.with_fault(f"fsync:signal={ending}:when=1", "backup", str(BACKUP))
            # strace ends as the traced program does.
            self.assertEqual((done.returncode, done.stdout), (-getattr(signal, "SIG" + ending), ""), ending)
            self.assertEqual(os.listdir(BACKUP.parent), ["backup.dat"])
            self.assertEqual(BACKUP.read_bytes(), configuration())

    def test_bytes_that_do_not_read_back_are_no_backup(self):
        self.store()
        # A write that says that it wrote everything, and did nothing.
        done = self.with_fault("write:retval=15019:when=1", "backup", str(BACKUP))
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertEqual(os.listdir(BACKUP.parent), [])

    def test_a_failed_write_changes_nothing(self):
        self.store(firewall=True)
        BACKUP.write_bytes(SAMPLE)
        for fault in ("fsync:error=EIO:when=1", "rename:error=EROFS", "fchmod:error=EPERM"):
            done = self.with_fault(fault, "restore", str(BACKUP))
            self.assertEqual((done.returncode, done.stdout), (1, ""), fault)
            self.assertIn("/ztcfg/l3_advance.dat: cannot be written: ", done.stderr)
            self.assertEqual(CONFIGURATION.read_bytes(), configuration(True))
            self.assertEqual([name for name in os.listdir("/ztcfg") if name.startswith("l3_advance.dat.")], [])
        self.assertEqual(self.commands(), [])


if __name__ == "__main__":
    unittest.main()
