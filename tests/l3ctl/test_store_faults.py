"""The files of the store while the system fails under l3ctl."""
import fcntl
import itertools
import json
import os
import subprocess
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, Gateway, configuration
from test_backup import BACKUP, SAMPLE, Copies
from test_transaction import TWO_LISTS

FULL = os.environ.get("L3_TEST_FULL") == "yes"
SAVED = Path("/ztcfg/firewall.conf")
NOTE = Path("/ztcfg/l3ctl.pending")
TIMER = Path("/run/l3ctl.timer")


class Faults(Gateway):
    way = ()

    def setUp(self):
        super().setUp()
        self.store(firewall=True)
        SAVED.write_text("the rules of before\n")

    def with_fault(self, path, fault, *arguments, stdin=""):
        """Runs l3ctl with one kind of its system calls failing for one file, or for all where the path is None. Its tools
        are left alone."""
        only = [] if path is None else ["-P", str(path)]
        done = subprocess.run(["strace", *only, "-e", f"trace={fault.split(':')[0]}", "-e", f"inject={fault}",
                               "-o", "/dev/null", L3CTL, *self.way, *arguments], input=stdin, capture_output=True, text=True,
                              env=self.traced_environment(), timeout=60, check=False)
        return done.returncode, done.stdout, done.stderr


class StoreFaults(Faults):
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
                            err=f"l3ctl: {SAVED}: is a directory, not a regular file; nothing was changed\n")
        self.assertEqual(self.commands(), [])

    def test_a_save_that_fails_is_a_change_that_fails(self):
        status, out, err = self.with_fault(SAVED, "openat:error=ENOSPC:when=2", "apply", "-", stdin=TWO_LISTS)
        self.assertEqual((status, out), (3, ""), err)
        self.assertIn(f'l3ctl: "iptables-save -t filter >{SAVED}" ended with 1: cannot open {SAVED}: '
                      "No space left on device\n", err)
        self.assertEqual((CONFIGURATION.read_bytes(), SAVED.read_text()), (configuration(True), "the rules of before\n"))
        self.assertEqual([line for line in self.commands() if "-restore" in line],
                         ["ip6tables-restore -c --noflush -w 5", "iptables-restore -c --noflush -w 5"])

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

    def test_a_record_that_cannot_be_written_is_what_it_was(self):
        record = Path("/ztcfg/wan")
        record.write_bytes(b"o" * 1872)
        status, out, err = self.with_fault(record, "write,writev:error=ENOSPC", "record", "write", "wan-service", str(record),
                                           "-", stdin="n" * 1872)
        self.assertEqual((status, out), (1, ""))
        self.assertTrue(err.endswith("everything is as it was before\n"), err)
        self.assertEqual(record.read_bytes(), b"o" * 1872)


class SuddenEnds(Copies):
    """l3ctl is killed at each of its calls that make, write, rename or remove something."""
    way = ()
    calls = ("openat", "write", "fsync", "fchmod", "ftruncate", "rename", "unlink") + (("close",) if FULL else ())
    ways = ((), ("--one-by-one",)) if FULL else ((),)

    def ends(self, *arguments, stdin=b""):
        """Kills l3ctl at its first such call, then anew at its second, until none is left: of each run, how it ended."""
        for call in self.calls:
            for number in itertools.count(1):
                self.store(firewall=True)
                SAVED.write_text("the rules of before\n")
                done = subprocess.run(
                    ["strace", "-e", f"trace={call}", "-e", f"inject={call}:signal=KILL:when={number}", "-o", "/dev/null",
                     L3CTL, *self.way, *arguments], input=stdin, capture_output=True, env=self.traced_environment(),
                    timeout=60, check=False)
                yield done.returncode
                if done.returncode != -9:
                    break

    def swept(self, place, old, new, *arguments, stdin=b""):
        """Every end leaves the old file or the new one, and nothing that the next change does not clear up. Returns
        how the runs ended that were not killed, and how often something was left."""
        seen, left, statuses = set(), 0, []
        for status in self.ends(*arguments, stdin=stdin):
            statuses.append(status)
            self.assertIn(place.read_bytes(), (old, new), (arguments, statuses))
            seen.add(place.read_bytes())
            unfinished = [path for path in place.parent.iterdir() if path.name.endswith(".next")]
            left += len(unfinished)
            if unfinished:
                self.assert_outcome(self.l3ctl(*(["vpn", "off"] if place == CONFIGURATION else arguments)), 0,
                                    "vpn: off\n" if place == CONFIGURATION else f"backup: 15019 bytes written to {BACKUP}\n")
                self.assertEqual([path for path in unfinished if path.exists()], [])
            if place == BACKUP:
                BACKUP.write_bytes(old)
        self.assertEqual(seen, {old, new})
        self.assertGreater(statuses.count(-9), 15)
        return set(statuses) - {-9}, left

    def test_a_backup(self):
        BACKUP.write_bytes(b"the good one")
        statuses, left = self.swept(BACKUP, b"the good one", configuration(True), "backup", str(BACKUP))
        self.assertEqual(statuses, {0})
        self.assertGreater(left, 3)

    def test_a_restore(self):
        BACKUP.write_bytes(SAMPLE)
        for self.way in self.ways:
            statuses, left = self.swept(CONFIGURATION, configuration(True), SAMPLE, "restore", str(BACKUP))
            self.assertEqual(statuses, {0})
            self.assertGreater(left, 3)

    def test_a_restore_that_is_put_back(self):
        BACKUP.write_bytes(SAMPLE)
        self.refuse("iptables -F forward_ext_url")
        statuses, left = self.swept(CONFIGURATION, configuration(True), SAMPLE, "restore", str(BACKUP))
        self.assertEqual(statuses, {3})
        self.assertGreater(left, 6)

    def test_a_section_that_is_set(self):
        """The library writes in place, a record in one call: one section is the old or the new one."""
        change = TWO_LISTS.encode()
        for self.way in self.ways:
            self.store(firewall=True)
            self.assertEqual(self.apply(TWO_LISTS, "--section", "url_filter").status, 0)
            new = CONFIGURATION.read_bytes()
            statuses, _ = self.swept(CONFIGURATION, configuration(True), new, "apply", "--section", "url_filter", "-",
                                   stdin=change)
            self.assertEqual(statuses, {0})

    def test_several_sections_that_are_set(self):
        """Each section is whole, and so is the file."""
        self.store(firewall=True)
        old = json.loads(self.l3ctl("export").out)
        self.assertEqual(self.apply(TWO_LISTS).status, 0)
        new = json.loads(self.l3ctl("export").out)
        mixed = 0
        for _ in self.ends("apply", "-", stdin=TWO_LISTS.encode()):
            self.assertEqual(self.l3ctl("inspect").status, 0)
            now = json.loads(self.l3ctl("export").out)
            self.assertEqual([name for name in now if now[name] not in (old[name], new[name])], [])
            mixed += now not in (old, new)
        self.assertEqual(now, new)
        self.assertGreater(mixed, 0)

    def test_a_file_of_another_name_is_not_cleared_up(self):
        others = ["l3_advance.dat.backup", "l3_advance.dat.next", "l3_advance.dat.mine.next", "other.abcdef.next"]
        for name in [*others, "l3_advance.dat.abcdef.next", "firewall.conf.abcdef.next"]:
            CONFIGURATION.with_name(name).touch()
        self.assertEqual(self.l3ctl("vpn", "off").status, 0)
        self.assertEqual(sorted(path.name for path in CONFIGURATION.parent.iterdir()),
                         sorted([*others, "l3_advance.dat"]))


class NoteFaults(Faults):
    """The note of an apply that waits for its confirmation."""

    def with_a_note_that_fails(self, which):
        """The ways that an apply ends whose note cannot take its place this time; the timer is gone by then."""
        # A path would have to be the first that the call is given.
        outcome = self.with_fault(None, f"rename:error=ENOSPC:when={which}", "apply", "--confirm", "60", "-",
                                  stdin=TWO_LISTS)
        with TIMER.open("rb") as file:
            fcntl.flock(file, fcntl.LOCK_SH)
        self.assertFalse(NOTE.exists())
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
        return outcome

    def test_without_room_for_the_note_nothing_changes(self):
        self.assertEqual(self.with_a_note_that_fails(1), (
            1, "", f"l3ctl: {NOTE}: cannot be written: No space left on device; nothing was changed\n"))
        self.assertEqual(self.commands(), [])

    def test_a_time_that_cannot_begin_anew_takes_the_apply_back(self):
        for self.way in ((), ("--one-by-one",)):
            self.assertEqual(self.with_a_note_that_fails(2), (
                1, "", f"l3ctl: {NOTE}: cannot be written: No space left on device; everything is as it was before\n"))
            self.assertIn("iptables-restore -c --noflush -w 5", self.commands())


if __name__ == "__main__":
    unittest.main()
