"""Time spans in local time: conversion, the shift at a change of the offset, and what stands in its way."""
import json
import os
import shutil
import unittest
from pathlib import Path

from clock_case import SUMMER, WINTER, ZONE_FILE, ClockCase
from gateway import CONFIGURATION, configuration
from test_backup import BACKUP

FULL = os.environ.get("L3_TEST_FULL") == "yes"
ZONES = ["Europe/Berlin", "America/St_Johns", "Africa/Casablanca", "Europe/Dublin", "Australia/Lord_Howe", "Asia/Kathmandu",
         "Pacific/Chatham", "CET-1CEST,M3.5.0,M10.5.0/3", "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0"]
SPANS = ["20:30-24:00", "22:00-06:00", "00:00-00:30", "all day", "12:00-11:59"]
LISTS = {
    "firewall": {"enabled": True},
    "url_filter": {"enabled": True, "entries": [{"host": "a.example", "active": "08:00-21:30"}]},
    "mac_filter": {"enabled": True, "devices": [
        {"mac": f"02:00:00:00:00:{i:02}", "active": span} for i, span in enumerate(SPANS, 1)]},
    "mac6_filter": {"enabled": True, "devices": [{"mac": "02:00:00:00:00:01", "active": "23:00-01:00", "enabled": False}]},
}
LOCAL = ["08:00-21:30", *SPANS, "23:00-01:00"]


class Clock(ClockCase):
    def in_berlin(self):
        self.set({"time_zone": "Europe/Berlin", **LISTS})

    def test_rules_are_in_utc_and_words_in_local_time(self):
        self.in_berlin()
        made = "\n".join(self.rules().values())
        for span in ("--timestart 7:0 --timestop 20:30", "--timestart 19:30 --timestop 23:0", "--timestart 21:0 --timestop 5:0",
                     "--timestart 0:0 --timestop 23:59"):
            self.assertIn(span, made)
        self.assertEqual(json.loads(ZONE_FILE.read_text()), {"time_zone": "Europe/Berlin", "offset_minutes": 60})
        self.assertEqual(ZONE_FILE.stat().st_mode & 0o777, 0o600)
        self.assertEqual((self.export()["time_zone"], self.spans()), ("Europe/Berlin", LOCAL))
        self.assertEqual(self.export("--utc")["time_zone"], "UTC")
        self.assertEqual(self.spans("--utc")[:3], ["07:00-20:30", "19:30-23:00", "21:00-05:00"])
        self.assertRegex(self.done("show"), r"time_zone +Europe/Berlin\n")
        self.assertRegex(self.done("mac-filter", "list"), r"(?s)20:30-24:00.*time_zone|time_zone.*20:30-24:00")
        self.assertIn("19:30-23:00", self.done("mac-filter", "list", "--utc"))
        self.assertEqual(json.loads(self.done("url-filter", "list", "--json"))["time_zone"], "Europe/Berlin")
        drawn = self.done("rules")
        for words in ("name a.example 08:00-21:30 (07:00-20:30 UTC) in br0", "mac 02:00:00:00:00:01 20:30-24:00 (19:30-23:00 UTC) in br0",
                      "mac 02:00:00:00:00:04 00:00-23:59 UTC in br0"):
            self.assertIn(words, drawn)
            self.assertIn(words, self.done("rules", "--json"))
        live = Path("/tmp/rules.iptables.filter")
        rules = live.read_text()
        live.write_text("".join(line + "\n" for line in rules.splitlines() if "00:00:00:01" not in line))
        self.assertIn("missing: DROP mac 02:00:00:00:00:01 20:30-24:00 (19:30-23:00 UTC) in br0 (mac_filter.devices[0])\n",
                      self.done("check", status=3))
        live.write_text(rules)
        self.done("mac-filter", "add", "02:00:00:00:00:09", "active=00:15-01:15", "--ipv4")
        self.assertIn("--timestart 23:15 --timestop 0:15", self.rules()["rules.iptables.filter"])

    def test_an_export_says_what_is_stored_in_every_zone_and_on_both_sides_of_a_change(self):
        for zone in ZONES if FULL else ZONES[::3]:
            with self.subTest(zone):
                self.moment = WINTER
                self.set({"time_zone": zone, **LISTS})
                exported = self.done("export")
                for self.moment in (WINTER, SUMMER):
                    self.done("diff", "-", stdin=exported)
                    self.assertIn("applied: nothing", self.done("apply", "-", stdin=exported))
                self.done("clock")
                self.assertEqual(self.done("export"), exported)
                self.assertIn("applied: nothing", self.done("apply", "-", stdin=exported))
                self.assertEqual(self.spans(), LOCAL)

    def test_every_span_follows_a_change_of_the_offset(self):
        self.in_berlin()
        before = CONFIGURATION.read_bytes()
        self.assertRegex(self.done("clock"), r"^clock: time spans follow Europe/Berlin \(UTC\+01:00\); "
                         r"next change 2026-03-29 03:00 \(UTC\+02:00\)\n$")
        self.assertEqual(CONFIGURATION.read_bytes(), before)
        self.moment = SUMMER
        self.assertEqual(self.spans(), LOCAL)
        self.assertTrue(json.loads(self.done("status", "--json"))["time_zone"]["shift_due"])
        self.commands()
        self.assertRegex(self.done("clock"), r"^clock: time spans shifted from UTC\+01:00 to UTC\+02:00; next change 2026-10-25")
        self.assertIn("--timestart 18:30 --timestop 22:0 ", self.rules()["rules.iptables.filter"])
        self.assertEqual(self.spans(), LOCAL)
        self.assertEqual(self.spans("--utc"), ["06:00-19:30", "18:30-22:00", "20:00-04:00", "22:00-22:30", "all day",
                                               "10:00-09:59", "21:00-23:00"])
        self.commands()
        after = CONFIGURATION.read_bytes()
        self.assertFalse(json.loads(self.done("clock", "--json"))["shifted"])
        self.assertEqual((self.commands(), CONFIGURATION.read_bytes()), ([], after))
        self.moment = WINTER
        self.done("clock")
        self.assertEqual(CONFIGURATION.read_bytes(), before)

    def test_a_dry_run_shifts_nothing(self):
        self.in_berlin()
        before = {path: path.read_bytes() for path in Path("/ztcfg").iterdir()}
        self.assertEqual(self.done("clock", "--dry-run"), "nothing to do\n")
        self.moment = SUMMER
        self.commands()
        plan = json.loads(self.done("clock", "--dry-run", "--json", status=2))
        self.assertTrue(any("--timestart 18:30 --timestop 22:0 " in step.get("line", "") for step in plan["steps"]), plan)
        self.assertEqual([line for line in self.commands() if "-save" not in line], [])
        self.assertEqual({path: path.read_bytes() for path in Path("/ztcfg").iterdir()}, before)
        self.assertIn("shifted from UTC+01:00", self.done("clock"))

    def test_only_lists_with_spans_are_made_anew(self):
        self.set({"time_zone": "Europe/Berlin", **LISTS, "acl": {"enabled": True, "entries": []},
                  "mac6_filter": {"enabled": True, "devices": [{"mac": "02:00:00:00:00:01"}]}})
        self.moment, self.way = SUMMER, ("--one-by-one",)
        self.commands()
        self.done("clock")
        chains = {word for line in self.commands() for word in line.split() if word.startswith(("forward_ext", "input_ext"))}
        self.assertEqual(chains, {"forward_ext_url", "forward_ext_mac"})

    def test_a_start_shifts_the_spans(self):
        self.in_berlin()
        for name in ("firewall.conf", "firewall6.conf"):
            Path("/ztcfg", name).touch()
        self.moment = SUMMER
        self.done("init")
        self.assertEqual(json.loads(ZONE_FILE.read_text())["offset_minutes"], 120)
        self.assertEqual(self.spans("--utc")[0], "06:00-19:30")

    def test_without_a_zone_everything_is_in_utc(self):
        self.set(LISTS)
        self.assertFalse(ZONE_FILE.exists())
        self.assertNotIn("time_zone", self.export("--utc"))
        self.assertEqual(self.spans(), LOCAL)
        self.assertEqual(self.done("clock"), "clock: no time_zone is set, so time spans are in UTC\n")
        self.assertIsNone(json.loads(self.done("status", "--json"))["time_zone"])
        self.assertNotIn("local_time", self.done("status"))

    def test_a_zone_alone_leaves_the_rules_as_they_are(self):
        self.set(LISTS)
        rules = self.rules()
        self.assertEqual(self.done("diff", "-", stdin='{"time_zone": "Asia/Kolkata"}', status=2),
                         'time_zone: "UTC" -> "Asia/Kolkata"\n')
        self.set({"time_zone": "Asia/Kolkata"})
        self.assertEqual(self.rules(), rules)
        self.assertEqual(self.spans()[:2], ["13:30-03:00", "02:00-05:29"])
        self.set({"time_zone": "UTC"})
        self.assertEqual(self.spans(), LOCAL)
        self.assertNotIn("time_zone", self.export())

    def test_what_other_programs_store_is_utc_at_the_stored_offset(self):
        self.in_berlin()
        data = bytearray(CONFIGURATION.read_bytes())
        at = data.index(bytes.fromhex("020000000001")) + 12
        for start, stop in ((7, 24), (0, 25), (30, 8)):
            data[at:at + 4] = bytes((start, stop, 15, 0))
            CONFIGURATION.write_bytes(data)
            with self.subTest((start, stop)):
                if start < 24:
                    self.assertIn("applied: nothing", self.done("apply", "-", stdin=self.done("export")))
                else:
                    self.assertEqual(self.l3ctl("export").status, 1)

    def test_a_verdict_is_about_local_time(self):
        self.in_berlin()
        packet = ["explain", "--from", "lan", "--to", "wan", "--protocol", "udp", "--source", "192.168.1.10",
                  "--destination", "203.0.113.2", "--destination-port", "9", "--mac", "02:00:00:00:00:01", "--time"]
        self.assertIn("dropped by mac_filter.devices[0]", self.done(*packet, "23:59:59"))
        self.assertIn("rests at 20:29 (active 20:30-24:00)", self.done(*packet, "20:29"))
        self.assertIn("must be a local time such as", self.l3ctl(*packet, "25:00").err)

    def test_an_unconfirmed_zone_is_rolled_back(self):
        self.set(LISTS)
        rules, stored = self.rules(), CONFIGURATION.read_bytes()
        self.done("apply", "-", "--confirm", "60", stdin=json.dumps({"time_zone": "Europe/Berlin", **LISTS}))
        self.assertNotEqual(CONFIGURATION.read_bytes(), stored)
        self.assertEqual(self.l3ctl("clock").status, 0)
        self.moment = SUMMER
        self.assertEqual(self.l3ctl("clock").status, 5)
        self.done("confirm", "--revert")
        self.assertEqual((CONFIGURATION.read_bytes(), self.rules()), (stored, rules))
        self.assertNotIn("time_zone", self.export())

    def test_a_backup_brings_its_zone_along(self):
        self.in_berlin()
        BACKUP.parent.mkdir(exist_ok=True)
        self.addCleanup(shutil.rmtree, BACKUP.parent)
        self.done("backup", str(BACKUP))
        beside = Path(f"{BACKUP}.time_zone")
        self.assertEqual(json.loads(beside.read_text()), {"time_zone": "Europe/Berlin", "offset_minutes": 60})
        self.moment = SUMMER
        self.done("reset", "--yes")
        self.assertFalse(ZONE_FILE.exists())
        self.done("restore", str(BACKUP))
        self.assertEqual((self.export()["time_zone"], self.spans()), ("Europe/Berlin", LOCAL))
        self.assertEqual(self.spans("--utc")[0], "06:00-19:30")
        # Without the file the bytes count as they are, at the offset of now, and that is said.
        beside.unlink()
        outcome = self.l3ctl("restore", str(BACKUP))
        self.assertIn("comes without its time zone, so its spans are taken to be at UTC+02:00 (Europe/Berlin)", outcome.err)
        self.assertEqual(self.spans("--utc")[0], "07:00-20:30")
        # A backup without a zone leaves none of an older one beside it.
        beside.write_text('{"time_zone": "Asia/Tokyo", "offset_minutes": 540}')
        self.done("reset", "--yes")
        self.done("backup", str(BACKUP))
        self.assertEqual(json.loads(beside.read_text())["time_zone"], "UTC")
        beside.write_text("{")
        self.assertIn(f"{beside} is damaged", self.l3ctl("restore", str(BACKUP)).err)


class Obstacles(ClockCase):
    def assert_left_alone(self, *arguments, status, words):
        files = {path: path.read_bytes() for path in Path("/ztcfg").iterdir()}
        rules = self.rules()
        outcome = self.l3ctl(*arguments)
        self.assertEqual((outcome.status, outcome.out), (status, ""), outcome.err)
        for part in words:
            self.assertIn(part, outcome.err)
        self.assertEqual({path: path.read_bytes() for path in Path("/ztcfg").iterdir()}, files)
        self.assertEqual(self.rules(), rules)

    def clock_finding(self):
        findings = json.loads(self.l3ctl("doctor", "--json").out)["findings"]
        return next(one for one in findings if one["about"] in ("clock", str(ZONE_FILE)) and one["state"] != "ok")

    def test_what_is_no_zone_is_refused(self):
        self.set(LISTS)
        for zone in ('"Europe/Berlim"', '"CET-1CEST"', '"../Berlin"', "7", '""', "null"):
            Path("/tmp/zone.json").write_text(f'{{"time_zone": {zone}}}')
            self.assert_left_alone("apply", "/tmp/zone.json", status=2,
                                   words=["zone.json:1: time_zone: ", "must be a zone such as \"Europe/Berlin\""])

    def test_a_missing_or_damaged_file_of_the_zone(self):
        folder = Path("/share/zoneinfo/Here")
        folder.mkdir(parents=True)
        self.addCleanup(shutil.rmtree, "/share")
        whole = Path("/usr/share/zoneinfo/Europe/Berlin").read_bytes()
        (folder / "Home").write_bytes(whole)
        self.set({"time_zone": "Here/Home", **LISTS})
        self.moment = SUMMER
        for bytes_now, words in ((None, '"Here/Home" is not known; it must be'), (whole[:-1], "/share/zoneinfo/Here/Home is damaged"),
                                 (b"", "is damaged"), (b"TZif2" + bytes(80), "is damaged")):
            (folder / "Home").unlink(missing_ok=True)
            if bytes_now is not None:
                (folder / "Home").write_bytes(bytes_now)
            with self.subTest(words):
                self.assert_left_alone("clock", status=1, words=[words, "time spans are left as they are"])
                self.assertEqual(self.spans(), LOCAL)
                self.assertIn(words, self.clock_finding()["finding"])
                self.assertIn("applied: nothing", self.done("apply", "-", stdin=self.done("export")))
        (folder / "Home").write_bytes(whole)
        self.assertIn("shifted", self.done("clock"))

    def test_a_damaged_note_of_the_zone(self):
        self.set({"time_zone": "Europe/Berlin", **LISTS})
        self.moment = SUMMER
        for text in ("", "{", "[]", '{"time_zone": "Europe/Berlin"}', '{"time_zone": "", "offset_minutes": 60}',
                     '{"time_zone": "Europe/Berlin", "offset_minutes": 6000}', "x" * 4000):
            ZONE_FILE.write_text(text)
            with self.subTest(text[:40]):
                words = [f"{ZONE_FILE} is damaged"]
                self.assert_left_alone("clock", status=1, words=words)
                self.assert_left_alone("url-filter", "off", status=1, words=[*words, "nothing was changed"])
                outcome = self.l3ctl("show", "mac_filter")
                self.assertEqual((outcome.status, "19:30-23:00" in outcome.out), (0, True))
                self.assertIn(words[0], outcome.err)
                self.assertIn("is damaged", self.clock_finding()["finding"])
        self.done("reset", "--yes")
        self.assertFalse(ZONE_FILE.exists())

    def test_a_clock_that_was_never_set(self):
        self.set({"time_zone": "Europe/Berlin", **LISTS})
        self.moment = 1000
        self.assert_left_alone("clock", status=1, words=["the clock was never set; time spans are left as they are"])
        self.assertIn("was never set", self.clock_finding()["finding"])
        self.assertEqual(self.spans(), LOCAL)
        for name in ("firewall.conf", "firewall6.conf"):
            Path("/ztcfg", name).touch()
        self.assertIn("warning: the clock was never set: time spans are left", self.l3ctl("init").err)
        self.assertEqual(json.loads(ZONE_FILE.read_text())["offset_minutes"], 60)

    def test_an_overdue_shift_is_found(self):
        self.set({"time_zone": "Europe/Berlin", **LISTS})
        self.moment = SUMMER
        finding = self.clock_finding()
        self.assertEqual(finding["finding"], "time spans are still at UTC+01:00, and Europe/Berlin is at UTC+02:00")
        self.assertIn("l3ctl clock", finding["advice"])
        self.assertIn("time spans are still at UTC+01:00", self.done("status"))

    def test_a_refused_rule_leaves_everything_as_it_was(self):
        self.set({"time_zone": "Europe/Berlin", **LISTS})
        self.moment = SUMMER
        stored, rules, note = CONFIGURATION.read_bytes(), self.rules(), ZONE_FILE.read_bytes()
        refused = next(line for line in rules["rules.iptables.filter"].splitlines() if "--timestart 19:30" in line)
        self.refuse("iptables " + refused.replace("19:30", "18:30").replace("23:0 ", "22:0 "))
        self.assertEqual(self.l3ctl("clock").status, 3)
        self.assertEqual((CONFIGURATION.read_bytes(), self.rules(), ZONE_FILE.read_bytes()), (stored, rules, note))


if __name__ == "__main__":
    unittest.main()
