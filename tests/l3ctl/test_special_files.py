"""Anything but a regular file in the place of a stored file: told at once, by every command that would read it. And
stored files that are far too large."""
import json
import os
import resource
import socket
import subprocess
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, Gateway, empty_folder

SAVED = Path("/ztcfg/firewall.conf")
SAVED6 = Path("/ztcfg/firewall6.conf")
PENDING = Path("/ztcfg/l3ctl.pending")


def make_fifo(path):
    os.mkfifo(path)


def make_folder(path):
    path.mkdir()


def make_device(path):
    # A sandbox cannot make devices; a link to one behaves the same.
    path.symlink_to("/dev/zero")


def make_socket(path):
    with socket.socket(socket.AF_UNIX) as one:
        one.bind(str(path))


KINDS = ((make_fifo, "a named pipe"), (make_folder, "a directory"), (make_device, "a character device"),
         (make_socket, "a socket"))

READERS = (["show"], ["show", "acl"], ["export"], ["status"], ["rules"], ["check"], ["explain", "--from", "lan", "--to",
           "wan", "--protocol", "tcp", "--source", "192.168.1.2", "--destination", "203.0.113.2", "--destination-port",
           "80"], ["diff", "-"], ["plan", "-"], ["inspect"], ["backup", "/tmp/copy"], ["backup", "-"], ["level"],
           ["qos", "show"], ["firewall", "status"], ["vpn", "status"], ["url-filter", "list"], ["captive-portal", "list"])
CHANGES = (["init"], ["--force", "init"], ["apply", "-"], ["firewall", "on"], ["mac-filter", "add", "02:00:00:00:00:01"],
           ["acl", "off"], ["qos", "off"], ["vpn", "on"], ["wan", "update", "wan3"], ["level", "high"], ["reset", "--yes"],
           ["restore-rules"], ["confirm"], ["record", "read", "ct-timeout"])


class Special(Gateway):
    way = ()

    def run_quickly(self, words):
        """Ends at once; a hang fails the test."""
        return subprocess.run([L3CTL, *words], input=b"{}", capture_output=True, env=self.environment(), timeout=20,
                              check=False)

    def assert_told(self, words, path, kind):
        done = self.run_quickly(words)
        err = done.stderr.decode()
        self.assertEqual((done.returncode, done.stdout), (1, b""), (words, err))
        self.assertIn(f"l3ctl: {path}: is {kind}, not a regular file", err, words)
        self.assertEqual(self.commands(), [], words)

    def put(self, make, path):
        empty_folder("/ztcfg")
        if path != CONFIGURATION:
            self.store(firewall=True)
        make(path)

    def test_readers_tell_what_the_configuration_is(self):
        for make, kind in KINDS:
            self.put(make, CONFIGURATION)
            for words in READERS:
                with self.subTest(kind=kind, words=words):
                    self.assert_told(words, CONFIGURATION, kind)

    def test_changes_tell_what_a_stored_file_is(self):
        for path in (CONFIGURATION, SAVED, SAVED6, PENDING):
            for make, kind in KINDS:
                self.put(make, path)
                for words in CHANGES:
                    with self.subTest(path=path, kind=kind, words=words):
                        self.assert_told(words, path, kind)
                self.assertFalse(path.is_file())

    def test_a_plan_needs_what_apply_needs(self):
        for path in (SAVED, SAVED6, PENDING):
            for make, kind in KINDS:
                self.put(make, path)
                with self.subTest(path=path, kind=kind):
                    self.assert_told(["plan", "-"], path, kind)

    def test_the_state_of_a_confirmation_that_is_no_file(self):
        for make, kind in KINDS:
            self.put(make, PENDING)
            done = self.run_quickly(["status"])
            self.assertEqual((done.returncode, done.stdout.decode()), (1, ""))
            self.assertIn(f"l3ctl: {PENDING}: is {kind}, not a regular file", done.stderr.decode())

    def test_doctor_finds_every_one(self):
        for path in (CONFIGURATION, SAVED, SAVED6, PENDING):
            for make, kind in KINDS:
                with self.subTest(path=path, kind=kind):
                    self.put(make, path)
                    done = self.run_quickly(["--json", "doctor"])
                    self.assertEqual(done.returncode, 3)
                    found = [one["finding"] for one in json.loads(done.stdout)["findings"] if one["state"] == "problem"]
                    self.assertTrue(any(f"is {kind}, not a regular file" in one for one in found), found)

    def test_what_a_record_is_read_from_and_what_is_migrated(self):
        for make, kind in KINDS:
            self.put(make, Path("/ztcfg/ct_activity_timeout.conf"))
            self.assert_told(["record", "read", "ct-timeout"], "/ztcfg/ct_activity_timeout.conf", kind)
            self.put(make, Path("/ztcfg/l3_advance.conf"))
            Path("/ztcfg/v1_to_v2.flag").touch()
            self.assert_told(["init"], "/ztcfg/l3_advance.conf", kind)

    def test_a_link_to_a_regular_file_is_one(self):
        self.store(firewall=True)
        CONFIGURATION.rename("/ztcfg/real.dat")
        CONFIGURATION.symlink_to("real.dat")
        self.assertEqual(self.l3ctl("show", "firewall").out, "firewall                on\n")
        self.assertEqual(self.l3ctl("vpn", "on").status, 0)
        self.assertTrue(CONFIGURATION.is_symlink())


class Oversized(Gateway):
    """Files of 1 GiB, holes for the most part, read with little memory and in little time."""
    way = ()
    size = 1 << 30

    def setUp(self):
        super().setUp()
        self.store(firewall=True)
        SAVED.write_text("*filter\nCOMMIT\n")
        SAVED6.write_text("*filter\nCOMMIT\n")

    def run_in_little_memory(self, *words):
        def limit():
            resource.setrlimit(resource.RLIMIT_DATA, (64 << 20, 64 << 20))
        # The address sanitizer's own memory is no data of the program.
        done = subprocess.run([L3CTL, *words], input=b'{"firewall": {"enabled": true}}', capture_output=True,
                              env=self.environment(), preexec_fn=limit, timeout=20, check=False)
        self.assertNotIn(b"bad_alloc", done.stderr + done.stdout)
        return done

    def test_a_plan_refuses_as_apply_does(self):
        os.truncate(CONFIGURATION, self.size)
        outcomes = []
        for command in ("plan", "apply"):
            done = self.run_in_little_memory(command, "-")
            self.assertEqual((done.returncode, done.stdout), (1, b""))
            outcomes.append(done.stderr)
        self.assertIn(b"/ztcfg/l3_advance.dat is implausible (the file: ", outcomes[0])
        self.assertEqual(outcomes[0], outcomes[1])

    def test_a_plan_copies_no_large_file_of_others(self):
        os.truncate(SAVED, self.size)
        self.assertEqual(self.run_in_little_memory("plan", "-").stdout, b"nothing to do\n")
        state = Path("/run/l3_advance")
        state.mkdir(exist_ok=True)
        (state / "versions").touch()
        os.truncate(state / "versions", self.size)
        done = self.run_in_little_memory("plan", "-")
        self.assertEqual((done.returncode, done.stderr),
                         (1, b"l3ctl: a plan needs to read every file: /run/l3_advance/versions: cannot be read: File too large\n"))

    def test_doctor_reads_as_much_as_it_needs(self):
        for path, what in ((CONFIGURATION, " bytes behind the last record"), (SAVED, "is cut short"), (SAVED6, "is cut short"),
                           (PENDING, "too large")):
            with self.subTest(path=path):
                PENDING.unlink(missing_ok=True)
                self.setUp()
                with open(path, "ab") as file:
                    file.truncate(self.size)
                done = self.run_in_little_memory("--json", "doctor")
                self.assertEqual(done.returncode, 3, done.stderr)
                found = [one["finding"] for one in json.loads(done.stdout)["findings"] if one["state"] == "problem"]
                self.assertTrue(any(what in one for one in found), found)

    def test_whole_saved_rules_of_any_size_are_whole(self):
        SAVED.write_text("*filter\n" + "-A forward -j DROP\n" * 100000 + "COMMIT\n# Completed\n")
        SAVED.chmod(0o600)
        found = json.loads(self.l3ctl("--json", "doctor").out)["findings"]
        self.assertIn(("/ztcfg/firewall.conf", "is whole"), [(one["about"], one["finding"]) for one in found])


if __name__ == "__main__":
    unittest.main()
