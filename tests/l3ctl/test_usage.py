"""Command lines: usage errors, aliases, and the help of each command."""
import fcntl
import re
import unittest
from pathlib import Path

from gateway import PACKET_FILTER, Gateway, configuration

# Refuses every command that makes rules, and the restore of a file; a rollback works. 4 is no answer about what is there.
REFUSING = """case "$line" in
  *-save\\ * | *-restore\\ -* | *tables\\ *-C\\ *) ;;
  *) echo "$name: refused" >&2
     exit 4 ;;
esac
"""

ENTRY = {"ip-filter": "direction=upstream protocol=tcp", "acl": "from=lan service=web sources=any",
         "url-filter": "example.com", "mac-filter": "02:00:00:00:00:01",
         "dhcp-filter": "02:00:00:00:00:01", "captive-portal": "203.0.113.2"}
EDIT = {"ip-filter": "0 protocol=udp", "acl": "0 service=ping", "url-filter": "0 active=08:00-09:00",
        "mac-filter": "02:00:00:00:00:01 active=08:00-09:00", "dhcp-filter": "0 mac=02:00:00:00:00:02",
        "captive-portal": "0 destination=203.0.113.3"}
MODE = {"ip-filter": "upstream=white-list", "url-filter": "white-list", "mac-filter": "white-list", "dhcp-filter": "white-list"}
PACKET = "--from lan --to wan --protocol tcp --source 192.168.1.20 --destination 203.0.113.2 --destination-port 80"
RULES = "012345"  # status 3: the packet filter refused a rule
CHANGES = "01245"
READS = "012"

# A span in a zone that is an hour ahead of UTC, and the note of a time when it was not.
LOCAL_SPAN = """{"time_zone": "AAA-1",
    "url_filter": {"enabled": true, "entries": [{"host": "example.com", "active": "08:00-21:30"}]}}"""
SHIFT_IS_DUE = '{"time_zone": "AAA-1", "offset_minutes": 0}'

# Every command and verb that does something: its arguments, and the statuses that it can end with.
COMMANDS = {
    "apply": ("-", RULES), "plan": ("-", "0125"), "diff": ("-", "012"), "confirm": ("--revert", CHANGES),
    "history": ("", READS), "undo": ("", RULES),
    "show": ("", READS), "export": ("", READS), "status": ("", READS), "version": ("", READS),
    "init": ("", RULES), "clock": ("", RULES), "reset": ("--yes", RULES), "level": ("high", RULES),
    "firewall status": ("", READS), "firewall on": ("", RULES), "firewall off": ("", RULES),
    "portal status": ("", READS), "portal on": ("", RULES), "portal off": ("", RULES),
    "port-scan status": ("", READS), "port-scan on": ("", RULES), "port-scan off": ("", RULES),
    "ipsec status": ("", READS), "ipsec on": ("", RULES), "ipsec off": ("", RULES),
    "vpn status": ("", READS), "vpn on": ("", CHANGES), "vpn off": ("", CHANGES), "vpn reset": ("", CHANGES),
    "qos show": ("", READS), "qos on": ("", CHANGES), "qos off": ("", CHANGES), "qos clear": ("", CHANGES),
    "qos set": ("/tmp/block", CHANGES),
    "wan show": ("", READS), "wan update": ("wan3", RULES), "wan clear": ("", RULES),
    "access telnet allow": ("", RULES), "access telnet block": ("", RULES),
    "access web allow": ("", RULES), "access web block": ("", RULES),
    "page-jump add": ("192.168.1.0/24 192.168.1.5", RULES), "page-jump remove": ("192.168.1.0/24 192.168.1.5", RULES),
    "record read wan-service": ("/ztcfg/wan.dat", "0125"), "record read ct-timeout": ("", "0125"),
    "record write wan-service": ("/ztcfg/wan.dat /tmp/record", CHANGES), "record write ct-timeout": ("60", CHANGES),
    "restore-rules": ("", RULES), "explain": (PACKET, READS), "completion": ("bash", READS),
    "rules": ("", "0125"), "check": ("", "01235"), "inspect": ("", "0123"), "backup": ("/tmp/copy.dat", "012345"),
    "restore": ("/tmp/stored.dat", RULES), "doctor": ("", "0123"), "metrics": ("", "0125"),
    "help": ("check", READS), "devices name": ("02:00:00:00:00:01 laptop", CHANGES), "blocked": ("", READS),
}
for _filter, _entry in ENTRY.items():
    COMMANDS |= {f"{_filter} {_verb}": (_arguments, _statuses) for _verb, _arguments, _statuses in (
        ("list", "", READS), ("add", _entry, RULES), ("on", "", RULES), ("off", "", RULES), ("clear", "", RULES),
        ("delete", _entry if _filter == "mac-filter" else "0", RULES), ("reset", "", RULES))}
    COMMANDS[f"{_filter} set"] = (EDIT[_filter], RULES)
    if _filter in MODE:
        COMMANDS[f"{_filter} mode"] = (MODE[_filter], RULES)
# Their status 3 is the result of a check, not a refused rule.
CHECKS = {"check", "inspect", "backup", "doctor"}


def statuses_in(help_text):
    listed = help_text.split("Exit status:\n")[1].split("\n\n")[0]
    return "".join(re.findall(r"^  (\d)  ", listed, re.MULTILINE))


class UsageErrors(Gateway):
    def test_the_first_unknown_word_is_named_with_the_closest(self):
        for line, told in (
                ("mac-filtr list", '"mac-filtr" is no command of "l3ctl"; did you mean "mac-filter"?'),
                ("frobnicate", '"frobnicate" is no command of "l3ctl"; "l3ctl --help" lists what there is'),
                ("--bogus", '"--bogus" is no option of "l3ctl"; "l3ctl --help" lists what there is'),
                ("-x mac-filter off", '"-x" is no option of "l3ctl"; "l3ctl --help" lists what there is'),
                ("--quite mac-filter off", '"--quite" is no option of "l3ctl"; did you mean "--quiet"?'),
                ("mac-filter -x off", '"-x" is no option of "l3ctl mac-filter"; "l3ctl mac-filter --help" lists what there is'),
                ("url-filter lst", '"lst" is no command of "l3ctl url-filter"; did you mean "list"?'),
                ("record read /etc/passwd", '"/etc/passwd" is no command of "l3ctl record read"; '
                                            '"l3ctl record read --help" lists what there is'),
                ("explain --frm lan", '"--frm" is no option of "l3ctl explain"; did you mean "--from"?'),
                ("acl list more", '"more" is no word of "l3ctl acl list"; "l3ctl acl list --help" lists what there is'),
                ("nothing version", '"nothing" is no command of "l3ctl"; "l3ctl --help" lists what there is'),
                ("version status", '"status" is no word of "l3ctl version"; "l3ctl version --help" lists what there is'),
                ("help mac-filtr", '"mac-filtr" is no command of "l3ctl"; did you mean "mac-filter"?'),
                ("help wan updat", '"updat" is no command of "l3ctl wan"; did you mean "update"?'),
                ("\x1b[2J", '"\\x1b[2J" is no command of "l3ctl"; "l3ctl --help" lists what there is'),
                ("mac-filter add", 'WORD is required; "l3ctl mac-filter add --help" tells more'),
                ("", 'A subcommand is required; "l3ctl --help" tells more')):
            self.assert_outcome(self.l3ctl(*line.split()), 2, err=f"l3ctl: {told}\n")
        self.assert_untouched()

    def test_nothing_is_suggested_that_differs_in_a_third_of_the_letters(self):
        for word in ("top", "ack", "wab", "exprot", "resett-x"):
            self.assertNotIn("did you mean", self.l3ctl(word).err, word)
        for word, meant in (("exporrt", "export"), ("statu", "status"), ("captive-prtal", "captive-portal")):
            self.assertIn(f'did you mean "{meant}"?', self.l3ctl(word).err)

    def test_a_wrong_value_brings_the_closest_or_all(self):
        for line, told in (
                ("level hihg", 'LEVEL: "hihg" is not one of off, low, high; "l3ctl level --help" tells more'),
                ("level hig", 'LEVEL: "hig" is not known; did you mean "high"?'),
                ("completion fish", 'SHELL: "fish" is not one of bash, zsh; "l3ctl completion --help" '
                                    "tells more"),
                ("show url_filtr", 'SECTION: "url_filtr" is not known; did you mean "url_filter"?'),
                ("export --section mac-filtr", '--section: "mac-filtr" is not known; did you mean "mac_filter"?')):
            self.assert_outcome(self.l3ctl(*line.split()), 2, err=f"l3ctl: {told}\n")
        self.assertIn("\"x\" is not one of time_zone, firewall, port_scan_protection, ", self.l3ctl("show", "x").err)


class OtherWords(Gateway):
    def test_words_mean_the_same_wherever_a_command_stands(self):
        self.store()
        found = self.l3ctl("url-filter", "list").out
        for line in ("--lock-timeout 3 url-filter list", "--force url-filter --one-by-one list", "url-filter list --force",
                     "-q url-filter list", "url-filter list --quiet"):
            self.assert_outcome(self.l3ctl(*line.split()), 0, found)
        self.assert_outcome(self.l3ctl("url-filter", "delete", "status"), 2, err=(
            'l3ctl: url-filter: no entry "status" ("l3ctl url-filter list" shows them); nothing was changed\n'))

    def test_dashes_and_underscores_mean_the_same(self):
        self.store()
        for line, as_line in (("show url-filter", "show url_filter"), ("export --section port-scan-protection",
                                                                      "export --section port_scan_protection"),
                              ("url_filter list", "url-filter list"), ("port_scan status", "port-scan status"),
                              ("record read ct_timeout", "record read ct-timeout"), ("help mac_filter", "help mac-filter")):
            self.assert_outcome(self.l3ctl(*line.split()), 0, self.l3ctl(*as_line.split()).out)
        self.assert_outcome(self.apply('{"vpn_pass_through": true, "firewall": {"enabled": true}}', "--section",
                                       "vpn-pass-through"), 0, "applied: vpn_pass_through; unchanged: nothing\n")

    def test_enable_disable_and_remove_are_taken_for_the_verbs_that_they_mean(self):
        self.store()
        for line, done in (("url-filter enable", "url-filter: on\n"), ("url-filter disable", "url-filter: off\n"),
                           ("firewall disable", "firewall: off\n"), ("access telnet disable", "access: telnet blocked\n"),
                           ("dhcp-filter add 02:00:00:00:00:01", "dhcp-filter: added as dhcp_filter entry 0\n"),
                           ("dhcp-filter remove 0", "dhcp-filter: deleted 1 entry\n"),
                           ("page-jump delete 192.168.1.0/24 192.168.1.5", "page-jump: removed\n")):
            outcome = self.l3ctl(*line.split())
            self.assertEqual((outcome.status, outcome.out), (0, done), line)
        # As the name of an entry they stay what they are.
        self.assertIn('no entry "enable"', self.l3ctl("url-filter", "delete", "enable").err)
        self.assertIn('mac-filter: "enable" is not allowed', self.l3ctl("mac-filter", "delete", "enable").err)


class Help(Gateway):
    def help_of(self, path):
        outcome = self.l3ctl(*path.split(), "--help")
        self.assertEqual((outcome.status, outcome.err), (0, ""), path)
        return outcome.out

    def commands_below(self, path=""):
        """Every command and verb without verbs of its own, with its help."""
        text = self.help_of(path)
        if "Subcommands:\n" not in text:
            return {path: text}
        listed = text.split("Subcommands:\n")[1].split("\n\n")[0]
        found = {}
        for verb in re.findall(r"^  (\S+)", listed, re.MULTILINE):
            found |= self.commands_below(f"{path} {verb}".strip())
        return found

    def test_each_command_lists_the_statuses_that_it_can_end_with(self):
        listed = {path: statuses_in(text) for path, text in self.commands_below().items()}
        self.assertEqual(listed, {path: statuses for path, (_, statuses) in COMMANDS.items()})

    def test_the_packet_filter_refuses_where_help_says_so_and_nowhere_else(self):
        Path("/tmp/block").write_bytes(bytes(244))
        Path("/tmp/record").write_bytes(bytes(1872))
        for path, (arguments, statuses) in COMMANDS.items():
            with self.subTest(path=path):
                self.setUp()
                settings = {"firewall": '{"firewall": {"enabled": true}}',
                            "portal": '{"captive_portal": {"enabled": true, "destinations": ["203.0.113.2"]}}'}
                self.assertEqual(self.apply(settings["firewall"]).status, 0)
                name = path.split()[0]
                if path.endswith((" delete", " set")) and name in ENTRY:
                    self.assertEqual(self.l3ctl(name, "add", *ENTRY[name].split()).status, 0)
                if path == "confirm":
                    self.assertEqual(self.apply(settings["portal"], "--confirm", "60").status, 0)
                if path.endswith((" on", " off")):
                    self.l3ctl(name, "off" if path.endswith(" on") else "on")
                if path == "restore":
                    self.assertEqual(self.l3ctl("backup", "/tmp/stored.dat").status, 0)
                if path == "clock":
                    self.assertEqual(self.apply(LOCAL_SPAN).status, 0)
                    Path("/ztcfg/l3ctl.time_zone").write_text(SHIFT_IS_DUE)
                for tool in PACKET_FILTER:
                    self.hook(tool, REFUSING)
                outcome = self.l3ctl(*path.split(), *arguments.split(), stdin=settings["portal"])
                if path in CHECKS:
                    self.assertNotIn("the packet filter refused a rule", outcome.err)
                else:
                    self.assertEqual(outcome.status == 3, statuses == RULES, (outcome.status, outcome.err))
                for tool in PACKET_FILTER:
                    self.hook(tool)
                if path == "confirm":
                    # Or the timer has restored the old settings meanwhile.
                    self.l3ctl("confirm")
                    self.assertFalse(Path("/ztcfg/l3ctl.pending").exists())

    def test_a_command_waits_for_the_lock_where_help_lists_busy_and_nowhere_else(self):
        Path("/tmp/block").write_bytes(bytes(244))
        Path("/tmp/record").write_bytes(bytes(1872))
        Path("/tmp/stored.dat").write_bytes(configuration())
        self.store()
        with open("/run/l3ctl.lock", "w", encoding="ascii") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            for path, (arguments, statuses) in COMMANDS.items():
                if path == "clock":
                    Path("/ztcfg/l3ctl.time_zone").write_text(SHIFT_IS_DUE)
                outcome = self.l3ctl("--lock-timeout", "0", *path.split(), *arguments.split(), stdin="{}")
                # No confirmation is pending; doctor makes a finding of the lock.
                self.assertEqual(outcome.status == 5, "5" in statuses, (path, outcome.status, outcome.err))

    def test_status_3_is_explained(self):
        refused = "  3  the packet filter refused a rule; everything is as it was before\n"
        differs = "the kernel's rules are not those of the settings\n"
        self.assertIn(f"  3  {differs}", self.help_of("check"))
        self.assertIn(refused, self.help_of("wan update"))
        self.assertIn(refused, self.help_of(""))
        self.assertIn(f"check: {differs}", self.help_of(""))
        for command in ("plan", "diff"):
            self.assertIn("  1  an error; wrong settings and a wrong command line too\n  2  there are changes\n",
                          self.help_of(command))

    def test_the_command_help_prints_the_same_as_the_option(self):
        for path in ("", "mac-filter", "wan update", "record read ct-timeout", "help"):
            self.assert_outcome(self.l3ctl("help", *path.split()), 0, self.help_of(path))
        self.assert_outcome(self.l3ctl("mac-filter", "help"), 0, self.help_of("mac-filter"))

    def test_remarks_stand_above_the_statuses_once(self):
        for path, text in self.commands_below().items():
            self.assertEqual(text.count("Exit status:"), 1, path)
            self.assertEqual(text.count("Settings are kept in"), 1, path)
        self.assertRegex(self.help_of("reset"), r"VPN pass-through stay as they are.*\n\nExit status:\n")

    def test_the_list_of_commands_fits_a_screen(self):
        lines = self.help_of("").splitlines()
        self.assertEqual([line for line in lines if len(line) > 115], [])


if __name__ == "__main__":
    unittest.main()
