"""What a command writes besides its result: the library's lines, notes, colours, and what --quiet and --verbose leave."""
import json
import os
import pty
import re
import subprocess
import unittest
from pathlib import Path

from gateway import L3CTL, Gateway

CLEAR = "[gl3_l3ctl_clear_firewall]begin to clear firewall.\n"
PORTAL = '{"captive_portal": {"enabled": true, "destinations": ["203.0.113.2"]}, "vpn_pass_through": false}'


class LibraryOutput(Gateway):
    def setUp(self):
        super().setUp()
        self.store(firewall=True)

    def test_a_command_that_succeeds_shows_the_librarys_lines_with_verbose_alone(self):
        self.assert_outcome(self.l3ctl("wan", "clear"), 0, "wan: cleared\n")
        self.assert_outcome(self.l3ctl("wan", "clear", "--verbose"), 0, "wan: cleared\n", CLEAR)
        self.assert_outcome(self.l3ctl("--verbose", "wan", "clear", "--json"), 0, self.l3ctl("--json", "wan", "clear").out, CLEAR)

    def test_a_refused_rule_shows_them_first(self):
        self.refuse("iptables -t filter -F forward_ext_ip")
        for options in ([], ["--json"], ["--quiet"]):
            outcome = self.l3ctl("wan", "clear", *options)
            self.assertEqual(outcome.status, 3)
            self.assertEqual(outcome.err.count(CLEAR), 1)
            self.assertLess(outcome.err.index(CLEAR), outcome.err.index("l3ctl: "))

    def test_a_refusal_of_the_platform_shows_them_first(self):
        self.assert_outcome(self.l3ctl("wan", "show"), 1, err=(
            "[gl3_update_internet_wan]get a illegal wanindex -1.\nl3ctl: the platform knows no Internet WAN\n"))

    def test_a_check_that_finds_something_is_no_failure(self):
        outcome = self.l3ctl("check")
        self.assertEqual(outcome.status, 3)
        self.assertNotIn("[gl3_", outcome.err)


class Quiet(Gateway):
    def setUp(self):
        super().setUp()
        self.store()

    def test_a_change_says_nothing(self):
        def without_id(outcome):
            """A change has a new id each time."""
            return outcome.status, re.sub(r'(?<="id": ")[0-9a-f]{16}(?=")', "", outcome.out)

        for line in ("firewall on", "url-filter add example.com", "portal off", "backup /tmp/copy.dat", "vpn on"):
            for option in ("-q", "--quiet"):
                self.assert_outcome(self.l3ctl(*line.split(), option), 0)
        self.assert_outcome(self.apply(PORTAL, "-q"), 0)

    def test_results_that_were_asked_for_stay(self):
        for line in ("show", "status", "url-filter list", "export --section acl", "level"):
            self.assert_outcome(self.l3ctl("-q", *line.split()), 0, self.l3ctl(*line.split()).out)

    def test_notes_and_warnings_are_left_out(self):
        Path("/ztcfg/l3_advance.dat").unlink()
        self.assertNotEqual(self.l3ctl("show").err, "")
        self.assertEqual(self.l3ctl("show", "-q").err, "")
        wide = '{"ip_filter": {"enabled": true, "rules": [{"direction": "upstream", "protocol": "tcp", "source": "any"}]}}'
        self.assertEqual(self.apply(wide, "-q").err, "")

    def test_errors_stay(self):
        self.assert_outcome(self.l3ctl("-q", "frobnicate"), 2, err=self.l3ctl("frobnicate").err)
        self.assertIn("no entry \"7\"", self.l3ctl("-q", "url-filter", "delete", "7").err)
        self.refuse("iptables -t filter -F forward_ext_ip")
        self.assertIn("l3ctl: the packet filter refused a rule; ", self.l3ctl("-q", "wan", "clear").err)

    def test_json_is_the_same(self):
        def without_id(outcome):
            """A change has a new id each time."""
            return outcome.status, re.sub(r'(?<="id": ")[0-9a-f]{16}(?=")', "", outcome.out)

        for line in ("firewall on", "url-filter add example.com", "show", "doctor", "check", "confirm", "level x"):
            plain = self.l3ctl("--json", *line.split())
            self.store()
            quiet = self.l3ctl("--json", "-q", *line.split())
            self.store()
            self.assertEqual(without_id(quiet), without_id(plain), line)
        wrong = '{"firewall": 1, "url_filter": {"enabled": true, "entries": []}}'
        messages = [json.loads(self.l3ctl("apply", "-", "--json", *options, stdin=wrong).out)["messages"]
                    for options in ([], ["-q"])]
        self.assertEqual(messages[0], messages[1])

    def test_doctor_shows_only_what_is_not_well(self):
        self.assertIn("\nok ", self.l3ctl("doctor").out)
        quiet = self.l3ctl("doctor", "-q").out
        self.assertNotIn("ok ", quiet)
        self.assertIn("problem ", quiet)


class Colours(Gateway):
    GREEN, FAINT, END = "\033[32m", "\033[2m", "\033[0m"

    def at_a_terminal(self, *arguments, **environment):
        """What a terminal shows of standard output."""
        terminal, other_end = pty.openpty()
        with subprocess.Popen([L3CTL, *arguments], stdin=subprocess.DEVNULL, stdout=other_end, stderr=subprocess.PIPE,
                              env={**self.environment(), **environment}) as running:
            os.close(other_end)
            shown = b""
            try:
                while chunk := os.read(terminal, 4096):
                    shown += chunk
            except OSError:  # the other end is closed
                pass
            running.communicate(timeout=60)
        os.close(terminal)
        return shown.decode().replace("\r\n", "\n")

    def apply_and_confirm(self, **environment):
        self.store(firewall=True)
        Path("/tmp/wanted.json").write_text(PORTAL, encoding="ascii")
        return [self.at_a_terminal("apply", "/tmp/wanted.json", "--confirm", "60", **environment),
                self.at_a_terminal("confirm", **environment)]

    def test_apply_and_confirm_use_them_at_a_terminal(self):
        self.assertEqual(self.apply_and_confirm(), [
            f"{self.GREEN}applied{self.END}: captive_portal{self.FAINT}; unchanged: vpn_pass_through{self.END}\n",
            f"{self.GREEN}confirm{self.END}: the new settings stay\n"])

    def test_they_obey_the_user_and_the_terminal(self):
        plain = ["applied: captive_portal; unchanged: vpn_pass_through\n", "confirm: the new settings stay\n"]
        self.assertEqual(self.apply_and_confirm(NO_COLOR="1"), plain)
        self.assertEqual(self.apply_and_confirm(TERM="dumb"), plain)
        self.store(firewall=True)
        self.assertEqual([self.l3ctl("apply", "/tmp/wanted.json", "--confirm", "60").out, self.l3ctl("confirm").out], plain)

    def test_json_has_none(self):
        self.store(firewall=True)
        self.assertNotIn("\033", self.at_a_terminal("--json", "firewall", "on"))


if __name__ == "__main__":
    unittest.main()
