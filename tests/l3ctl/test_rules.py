"""l3ctl rules and l3ctl check, over what iptables-save printed on real gateways and over changes to it."""
import json
import os
import re
import signal
import subprocess
import threading
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, TOOLS, Gateway
from test_schema import faults

DATA = Path(__file__).parent.parent / "data"
SETTINGS = (DATA / "rules-settings.json").read_text()

SAVE = """#!/bin/sh
echo "${0##*/}${*:+ $*}" >>/tmp/commands
exec cat /tmp/saved-${0##*/}
"""

FRESH4 = """*filter
:INPUT ACCEPT [0:0]
:FORWARD ACCEPT [7:420]
:OUTPUT ACCEPT [0:0]
:forward_ext_bad_tcp - [0:0]
:forward_ext_captiveportal - [0:0]
:forward_ext_ds_ip - [0:0]
:forward_ext_ip - [0:0]
:forward_ext_mac - [0:0]
:forward_ext_url - [0:0]
:forward_ext_us_ip - [0:0]
:input_ext_access_ctrl - [0:0]
:input_ext_acl - [0:0]
:input_ext_dhcp - [0:0]
:input_ext_ds_acl - [0:0]
:input_ext_local_access - [0:0]
:input_ext_local_access_ex - [0:0]
:input_ext_us_acl - [0:0]
[1:60] -A INPUT -j input_ext_local_access
[0:0] -A INPUT -p tcp -m tcp --dport 80 -j input_ext_acl
[0:0] -A INPUT -p tcp -m tcp --dport 21 -j input_ext_acl
[0:0] -A INPUT -p udp -m udp --dport 161 -j input_ext_acl
[0:0] -A INPUT -p tcp -m tcp --dport 23 -j input_ext_acl
[0:0] -A INPUT -p icmp -j input_ext_acl
[0:0] -A INPUT -i br0 -p udp -m udp --dport 67 -j input_ext_dhcp
[0:0] -A FORWARD -p tcp -j forward_ext_bad_tcp
[0:0] -A FORWARD -j forward_ext_ip
[0:0] -A FORWARD -j forward_ext_url
[0:0] -A FORWARD -j forward_ext_mac
[0:0] -A FORWARD -i br0 -p tcp -m tcp --dport 80 -j forward_ext_captiveportal
[0:0] -A forward_ext_ip -i br0 -j forward_ext_us_ip
[0:0] -A forward_ext_ip -i wan3 -j forward_ext_ds_ip
[0:0] -A forward_ext_url -i br0 -p udp -m udp --dport 53 -m string --hex-string "|076578616d706c6503636f6d|" --algo bm \
-m time --timestart 08:00:00 --timestop 21:30:00 --datestop 2038-01-19T03:14:07 -j DROP
[0:0] -A input_ext_acl -i br0 -j input_ext_us_acl
[0:0] -A input_ext_acl -i wan3 -j input_ext_ds_acl
COMMIT
"""
FRESH6 = """*filter
:INPUT ACCEPT [0:0]
:FORWARD ACCEPT [0:0]
:OUTPUT ACCEPT [0:0]
:forward_ext_ds_ip - [0:0]
:forward_ext_ip - [0:0]
:forward_ext_mac - [0:0]
:forward_ext_us_ip - [0:0]
[0:0] -A FORWARD -j forward_ext_ip
[0:0] -A FORWARD -j forward_ext_mac
COMMIT
"""
ONE_NAME = """{"firewall": {"enabled": true},
 "url_filter": {"enabled": true, "mode": "black-list", "entries": [{"host": "example.com", "active": "08:00-21:30"}]}}"""

TREE = """\
IPv4
INPUT                                                       policy ACCEPT
├─ jump input_ext_local_access                              start-up
├─ jump input_ext_acl tcp 80                                start-up
│  ├─ jump input_ext_us_acl in br0                          Internet WAN
│  └─ jump input_ext_ds_acl in wan3                         Internet WAN
├─ jump input_ext_acl tcp 21                                start-up
├─ jump input_ext_acl udp 161                               start-up
├─ jump input_ext_acl tcp 23                                start-up
├─ jump input_ext_acl icmp                                  start-up
└─ jump input_ext_dhcp udp 67 in br0                        start-up
FORWARD                                                     policy ACCEPT
├─ jump forward_ext_bad_tcp tcp                             start-up
├─ jump forward_ext_ip                                      start-up
│  ├─ jump forward_ext_us_ip in br0                         Internet WAN
│  └─ jump forward_ext_ds_ip in wan3                        Internet WAN
├─ jump forward_ext_url                                     start-up
│  └─ DROP udp 53 name example.com 08:00-21:30 in br0       url_filter.entries[0]
├─ jump forward_ext_mac                                     start-up
└─ jump forward_ext_captiveportal tcp 80 in br0             start-up
OUTPUT                                                      policy ACCEPT
input_ext_access_ctrl                                       no jump leads here
input_ext_local_access_ex                                   no jump leads here
"""
TREE6 = """\
IPv6
INPUT                                                       policy ACCEPT
FORWARD                                                     policy ACCEPT
├─ jump forward_ext_ip                                      start-up
└─ jump forward_ext_mac                                     start-up
OUTPUT                                                      policy ACCEPT
forward_ext_ds_ip                                           no jump leads here
forward_ext_us_ip                                           no jump leads here
"""


def squeezed(text):
    return re.sub(r" {2,}", "  ", text)


class Rules(Gateway):
    def setUp(self):
        super().setUp()
        for name in ("iptables-save", "ip6tables-save"):
            (TOOLS / name).write_text(SAVE)
        self.live(FRESH4, FRESH6)

    def live(self, ipv4=None, ipv6=None):
        """What the packet filter answers from now on."""
        for text, name in ((ipv4, "iptables-save"), (ipv6, "ip6tables-save")):
            if text is not None:
                # In one step: somebody may be watching.
                Path("/tmp/saved-next").write_text(text)
                Path("/tmp/saved-next").rename("/tmp/saved-" + name)

    def settings(self, text=ONE_NAME):
        self.assertEqual(self.apply(text).status, 0)
        self.commands()

    def changed(self, old, new, text=FRESH4):
        self.assertIn(old, text)
        self.live(text.replace(old, new))

    def drift(self):
        outcome = self.l3ctl("check")
        self.assertEqual((outcome.status, outcome.err), (3 if outcome.out else 0, ""))
        return outcome.out.splitlines()


class Tree(Rules):
    def test_a_tree_with_each_rule_in_words_and_its_setting(self):
        self.settings()
        outcome = self.l3ctl("rules")
        self.assertEqual((outcome.status, outcome.err), (0, ""))
        self.assertEqual(squeezed(outcome.out), squeezed(TREE + TREE6))
        columns = {line.index("start-up") for line in outcome.out.splitlines() if "start-up" in line}
        self.assertEqual(len(columns), 1, "the column of settings is not aligned")

    def test_counters(self):
        self.settings()
        lines = squeezed(self.l3ctl("rules", "--counters").out).splitlines()
        self.assertIn("├─ jump input_ext_local_access  1 packet, 60 bytes  start-up", lines)
        self.assertIn("FORWARD  7 packets, 420 bytes  policy ACCEPT", lines)
        self.assertNotIn("packet", self.l3ctl("rules").out)

    def test_looking_writes_nothing_and_asks_only_for_the_rules(self):
        self.settings()
        before = {path: path.read_bytes() for path in Path("/ztcfg").iterdir()}
        for command in (["rules"], ["rules", "--json"], ["check"]):
            self.l3ctl(*command)
            self.assertEqual(self.commands(), ["iptables-save -c -t filter", "ip6tables-save -c -t filter"])
        self.assertEqual({path: path.read_bytes() for path in Path("/ztcfg").iterdir()}, before)

    def test_without_a_configuration_file_none_is_made(self):
        empty = "*filter\n:INPUT ACCEPT [0:0]\nCOMMIT\n"
        self.live(empty, empty)
        outcome = self.l3ctl("rules")
        self.assertEqual(outcome.status, 0)
        self.assertEqual(squeezed(outcome.out),
                         "".join(f"{family}  none of the gateway's chains is there\nINPUT  policy ACCEPT\n"
                                 for family in ("IPv4", "IPv6")))
        self.assertFalse(CONFIGURATION.exists())

    def test_drift_and_foreign_rules_are_marked_in_their_places(self):
        self.settings()
        live = FRESH4.replace("[0:0] -A FORWARD -p tcp", "[3:180] -A FORWARD -s 10.0.0.0/8 -j DROP\n[0:0] -A FORWARD -p tcp")
        live = re.sub(r"\[0:0\] -A forward_ext_url .*\n", "[0:0] -A forward_ext_url -p 6 -j ACCEPT\n", live)
        self.live(live)
        text = squeezed(self.l3ctl("rules").out)
        self.assertIn("├─ DROP from 10.0.0.0/8  foreign\n├─ jump forward_ext_bad_tcp tcp  start-up\n", text)
        self.assertIn("│  ├─ ACCEPT tcp  extra\n"
                      "│  └─ DROP udp 53 name example.com 08:00-21:30 in br0  missing: url_filter.entries[0]\n", text)

    def test_json(self):
        self.settings()
        tables = json.loads(self.l3ctl("rules", "--json").out)
        self.assertEqual((tables["drift"], tables["notes"]), ([], []))
        chains = {chain["name"]: chain for chain in tables["tables"][0]["chains"]}
        self.assertEqual(chains["FORWARD"]["policy"], "ACCEPT")
        self.assertEqual(chains["forward_ext_url"]["rules"], [{
            "words": "DROP udp 53 name example.com 08:00-21:30 in br0", "target": "DROP", "state": "as set",
            "packets": 0, "bytes": 0,
            "origin": {"section": "url_filter", "path": "url_filter.entries[0]", "entry": 0}}])

    def test_rules_of_others_are_told_as_far_as_they_are_understood(self):
        self.changed("COMMIT", '[0:0] -A OUTPUT ! -d 10.1.0.0/16 -p tcp -m multiport --dports 1,2 -m comment '
                               '--comment "don\\\'t -j \\"me\\"" -j REJECT --reject-with tcp-reset\nCOMMIT')
        self.assertIn("└─ REJECT tcp not to 10.1.0.0/16 --comment don't -j \"me\" --dports 1,2 --match multiport "
                      "--match comment --reject-with tcp-reset  foreign\n", squeezed(self.l3ctl("rules").out))


class Check(Rules):
    def test_what_real_gateways_saved_is_no_drift(self):
        self.settings(SETTINGS)
        for backend in ("legacy", "nft"):
            self.live((DATA / f"rules-{backend}-ipv4.txt").read_text(), (DATA / f"rules-{backend}-ipv6.txt").read_text())
            self.assertEqual(self.drift(), [], backend)
            told = json.loads(self.l3ctl("rules", "--json").out)
            self.assertEqual(faults("rules", told), [])
            states = {rule["state"] for table in told["tables"] for chain in table["chains"] for rule in chain["rules"]}
            self.assertEqual(states, {"as set"})

    def test_every_line_that_a_real_gateway_loses_is_drift(self):
        self.settings(SETTINGS)
        for family in ("ipv4", "ipv6"):
            lines = (DATA / f"rules-nft-{family}.txt").read_text().splitlines(True)
            self.live((DATA / "rules-nft-ipv4.txt").read_text(), (DATA / "rules-nft-ipv6.txt").read_text())
            for number, line in enumerate(lines):
                if " -A " not in line or "input_ext_dhcp -m" in line:
                    continue
                text = "".join(lines[:number] + lines[number + 1:])
                self.live(**{family: text})
                self.assertEqual(len(self.drift()), 1, line)

    def test_each_entry_of_a_real_gateway_is_traced_to_its_setting(self):
        self.settings(SETTINGS)
        self.live((DATA / "rules-legacy-ipv4.txt").read_text(), (DATA / "rules-legacy-ipv6.txt").read_text())
        text = squeezed(self.l3ctl("rules").out)
        for line in (
            "ACCEPT udp 27000-65535 source port 1-65535  ip_filter.rules[1]",
            "DROP to 192.168.1.20  ip_filter.rules[3]",
            "DROP  ip_filter.upstream",
            "DROP tcp 25 from fd00:1::10 to ::  ip6_filter.rules[0]",
            "ACCEPT udp 53 name a-bc.org 23:00-01:00 in br0  url_filter.entries[4]",
            "DROP udp 53 in br0  url_filter.mode",
            "DROP mac 02:00:00:00:01:aa 20:30-23:59 in br0  mac_filter.devices[0]",
            "DROP in br0  mac6_filter.mode",
            "DROP mac 02:00:00:00:01:99  dhcp_filter.devices[0]",
            "ACCEPT tcp 23 from 192.168.1.14/31  acl.entries[3]",
            "ACCEPT to 203.0.113.0/25  captive_portal.destinations[0]",
            "ACCEPT  captive_portal.destinations[2]",
            "DROP  captive_portal.enabled",
            "DROP udp 4500 source port 4500  ipsec_pass_through",
            'LOG tcp not flags SYN of FIN,SYN,RST,ACK state NEW prefix "New not syn:"  port_scan_protection',
            "ACCEPT tcp flags RST of FIN,SYN,RST,ACK at most 1/sec  port_scan_protection",
        ):
            self.assertIn("─ " + line + "\n", text)

    def test_a_rule_that_was_taken_away(self):
        self.settings()
        self.live(re.sub(r"\[0:0\] -A forward_ext_url .*\n", "", FRESH4))
        self.assertEqual(self.drift(), ["IPv4 forward_ext_url: missing: DROP udp 53 name example.com 08:00-21:30 in br0 "
                                        "(url_filter.entries[0])"])

    def test_a_rule_that_was_added_and_one_that_was_changed(self):
        self.settings()
        self.changed("COMMIT", "[0:0] -A forward_ext_mac -s 192.168.1.9/32 -j ACCEPT\nCOMMIT")
        self.assertEqual(self.drift(), ["IPv4 forward_ext_mac: extra: ACCEPT from 192.168.1.9"])
        self.changed("--timestop 21:30:00", "--timestop 21:31:00")
        self.assertEqual(self.drift(), [
            "IPv4 forward_ext_url: extra: DROP udp 53 name example.com 08:00-21:31 in br0",
            "IPv4 forward_ext_url: missing: DROP udp 53 name example.com 08:00-21:30 in br0 (url_filter.entries[0])"])
        self.changed("-A input_ext_acl -i wan3", "-A input_ext_acl -i wan4")
        self.assertEqual(len(self.drift()), 2)

    def test_rules_whose_order_was_changed(self):
        self.settings()
        hook = "[0:0] -A FORWARD -j forward_ext_ip\n"
        mac = "[0:0] -A FORWARD -j forward_ext_mac\n"
        self.live(FRESH4.replace(hook, "").replace(mac, mac + hook))
        self.assertEqual(self.drift(), ["IPv4 FORWARD: moved: jump forward_ext_ip (start-up)"])

    def test_a_module_without_options_makes_another_rule(self):
        self.settings()
        self.changed("--dport 53 -m string", "--dport 53 -m socket -m string")
        self.assertEqual(len(self.drift()), 2)

    def test_missing_chains(self):
        self.settings()
        self.live("".join(line for line in FRESH4.splitlines(True) if "forward_ext_url" not in line))
        self.assertEqual(self.drift(), [
            "IPv4 FORWARD: missing: jump forward_ext_url (start-up)",
            "IPv4 forward_ext_url: the chain is missing",
            "IPv4 forward_ext_url: missing: DROP udp 53 name example.com 08:00-21:30 in br0 (url_filter.entries[0])"])

    def test_a_gateway_that_has_not_started(self):
        self.settings()
        self.live("", "*filter\n:FORWARD ACCEPT [0:0]\nCOMMIT\n")
        self.assertEqual(self.drift(), [
            f'{family}: none of the gateway\'s chains is there; "l3ctl init" makes them at start-up'
            for family in ("IPv4", "IPv6")])

    def test_hooks_that_a_second_start_doubled(self):
        self.settings()
        hook = "[0:0] -A FORWARD -j forward_ext_url\n"
        self.changed("COMMIT", hook + "COMMIT")
        self.assertEqual(self.drift(), ["IPv4 FORWARD: extra: jump forward_ext_url"])

    def test_what_the_gateways_life_leads_to_is_no_drift(self):
        self.settings()
        dispatch = "[0:0] -A forward_ext_ip -i br0 -j forward_ext_us_ip\n[0:0] -A forward_ext_ip -i wan3 -j forward_ext_ds_ip\n"
        self.changed("COMMIT", dispatch + "COMMIT")
        self.assertEqual(self.drift(), [], "bound twice")
        self.live(FRESH4.replace(dispatch, ""))
        self.assertEqual(self.drift(), [], "bound to no WAN")
        self.assertIn("note: the rules are bound to no Internet WAN", self.l3ctl("rules").out)
        self.changed("COMMIT", "[0:0] -A input_ext_local_access -j input_ext_local_access_ex\nCOMMIT")
        self.assertEqual(self.drift(), [], "fresh from the start")
        self.changed("[1:60] -A INPUT", "[0:0] -A INPUT -j input_ext_access_ctrl\n"
                     "[0:0] -A input_ext_access_ctrl -p tcp -m tcp --dport 23 -j DROP\n[1:60] -A INPUT")
        self.assertEqual(self.drift(), [], "management access")
        self.settings('{"dhcp_filter": {"enabled": true, "devices": ["02:00:00:00:00:07"]}}')
        self.live(FRESH4)
        self.assertEqual(self.drift(), [], "DHCP rules after a restart")
        self.assertIn("note: the DHCP filter's rules are not there", self.l3ctl("rules").out)
        self.changed("COMMIT", "[0:0] -A input_ext_dhcp -m mac --mac-source 02:00:00:00:00:08 -j DROP\nCOMMIT")
        self.assertEqual(len(self.drift()), 2, "DHCP rules of another list")

    def test_rules_and_chains_of_others_are_no_drift(self):
        self.settings()
        self.changed(":forward_ext_bad_tcp", ":docker - [0:0]\n:forward_ext_bad_tcp")
        self.changed("COMMIT", "[0:0] -A docker -j ACCEPT\n[0:0] -A FORWARD -j docker\n[0:0] -A INPUT -j DROP\nCOMMIT",
                     Path("/tmp/saved-iptables-save").read_text())
        self.assertEqual(self.drift(), [])
        self.assertIn("└─ jump docker  foreign\n  └─ ACCEPT  foreign\n", squeezed(self.l3ctl("rules").out))

    def test_ipsec_rules_that_no_setting_asks_for(self):
        self.settings()
        self.changed("COMMIT", "[0:0] -A FORWARD -p udp -m udp --sport 500 --dport 500 -j DROP\nCOMMIT")
        self.assertEqual(self.drift(), ["IPv4 FORWARD: extra: DROP udp 500 source port 500"])

    def test_as_json(self):
        self.settings()
        outcome = self.l3ctl("check", "--json")
        self.assertEqual((outcome.status, json.loads(outcome.out)), (0, {"follows": True, "drift": []}))
        self.changed("COMMIT", "[0:0] -A forward_ext_mac -j ACCEPT\nCOMMIT")
        self.assertEqual(faults("rules", json.loads(self.l3ctl("rules", "--json").out)), [])
        outcome = self.l3ctl("check", "--json")
        self.assertEqual(faults("check", json.loads(outcome.out)), [])
        self.assertEqual((outcome.status, json.loads(outcome.out)), (3, {"follows": False, "drift": [
            {"family": "IPv4", "chain": "forward_ext_mac", "state": "extra", "rule": "ACCEPT", "origin": None}]}))

    def test_a_packet_filter_that_does_not_answer(self):
        for ipv4, said in (
            ("*filter\n:INPUT ACCEPT [0:0]\n", "iptables-save stopped in the middle of its answer"),
            ("*filter\nnonsense\nCOMMIT\n", "iptables-save says what is not understood: nonsense"),
            ("*filter\n:INPUT\nCOMMIT\n", "iptables-save says what is not understood: :INPUT"),
            ("*filter\n[0:0] -A nowhere -j DROP\nCOMMIT\n",
             "iptables-save says what is not understood: [0:0] -A nowhere -j DROP"),
        ):
            self.live(ipv4)
            outcome = self.l3ctl("check")
            self.assertEqual((outcome.status, outcome.out, outcome.err), (1, "", f"l3ctl: {said}\n"))
        (TOOLS / "iptables-save").write_text("#!/bin/sh\necho 'Permission denied (you must be root)' >&2\nexit 4\n")
        self.assert_outcome(self.l3ctl("rules"), 1, "",
                            "l3ctl: iptables-save ended with 4: Permission denied (you must be root)\n")


class Picture(Rules):
    def test_a_picture(self):
        self.settings()
        self.changed("COMMIT", "[0:0] -A forward_ext_mac -j ACCEPT\n[0:0] -A FORWARD -m comment --comment \"<&>\" -j DROP\nCOMMIT")
        self.assert_outcome(self.l3ctl("rules", "--svg", "/run/rules.svg"), 0)
        svg = Path("/run/rules.svg").read_text()
        self.assertIn("<svg", svg)
        for text in ("forward_ext_url", "DROP udp 53 name example.com 08:00&#45;21:30 in br0", "extra: ACCEPT", "&lt;&amp;&gt;"):
            self.assertIn(text, svg)
        self.assertEqual(svg.count('class="edge"'), 11 + 1 + 4 + 2)
        self.assertEqual(self.l3ctl("rules", "--svg", "-").out, svg)

    def test_a_picture_needs_dot_and_a_place(self):
        self.settings()
        self.assert_outcome(self.l3ctl("rules", "--svg", "/run/none/rules.svg"), 1, "",
                            "l3ctl: cannot write /run/none/rules.svg\n")
        (TOOLS / "dot").write_text("#!/bin/sh\necho broken >&2\nexit 9\n")
        (TOOLS / "dot").chmod(0o755)
        self.assert_outcome(self.l3ctl("rules", "--svg", "/run/rules.svg"), 1, "", "l3ctl: dot ended with 9: broken\n\n")
        (TOOLS / "dot").unlink()
        tools = {"PATH": f"{TOOLS}:/tmp/few"}
        Path("/tmp/few").mkdir(exist_ok=True)
        for name in ("sh", "cat"):
            Path("/tmp/few", name).unlink(missing_ok=True)
            Path("/tmp/few", name).symlink_to(f"/usr/bin/{name}")
        done = subprocess.run([L3CTL, "rules", "--svg", "/run/rules.svg"], capture_output=True, text=True, env=tools,
                              check=False)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (
            1, "", "l3ctl: cannot start dot, which draws the picture (Debian package graphviz): No such file or directory\n"))
        self.assertFalse(Path("/run/rules.svg").exists())


class Watch(Rules):
    def watching(self, *options):
        process = subprocess.Popen([L3CTL, "rules", "--watch", "1", *options], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, env=self.environment(), text=True)
        patience = threading.Timer(20, process.kill)
        patience.start()
        self.addCleanup(patience.cancel)
        return process

    def read_until(self, process, text):
        seen = ""
        while text not in seen:
            some = os.read(process.stdout.fileno(), 65536).decode()
            self.assertNotEqual(some, "", f"ended before it said '{text}': {seen}")
            seen += some
        return seen

    def test_redraws_with_what_moved_until_interrupted(self):
        self.settings()
        process = self.watching()
        first = self.read_until(process, "\nforward_ext_us_ip ")
        self.assertIn("UTC; end with Ctrl-C\n", first)
        self.assertNotIn("+", first)
        self.live(FRESH4.replace("[1:60] -A INPUT", "[6:360] -A INPUT"))
        self.assertIn("6 packets, 360 bytes  +5", self.read_until(process, "+5"))
        process.send_signal(signal.SIGINT)
        rest, errors = process.communicate(timeout=20)
        self.assertEqual((process.returncode, errors), (0, ""))
        self.assertNotIn("\033", rest)

    def test_json_is_a_document_a_line(self):
        self.settings()
        process = self.watching("--json")
        told = self.read_until(process, "\n")
        while told.count("\n") < 2:
            told += self.read_until(process, "\n")
        documents = [json.loads(line) for line in told.splitlines()[:2]]
        self.assertEqual(documents[0], documents[1])
        process.send_signal(signal.SIGTERM)
        process.communicate(timeout=20)
        self.assertEqual(process.returncode, 0)

    def test_wrong_intervals(self):
        for seconds in ("0", "3601", "x"):
            self.assertEqual(self.l3ctl("rules", "--watch", seconds).status, 2)
        self.assertEqual(self.l3ctl("rules", "--watch", "--svg", "/run/x").status, 2)


class Colours(Rules):
    def at_a_terminal(self, *arguments, **environment):
        """What a command writes to a terminal, line ends as they are elsewhere."""
        ours, theirs = os.openpty()
        process = subprocess.Popen([L3CTL, *arguments], stdout=theirs, stderr=subprocess.DEVNULL,
                                   env=self.environment() | environment)
        os.close(theirs)
        text = b""
        try:
            while some := os.read(ours, 65536):
                text += some
        except OSError:
            pass  # the other end is closed
        os.close(ours)
        process.wait(timeout=20)
        return text.decode().replace("\r\n", "\n")

    def test_a_terminal_gets_colours_and_everything_else_plain_text(self):
        self.settings()
        self.changed("COMMIT", "[0:0] -A forward_ext_mac -j ACCEPT\nCOMMIT")
        for command in ("rules", "check", "doctor", "status", "show"):
            plain = self.l3ctl(command).out
            self.assertNotIn("\033", plain, command)
            painted = self.at_a_terminal(command)
            self.assertIn("\033[", painted, command)
            self.assertEqual(re.sub("\033\\[[0-9]*m", "", painted), plain, command)
            self.assertEqual(self.at_a_terminal(command, NO_COLOR="1"), plain, command)
            self.assertEqual(self.at_a_terminal(command, TERM="dumb"), plain, command)
            self.assertEqual(self.at_a_terminal(command, NO_COLOR=""), painted, command)


if __name__ == "__main__":
    unittest.main()
