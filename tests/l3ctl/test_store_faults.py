"""The files of the store while the system fails under l3ctl."""
import subprocess
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, Gateway, configuration
from test_transaction import TWO_LISTS

SAVED = Path("/ztcfg/firewall.conf")


class StoreFaults(Gateway):
    way = ()

    def setUp(self):
        super().setUp()
        self.store(firewall=True)
        SAVED.write_text("the rules of before\n")

    def with_fault(self, path, fault, *arguments, stdin=""):
        """Runs l3ctl with one kind of its system calls failing for one file. Its tools are left alone."""
        done = subprocess.run(["strace", "-P", str(path), "-e", f"trace={fault.split(':')[0]}", "-e", f"inject={fault}",
                               "-o", "/dev/null", L3CTL, *self.way, *arguments], input=stdin, capture_output=True, text=True,
                              env=self.traced_environment(), timeout=60, check=False)
        return done.returncode, done.stdout, done.stderr

    def test_a_file_that_cannot_be_read_stops_the_change(self):
        self.refuse("iptables -F forward_ext_url", "iptables -t filter -F forward_ext_url")
        for path in (SAVED, CONFIGURATION):
            for fault, reason in (("read:error=EIO", "Input/output error"),
                                  ("openat:error=EACCES", "Permission denied"),
                                  ("newfstatat,stat:error=EIO", "Input/output error")):
                for self.way in ((), ("--one-by-one",)):
                    with self.subTest((str(path), fault, self.way)):
                        self.store(firewall=True)
                        SAVED.write_text("the rules of before\n")
                        status, out, err = self.with_fault(path, fault, "--force", "url-filter", "add", "a.example")
                        self.assertEqual((status, out), (1, ""), err)
                        self.assertTrue(err.endswith(f"l3ctl: {path}: cannot be read: {reason}; nothing was changed\n"), err)
                        self.assertEqual(SAVED.read_text(), "the rules of before\n")
                        self.assertEqual(CONFIGURATION.read_bytes(), configuration(True))
                        self.assertEqual(self.commands(), [])

    def test_a_folder_in_the_place_of_a_file_stops_the_change(self):
        SAVED.unlink()
        SAVED.mkdir()
        self.assert_outcome(self.l3ctl("firewall", "on"), 1,
                            err=f"l3ctl: {SAVED}: is no regular file; nothing was changed\n")
        self.assertEqual(self.commands(), [])

    def test_a_save_that_fails_is_a_change_that_fails(self):
        status, out, err = self.with_fault(SAVED, "openat:error=ENOSPC:when=2", "apply", "-", stdin=TWO_LISTS)
        self.assertEqual((status, out), (3, ""), err)
        self.assertIn(f'l3ctl: "iptables-save -t filter >{SAVED}" ended with 1: cannot open {SAVED}: '
                      "No space left on device\n", err)
        self.assertEqual((CONFIGURATION.read_bytes(), SAVED.read_text()), (configuration(True), "the rules of before\n"))
        self.assertEqual([line for line in self.commands() if "-restore" in line],
                         ["ip6tables-restore -c -w 5", "iptables-restore -c -w 5"])

    def test_start_up_needs_no_way_back(self):
        status, out, err = self.with_fault(SAVED, "read:error=EIO:when=1", "--force", "init")
        self.assertEqual((status, out), (0, "init: the gateway is up\n"), err)

    def test_what_is_put_back_is_durable(self):
        self.refuse("ip6tables-save -t filter")
        trace = Path("/tmp/durable.trace")
        for there in (True, False):
            SAVED.write_text("the rules of before\n")
            if not there:
                SAVED.unlink()
            done = subprocess.run(["strace", "-y", "-e", "trace=openat,rename,unlink,fsync", "-o", str(trace), L3CTL,
                                   "--one-by-one", "firewall", "on"], capture_output=True, text=True,
                                  env=self.traced_environment(), timeout=60, check=False)
            self.assertEqual(done.returncode, 3, done.stderr)
            self.assertEqual(SAVED.exists(), there)
            calls = trace.read_text().splitlines()
            placed = [number for number, call in enumerate(calls)
                      if call.startswith(("rename(", "unlink(")) and f'"{SAVED}"' in call]
            self.assertEqual(len(placed), 1, calls)
            self.assertRegex(calls[placed[0] + 1], r"^fsync\(\d+</ztcfg>\) += 0$")


if __name__ == "__main__":
    unittest.main()
