"""l3ctl backup and restore: whole files or none, checked, converted, followed by the rules."""
import json
import os
import subprocess
import unittest
from pathlib import Path

from gateway import BYTE_ORDER, CONFIGURATION, FW, L3CTL, OTHER_ORDER, QOS, Gateway, configuration, word
from test_switches import FLUSH, FLUSH6, SAVES

DATA = Path(__file__).parent.parent / "data"
SAMPLE = (DATA / f"golden-sample-{BYTE_ORDER}-endian.dat").read_bytes()
SAMPLE_OTHER = DATA / f"golden-sample-{OTHER_ORDER}-endian.dat"
BACKUP = Path("/tmp/copies/backup.dat")

IPSEC = [f"iptables -t filter -{{}} FORWARD -p udp --sport {port} --dport {port} -j DROP" for port in (500, 4500)]


class Copies(Gateway):
    def setUp(self):
        super().setUp()
        BACKUP.parent.mkdir(exist_ok=True)
        for left in BACKUP.parent.iterdir():
            left.unlink()


class Backup(Copies):
    def test_is_the_stored_file_byte_for_byte(self):
        CONFIGURATION.write_bytes(SAMPLE)
        os.umask(0)
        self.assert_outcome(self.l3ctl("backup", str(BACKUP)), 0, f"backup: 15019 bytes written to {BACKUP}\n")
        self.assertEqual(BACKUP.read_bytes(), SAMPLE)
        self.assertEqual(BACKUP.stat().st_mode & 0o777, 0o600)
        self.assertEqual(os.listdir(BACKUP.parent), ["backup.dat"])
        self.assertEqual(self.commands(), [])

    def test_to_standard_output_and_as_json(self):
        self.store(firewall=True)
        done = subprocess.run([L3CTL, "backup", "-"], capture_output=True, check=True, env=self.environment())
        self.assertEqual((done.stdout, done.stderr), (configuration(True), b""))
        self.assert_outcome(self.l3ctl("backup", "-", "--json"), 2,
                            '{"error":"a backup to standard output leaves no room for --json","messages":[]}\n',
                            "l3ctl: a backup to standard output leaves no room for --json\n")
        outcome = self.l3ctl("backup", str(BACKUP), "--json")
        self.assertEqual(json.loads(outcome.out), {"done": f"backup: 15019 bytes written to {BACKUP}", "id": None,
                                                   "failed": [], "failed_rules": [], "messages": []})

    def test_without_a_stored_file(self):
        self.assert_outcome(self.l3ctl("backup", str(BACKUP)), 1, "",
                            "l3ctl: /ztcfg/l3_advance.dat: cannot be read: No such file or directory\n")
        self.assertEqual((os.listdir("/ztcfg"), os.listdir(BACKUP.parent)), ([], []))

    def test_a_torn_file_needs_force(self):
        CONFIGURATION.write_bytes(SAMPLE[:9000])
        BACKUP.write_bytes(b"the good one")
        outcome = self.l3ctl("backup", str(BACKUP))
        self.assertEqual((outcome.status, outcome.out), (3, ""))
        self.assertIn("l3ctl: torn: byte 9000, the file: short: 9000 of 15019 bytes", outcome.err)
        self.assertTrue(outcome.err.endswith("l3ctl: no backup was made; --force makes one all the same\n"))
        self.assertEqual(BACKUP.read_bytes(), b"the good one")
        self.assertEqual(self.l3ctl("backup", "--force", str(BACKUP)).status, 0)
        self.assertEqual(BACKUP.read_bytes(), SAMPLE[:9000])

    def test_what_is_only_implausible_is_told_and_copied(self):
        self.store(w4624=7)
        outcome = self.l3ctl("backup", str(BACKUP))
        self.assertEqual(outcome.status, 0)
        self.assertIn("l3ctl: implausible: byte 4655, fw_rules_table.url_filter.url_filter_ctrl: 7, taken as on\n",
                      outcome.err)

    def test_targets_that_must_not_be_replaced(self):
        self.store()
        os.mkdir("/tmp/folder")
        for target, status, why in (("/dev/null", 2, "is a character device, not a regular file; nothing was changed"),
                                    ("/tmp/folder", 2, "is a directory, not a regular file; nothing was changed"),
                                    (str(CONFIGURATION), 2, "is the stored file itself; nothing was changed"),
                                    ("/tmp/missing/x", 1, "cannot be written: No such file or directory")):
            self.assert_outcome(self.l3ctl("backup", target), status, "", f"l3ctl: {target}: {why}\n")
        os.rmdir("/tmp/folder")
        self.assertTrue(Path("/dev/null").is_char_device())

    def test_a_link_stays_a_link(self):
        self.store()
        BACKUP.write_bytes(b"")
        link = BACKUP.parent / "link"
        link.symlink_to(BACKUP)
        self.assertEqual(self.l3ctl("backup", str(link)).status, 0)
        self.assertTrue(link.is_symlink())
        self.assertEqual(BACKUP.read_bytes(), configuration())


class Restore(Copies):
    def restore(self, data, *options):
        BACKUP.write_bytes(data)
        return self.l3ctl("restore", str(BACKUP), *options)

    def test_a_file_that_is_none_is_told_of_briefly(self):
        self.store()
        lines = self.restore(b"[]" * 5000).err.splitlines()
        self.assertEqual(len(lines), 7, lines)
        self.assertRegex(lines[5], f'^l3ctl: and [0-9]+ more; "l3ctl inspect {BACKUP} --all" tells them$')
        self.assertIn("torn or implausible; nothing was changed", lines[6])
        self.assertNotIn("what to do", "".join(lines))

    def test_the_rules_follow(self):
        self.store()
        outcome = self.restore(SAMPLE)
        self.assertEqual((outcome.status, outcome.out),
                         (0, "restore: the file is in place, and the rules follow it\n"))
        self.assertEqual(CONFIGURATION.read_bytes(), SAMPLE)
        self.assertEqual(CONFIGURATION.stat().st_mode & 0o777, 0o600)
        commands = self.commands()
        self.assertEqual(commands[:len(FLUSH + FLUSH6)], FLUSH + FLUSH6)
        for line in ("iptables -A forward_ext_us_ip -p tcp -s 192.168.1.10 -d 203.0.113.80 --dport 80:88 -j DROP",
                     "iptables -A forward_ext_ds_ip -j DROP", "iptables -A input_ext_dhcp -j DROP",
                     "ip6tables-save -t filter", IPSEC[0].format("D"), IPSEC[1].format("D")):
            self.assertIn(line, commands)
        self.assertNotIn(IPSEC[0].format("A"), commands)
        self.assertEqual(Path("/run/l3_advance/vpn_driver").read_text(), "47 1\n")
        self.assertEqual(Path("/run/l3_advance/route_qos").read_bytes(), SAMPLE[QOS:QOS + 248])

    def test_back_to_what_was_before(self):
        self.store(firewall=False, w4632=0)
        self.assertEqual(self.l3ctl("backup", str(BACKUP)).status, 0)
        self.assertEqual(self.l3ctl("restore", "-", stdin=SAMPLE).status, 0)
        self.commands()
        outcome = self.l3ctl("restore", str(BACKUP))
        self.assertEqual(outcome.status, 0)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(w4632=0))
        self.assertEqual(self.commands(), FLUSH + FLUSH6 + [line.format(verb) for verb in "DA" for line in IPSEC] +
                         SAVES[:1])
        self.assertEqual(Path("/run/l3_advance/vpn_driver").read_text(), "47 0\n")

    def test_rules_that_were_not_there_to_be_removed_are_no_errors(self):
        removals = [line.format("D") for line in IPSEC]
        for way in (["--one-by-one"], []):
            self.way = way
            self.store(firewall=True, w4632=0)
            self.refuse(*removals, *(line.replace(" -D ", " -C ") for line in removals))
            self.assert_outcome(self.restore(configuration()), 0,
                                "restore: the file is in place, and the rules follow it\n")

    def test_the_other_byte_order_is_converted(self):
        outcome = self.restore(SAMPLE_OTHER.read_bytes(), "--file-only")
        self.assert_outcome(outcome, 0, "restore: the file is in place; its rules come with the next start\n",
                            f"l3ctl: note: {BACKUP} is {OTHER_ORDER}-endian and is converted; the platform's own bytes in "
                            "route_qos (reserved2) stay as they are\n")
        self.assertEqual(CONFIGURATION.read_bytes(), SAMPLE)
        self.assertEqual(self.commands(), [])

    def test_what_is_torn_or_implausible_needs_force(self):
        self.store(firewall=True)
        BACKUP.write_bytes(SAMPLE)
        implausible = bytearray(SAMPLE)
        implausible[FW + 12:FW + 16] = word(42)
        for data, told in ((SAMPLE[:9000], "torn: byte 9000, the file: short"), (b"", "torn: byte 0, the file: is"),
                           (SAMPLE + b"x", "implausible: byte 15019, the file: 1 bytes behind"),
                           (bytes(implausible), "implausible: byte 35, ip_filter.rules[0].protocol: 42 is not")):
            outcome = self.restore(data)
            self.assertEqual((outcome.status, outcome.out), (2, ""))
            self.assertIn(f"l3ctl: {told}", outcome.err)
            self.assertTrue(outcome.err.endswith(
                f"l3ctl: {BACKUP}: torn or implausible; nothing was changed, --force restores it all the same\n"))
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(True))
        self.assertEqual(self.commands(), [])

    def test_by_force_it_becomes_whole(self):
        self.store()
        self.assertEqual(self.restore(SAMPLE[:9000], "--force", "--file-only").status, 0)
        self.assertEqual(CONFIGURATION.read_bytes(), SAMPLE[:9000] + bytes(15019 - 9000))
        self.assertEqual(self.restore(b"\0" * 19 + SAMPLE[19:] + b"x", "--force", "--file-only").status, 0)
        self.assertEqual(CONFIGURATION.read_bytes(), b"vpn_pass_through=0\n" + SAMPLE[19:])

    def test_what_cannot_be_read(self):
        self.store()
        self.assert_outcome(self.l3ctl("restore", "/tmp/missing"), 2, "",
                            "l3ctl: /tmp/missing: No such file or directory; nothing was changed\n")
        outcome = self.l3ctl("restore", "-", stdin=bytes(70000))
        self.assert_outcome(outcome, 2, "", "l3ctl: standard input: more than 65536 bytes; nothing was changed\n")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_the_lock_is_waited_for(self):
        self.store()
        BACKUP.write_bytes(SAMPLE)
        with subprocess.Popen(["flock", "/run/l3ctl.lock", "cat"], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE) as holder:
            # What comes back through the holder proves that it holds the lock.
            holder.stdin.write(b"x\n")
            holder.stdin.flush()
            holder.stdout.readline()
            for command in ("backup", "restore"):
                outcome = self.l3ctl("--lock-timeout", "0", command, str(BACKUP))
                self.assertEqual((outcome.status, outcome.out), (5, ""), command)
                self.assertIn("cannot lock /run/l3ctl.lock: another l3ctl is changing settings; ", outcome.err)
        self.assertEqual(BACKUP.read_bytes(), SAMPLE)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())


if __name__ == "__main__":
    unittest.main()
