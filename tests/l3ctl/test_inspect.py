"""l3ctl inspect: every field with its offset, torn and implausible files, hostile sizes; nothing is changed."""
import json
import os
import random
import unittest
from pathlib import Path

from gateway import BYTE_ORDER, CONFIGURATION, FW, OTHER_ORDER, Gateway, word

DATA = Path(__file__).parent.parent / "data"
SAMPLE = (DATA / f"golden-sample-{BYTE_ORDER}-endian.dat").read_bytes()
FRESH = (DATA / f"golden-fresh-{BYTE_ORDER}-endian.dat").read_bytes()
SAMPLE_OTHER = DATA / f"golden-sample-{OTHER_ORDER}-endian.dat"
FILE = Path("/tmp/inspected")


class Inspect(Gateway):
    def inspect(self, data, *options):
        FILE.write_bytes(data)
        outcome = self.l3ctl("inspect", str(FILE), *options)
        self.assertEqual(FILE.read_bytes(), data)
        self.assertEqual(outcome.err, "")
        self.assert_untouched()
        return outcome

    def findings(self, data):
        """The text behind the fields, and the status."""
        outcome = self.inspect(data)
        return outcome.status, outcome.out.split("\n\n", 2)[2]

    def test_a_sample(self):
        outcome = self.inspect(SAMPLE)
        self.assertEqual(outcome.status, 0)
        for line in (
                "file        /tmp/inspected, 15019 bytes\n", f"byte order  {BYTE_ORDER}-endian, as this machine\n",
                f'    19       -  {"fire_wall":56}{"on":24}{b"fire_wall=1".hex()}0a\n',
                f'    63      32  {"fw_rules_table.ip_filter.entries[0].src_ip":56}{"192.168.1.10":24}{word(0xC0A8010A).hex()}\n',
                f'  2459    2428  {"fw_rules_table.url_filter.entries[0].url":56}{chr(34)}ads.example.com{chr(34)}',
                f'  6447       0  {"fw6_rules_table.ip_filter.count":56}{"1":24}{word(1).hex()}\n',
                "\nnothing is torn or implausible\n"):
            self.assertIn(line, outcome.out)
        self.assertNotIn("url_filter.entries[2]", outcome.out)

    def test_all_fields_as_json_cover_the_file(self):
        result = json.loads(self.inspect(SAMPLE, "--all", "--json").out)
        self.assertEqual((result["size"], result["byte_order"], result["plausible"], result["findings"]),
                         (15019, f"{BYTE_ORDER}-endian", True, []))
        end = 0
        for field in result["fields"]:
            self.assertEqual(field["offset"], end)
            end += field["size"]
            self.assertEqual(bytes.fromhex(field["bytes"]), SAMPLE[field["offset"]:end])
        self.assertEqual(end, 15019)

    def test_both_byte_orders_have_the_same_values(self):
        values = []
        for data in (SAMPLE, SAMPLE_OTHER.read_bytes()):
            result = json.loads(self.inspect(data, "--json").out)
            values.append([(field["field"], field["value"]) for field in result["fields"]])
        self.assertEqual(result["byte_order"], f"{OTHER_ORDER}-endian")
        self.assertEqual(values[0], values[1])

    def test_the_stored_file_is_meant_unless_another_is_named(self):
        self.store(firewall=True)
        self.assertIn("file        /ztcfg/l3_advance.dat, 15019 bytes\n", self.l3ctl("inspect").out)
        CONFIGURATION.write_bytes(SAMPLE_OTHER.read_bytes())
        outcome = self.l3ctl("inspect")
        self.assertEqual(outcome.status, 3)
        self.assertIn(f"\n\nimplausible: byte 0, the file: was written by a {OTHER_ORDER}-endian host: ", outcome.out)

    def test_what_to_do_is_told_of_the_stored_file_alone(self):
        torn = FRESH[:6447]
        status, text = self.findings(torn)
        self.assertEqual((status, text.count("torn: "), text.count("\n")), (3, 1, 1))
        self.assertEqual([finding["advice"] for finding in json.loads(self.inspect(torn, "--json").out)["findings"]],
                         [None])
        self.assertNotIn("what to do", self.l3ctl("inspect", "-", stdin=torn).out)
        CONFIGURATION.write_bytes(torn)
        for name in ([], ["/ztcfg/../ztcfg/l3_advance.dat"]):
            self.assertIn("\n  what to do: put a backup back", self.l3ctl("inspect", *name).out)
            findings = json.loads(self.l3ctl("--json", "inspect", *name).out)["findings"]
            self.assertTrue(findings[0]["advice"].startswith("put a backup back"), findings)

    def test_standard_input(self):
        outcome = self.l3ctl("inspect", "-", stdin=SAMPLE)
        self.assertEqual((outcome.status, outcome.err), (0, ""))

    def test_nothing_speaks_for_an_order(self):
        self.assertIn(f"byte order  cannot be told; taken as {BYTE_ORDER}-endian\n",
                      self.inspect(b"vpn_pass_through=0\nfire_wall=0\n" + bytes(14988)).out)

    # The kinds of torn files that docs/reliability.md names, each made of two whole files.

    def test_short_file(self):
        self.assertEqual(self.findings(FRESH[:6447]), (
            3, "torn: byte 6447, the file: short: 6447 of 15019 bytes, as a creation leaves it that was cut; the "
               "last part is RtQoSRulesTable.rules; missing, and read as zero: fw6_rules_table\n"))
        self.assertEqual(self.findings(b""), (
            3, "torn: byte 0, the file: is empty: a creation was cut before its first write\n"))

    def test_shifted_records(self):
        self.assertEqual(self.findings(FRESH[:5] + FRESH[17:]), (
            3, "torn: byte 31, the records: lie 12 bytes too early: a creation whose two lines came out short left "
               "them shifted\n"))

    def test_a_line_that_came_out_short(self):
        status, text = self.findings(SAMPLE[:17] + b"\0\0" + SAMPLE[19:])
        self.assertEqual(status, 3)
        self.assertIn('the line of VPN pass-through: reads "vpn_pass_through=\\u0000\\u0000"; it counts as off\n',
                      text)

    def test_cut_section(self):
        for new, old, text in (
                # The count of the new, empty list, and the entries of the old one.
                (FRESH, SAMPLE, "torn: byte 2451, fw_rules_table.url_filter.entries[0]: 2 entries not empty "
                                   "behind the count of 0: a section begins new and ends old where a write was cut\n"),
                # The other way round: the count is there, its entries are not.
                (SAMPLE, FRESH, "torn: byte 2451, fw_rules_table.url_filter.entries[0]: is in use by the count, "
                                   "but empty: a section begins new and ends old where a write was cut\n")):
            cut = FW + 2416 + 4
            url_filter = slice(FW + 2416, FW + 4628)
            torn = bytearray(old)
            torn[url_filter] = (new[:cut] + old[cut:])[url_filter]
            status, found = self.findings(bytes(torn))
            self.assertEqual(status, 3)
            self.assertIn(text, found)

    def test_some_sections(self):
        self.assertEqual(self.findings(SAMPLE[:FW + 6164] + word(1) + SAMPLE[FW + 6168:])[0], 3)
        # Whole sections of two plausible files: nothing distinguishes them from valid settings.
        self.assertEqual(self.findings(SAMPLE[:FW + 2416] + FRESH[FW + 2416:FW + 4628] + SAMPLE[FW + 4628:]),
                         (0, "nothing is torn or implausible\n"))

    # Hostile files.

    def test_values_that_are_no_text(self):
        name = b"\x1b[2J\x07$(id)\xff\n"
        status, text = self.findings(SAMPLE[:FW + 2428] + name.ljust(32, b"\0") + SAMPLE[FW + 2460:])
        self.assertEqual(status, 3)
        self.assertIn('url_filter.entries[0].host: "\\u001b[2J\\u0007$(id)\\ufffd\\n" is not allowed', text)

    def test_random_bytes(self):
        source = random.Random(7)
        for size in (1, 31, 4000, 15019, 20000):
            outcome = self.inspect(source.randbytes(size))
            self.assertEqual(outcome.status, 3)
            self.assertTrue(all(c == "\n" or " " <= c <= "~" for c in outcome.out))

    def test_what_is_no_file(self):
        os.mkfifo("/tmp/pipe")
        for path, why in (("/tmp/missing", "cannot be read: No such file or directory"),
                          ("/tmp", "is a directory, not a regular file"),
                          ("/dev/zero", "is a character device, not a regular file"),
                          ("/tmp/pipe", "is a named pipe, not a regular file")):
            self.assert_outcome(self.l3ctl("inspect", path), 1, "", f"l3ctl: {path}: {why}\n")
        os.unlink("/tmp/pipe")
        self.assert_outcome(self.l3ctl("inspect"), 1, "",
                            "l3ctl: /ztcfg/l3_advance.dat: cannot be read: No such file or directory\n")
        self.assertEqual(self.l3ctl("inspect", "--frobnicate").status, 2)
        self.assert_untouched()


if __name__ == "__main__":
    unittest.main()
