"""l3ctl doctor over files that cannot be looked at or read."""
import json
import subprocess
import unittest

from gateway import L3CTL
from test_doctor import Examined


class Unreadable(Examined):
    def problems_with(self, path, fault):
        """The findings of doctor while one kind of system call fails on one file."""
        done = subprocess.run(["strace", "-f", "-P", path, "-e", f"trace={fault.split(':')[0]}", "-e", f"inject={fault}",
                               "-o", "/dev/null", L3CTL, "doctor", "--json"], capture_output=True, text=True,
                              env=self.environment(), timeout=60, check=False)
        self.assertEqual(done.returncode, 3, done.stderr)
        found = [one for one in json.loads(done.stdout)["findings"] if one["state"] == "problem"]
        self.assertTrue(all(one["advice"] for one in found), found)
        return [(one["about"], one["finding"]) for one in found]

    def test_a_configuration_that_cannot_be_looked_at(self):
        for number, error in (("EIO", "Input/output error"), ("EACCES", "Permission denied")):
            found = self.problems_with("/ztcfg/l3_advance.dat", f"newfstatat:error={number}")
            self.assertIn(("/ztcfg/l3_advance.dat", f"cannot be looked at: {error}"), found)

    def test_a_configuration_that_cannot_be_read(self):
        for fault in ("openat:error=EIO", "read:error=EIO"):
            found = self.problems_with("/ztcfg/l3_advance.dat", fault)
            self.assertIn(("configuration", "cannot be read: Input/output error"), found)

    def test_saved_rules_that_cannot_be_read(self):
        for name in ("firewall.conf", "firewall6.conf"):
            for fault in ("openat:error=EIO", "read:error=EIO"):
                self.assertEqual(self.problems_with(f"/ztcfg/{name}", fault),
                                 [(f"/ztcfg/{name}", "cannot be read: Input/output error")])


if __name__ == "__main__":
    unittest.main()
