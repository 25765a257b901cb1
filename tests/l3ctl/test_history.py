"""l3ctl history and undo: what was changed, by whom and how, and the way back."""
import json
import stat
import subprocess
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, Gateway, configuration

HISTORY = Path("/ztcfg/l3ctl.history")
WHO = ("--who", "Anna")


class History(Gateway):
    def setUp(self):
        super().setUp()
        self.store(firewall=True)

    def history(self, *arguments):
        return json.loads(self.l3ctl("history", "--json", *arguments).out)["changes"]

    def add(self, host):
        outcome = self.l3ctl("url-filter", "add", host, "--json", *WHO)
        self.assertEqual(outcome.status, 0, outcome.err)
        return json.loads(outcome.out)["id"]

    def hosts(self):
        settings = json.loads(self.l3ctl("export").out)
        return [entry["host"] for entry in settings["url_filter"]["entries"]]

    def test_each_change_is_noted(self):
        identity = self.add("a.example.com")
        self.assertRegex(identity, "^[0-9a-f]{16}$")
        self.assertEqual(self.l3ctl("ipsec", "off").status, 0)
        last, first = self.history()
        self.assertEqual((first["id"], first["who"], first["origin"], first["rolled_back"]), (identity, "Anna", "l3ctl", None))
        self.assertEqual(first["command"], "--one-by-one url-filter add a.example.com --json --who Anna")
        self.assertEqual(first["fields"], [{"path": "url_filter.entries[0]", "old": None,
                                            "new": {"host": "a.example.com", "active": "all day"}}])
        self.assertEqual([last["number"], first["number"]], [1, 2])
        self.assertEqual(last["fields"], [{"path": "ipsec_pass_through", "old": True, "new": False}])
        self.assertEqual(self.history("2"), [first])
        self.assertEqual(stat.S_IMODE(HISTORY.stat().st_mode), 0o600)

    def test_spans_are_in_the_zone_of_the_settings(self):
        self.assertEqual(self.apply('{"time_zone": "CET-1"}').status, 0)
        self.assertEqual(self.l3ctl("url-filter", "add", "a.example.com", "active=22:00-06:00").status, 0)
        last, zone = self.history()
        self.assertEqual(last["fields"][0]["new"], {"host": "a.example.com", "active": "22:00-06:00"})
        self.assertEqual(zone["fields"], [{"path": "time_zone", "old": "UTC", "new": "CET-1"}])

    def test_as_text(self):
        self.assert_outcome(self.l3ctl("history"), 0, "no changes yet\n")
        identity = self.add("a.example.com")
        text = self.l3ctl("history").out
        self.assertRegex(text, rf"^1  \d{{4}}-\d\d-\d\dT\d\d:\d\d:\d\dZ  {identity}  Anna by l3ctl: --one-by-one url-filter add ")
        self.assertIn('\n   + url_filter.entries[0]: {"host":"a.example.com","active":"all day"}\n', text)

    def test_who_and_origin(self):
        for arguments, environment, who, origin in (
                ((), {}, "user 0", "l3ctl"), ((), {"USER": "root"}, "root", "l3ctl"),
                ((), {"USER": "root", "SUDO_USER": "otto"}, "otto", "l3ctl"),
                (("--who", "Ann\x1b[31m", "--origin", "console"), {"USER": "root"}, "Ann\x1b[31m", "console")):
            before = len(self.history())
            subprocess.run([L3CTL, "ipsec", "off" if before % 2 == 0 else "on", *arguments], check=True, capture_output=True,
                           env={**self.environment(), **environment})
            last = self.history("1")[0]
            self.assertEqual((last["who"], last["origin"]), (who, origin))
        self.assertIn("Ann\\x1b[31m by console", self.l3ctl("history", "1").out)
        self.assertNotIn("\x1b", self.l3ctl("history").out)

    def test_what_changes_nothing_is_not_noted(self):
        self.add("a.example.com")
        before = HISTORY.read_bytes()
        for arguments in (["ipsec", "on"], ["status"], ["wan", "clear"], ["url-filter", "delete", "b.example.com"],
                          ["access", "telnet", "block"], ["check"], ["ipsec", "off", "--dry-run"]):
            self.l3ctl(*arguments)
            self.assertEqual(HISTORY.read_bytes(), before, arguments)
        plan = json.loads(self.l3ctl("ipsec", "off", "--dry-run", "--json").out)
        self.refuse(*(step["line"] for step in plan["steps"] if "-save" not in step["line"]))
        outcome = self.l3ctl("ipsec", "off", "--json")
        self.assertEqual(outcome.status, 3, outcome.err)
        self.assertNotIn("id", json.loads(outcome.out))
        self.assertEqual(HISTORY.read_bytes(), before)

    def test_undo_brings_back_the_bytes_and_can_be_undone(self):
        self.add("a.example.com")
        before = CONFIGURATION.read_bytes()
        identity = self.add("b.example.com")
        after = CONFIGURATION.read_bytes()
        outcome = self.l3ctl("undo", "--json")
        self.assertEqual(outcome.status, 0, outcome.err)
        done = json.loads(outcome.out)
        self.assertEqual((done["undone"], [field["path"] for field in done["fields"]]),
                         (identity, ["url_filter.entries[1]"]))
        self.assertEqual(CONFIGURATION.read_bytes(), before)
        self.assertEqual(self.l3ctl("undo").status, 0)
        self.assertEqual(CONFIGURATION.read_bytes(), after)
        self.assertEqual(len(self.history()), 4)

    def test_undo_goes_back_to_before_a_number(self):
        first = CONFIGURATION.read_bytes()
        for host in ("a", "b", "c"):
            self.add(host + ".example.com")
        self.l3ctl("ipsec", "off")
        self.assertEqual(self.l3ctl("undo", "3").status, 0)
        self.assertEqual(self.hosts(), ["a.example.com"])
        self.assertTrue(json.loads(self.l3ctl("export").out)["ipsec_pass_through"])
        self.assertEqual(self.l3ctl("undo", "5").status, 0)
        self.assertEqual(CONFIGURATION.read_bytes(), first)

    def test_undo_goes_back_to_before_a_change_by_its_id(self):
        """A number would name another change where one comes in between."""
        self.add("a.example.com")
        before = CONFIGURATION.read_bytes()
        identity = self.add("b.example.com")
        self.add("c.example.com")
        outcome = self.l3ctl("undo", identity, "--json")
        self.assertEqual((outcome.status, json.loads(outcome.out)["undone"]), (0, identity), outcome.err)
        self.assertEqual(CONFIGURATION.read_bytes(), before)
        self.assert_outcome(self.l3ctl("undo", "0123456789abcdef"), 2, "",
                            "l3ctl: undo: there is no change 0123456789abcdef\n")  # fmt: skip
        for wrong in ("x", "-1", "1.5", "01", "1000000", identity[:-1], identity + "0", "ABCDEF0123456789"):
            self.assertEqual(self.l3ctl("undo", wrong).status, 2, wrong)
        self.assertEqual(CONFIGURATION.read_bytes(), before)

    def test_undo_leaves_other_sections_alone(self):
        self.add("a.example.com")
        # As another program does it, which notes nothing.
        stored = bytearray(CONFIGURATION.read_bytes())
        stored[0:19] = b"vpn_pass_through=1\n"
        CONFIGURATION.write_bytes(stored)
        self.assertEqual(self.l3ctl("undo").status, 0)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True, vpn=True))

    def test_undo_of_nothing(self):
        self.assert_outcome(self.l3ctl("undo"), 2, "", "l3ctl: undo: there is no change 1; there is none yet\n")
        self.add("a.example.com")
        self.assert_outcome(self.l3ctl("undo", "2"), 2, "", "l3ctl: undo: there is no change 2; the oldest is 1\n")
        self.assertEqual(self.l3ctl("undo", "0").status, 2)

    def test_a_dry_run_of_undo(self):
        self.add("a.example.com")
        stored = CONFIGURATION.read_bytes(), HISTORY.read_bytes()
        outcome = self.l3ctl("undo", "--dry-run")
        self.assertEqual(outcome.status, 2, outcome.err)
        self.assertIn('- url_filter.entries[0]: {"host":"a.example.com"', outcome.out)
        self.assertEqual((CONFIGURATION.read_bytes(), HISTORY.read_bytes()), stored)

    def test_restore_and_reset_are_undone(self):
        self.add("a.example.com")
        before = CONFIGURATION.read_bytes()
        Path("/tmp/backup.dat").write_bytes(configuration())
        for change in (["reset", "--yes"], ["restore", "/tmp/backup.dat"]):
            self.assertEqual(self.l3ctl(*change).status, 0, change)
            self.assertNotEqual(CONFIGURATION.read_bytes(), before)
            outcome = self.l3ctl("undo")
            self.assertEqual(outcome.status, 0, outcome.err)
            self.assertEqual(CONFIGURATION.read_bytes(), before)

    def test_twenty_are_kept(self):
        for i in range(23):
            self.l3ctl("ipsec", "off" if i % 2 == 0 else "on", "--who", str(i))
        self.assertEqual([one["who"] for one in self.history()], [str(i) for i in range(22, 2, -1)])

    def test_long_words_are_cut(self):
        self.l3ctl("ipsec", "off", "--who", "x" * 5000)
        self.assertEqual(self.history()[0]["who"], "x" * 200 + "...")

    def test_a_damaged_history(self):
        first, second = self.add("a.example.com"), self.add("b.example.com")
        whole = HISTORY.read_bytes()
        lines = whole.splitlines(keepends=True)
        for damaged, left, words in (
                (lines[0] + lines[1][:-30], [first], "1 line cannot"), (b"\0" * 100 + b"\n" + lines[1], [second], "1 line cannot"),
                (lines[0].replace(b'"a.example.com"', b'"a b"') + lines[1], [second], "1 line cannot"),
                (b"{}\n{\"id\":3}\n", [], "2 lines cannot"), (b"", [], None)):
            HISTORY.write_bytes(damaged)
            outcome = self.l3ctl("history", "--json")
            self.assertEqual([one["id"] for one in json.loads(outcome.out)["changes"]], left)
            self.assertEqual(outcome.err, "" if words is None else
                             f"l3ctl: warning: /ztcfg/l3ctl.history is damaged: {words} be read\n")
        HISTORY.write_bytes(lines[0] + lines[1][:-30])
        self.assertEqual(self.l3ctl("ipsec", "off").status, 0)
        self.assertEqual(self.history()[1]["id"], first)

    def test_a_history_that_cannot_be_written_fails_no_change(self):
        HISTORY.mkdir()
        outcome = self.l3ctl("ipsec", "off")
        self.assertEqual((outcome.status, outcome.out), (0, "ipsec: off\n"))
        self.assertRegex(outcome.err, r"^l3ctl: warning: /ztcfg/l3ctl\.history: .*; the change is not in the history\n$")
        self.assertEqual(self.l3ctl("history").status, 1)
        HISTORY.rmdir()
        self.assertEqual(self.l3ctl("ipsec", "on").status, 0)
        self.assertEqual(len(self.history()), 1)

    def test_two_writers(self):
        self.l3ctl("url-filter", "on")
        HISTORY.unlink()
        running = [subprocess.Popen([L3CTL, "url-filter", "add", f"h{i}.example.com"], env=self.environment(),
                                    stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) for i in range(6)]
        said = [(one.communicate()[1], one.returncode) for one in running]
        for words, status in said:
            self.assertEqual((words.replace(b"l3ctl: waiting for another l3ctl\n", b""), status), (b"", 0))
        self.assertEqual(len(self.history()), 6)
        self.assertEqual(self.l3ctl("undo", "6").status, 0)
        self.assertEqual(self.hosts(), [])

    def test_an_entry_that_a_shell_would_run_is_not_undone_to(self):
        self.l3ctl("captive-portal", "add", "203.0.113.2")
        self.l3ctl("captive-portal", "clear")
        text = HISTORY.read_text(encoding="ascii")
        HISTORY.write_text(text.replace("203.0.113.2", "$(reboot)"), encoding="ascii")
        outcome = self.l3ctl("undo")
        self.assertEqual(outcome.status, 2)
        self.assertIn("is damaged: 2 lines cannot be read\n", outcome.err)


if __name__ == "__main__":
    unittest.main()
