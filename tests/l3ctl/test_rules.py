"""l3ctl rules: the tree, the picture, the watch and its colours, over what iptables-save printed."""
import json
import os
import re
import signal
import subprocess
import threading
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, TOOLS
from live import FRESH4, ONE_NAME, Rules, squeezed

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
WANTED = ONE_NAME.replace("example.com", "example.org").replace("}]}}", """}]},
 "mac_filter": {"enabled": true, "mode": "black-list", "devices": [
  {"mac": "02:00:00:00:01:20"}, {"mac": "02:00:00:00:01:21"}]}}""")
PACKET = ("--from", "lan", "--to", "wan", "--source", "192.168.1.20", "--destination", "203.0.113.2", "--dns-name",
          "example.com", "--time", "12:00")


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
                            "l3ctl: /run/none/rules.svg: cannot be written: No such file or directory\n")
        self.assert_outcome(self.l3ctl("--json", "rules", "--svg", "/run/rules.svg"), 2,
                            '{"error":"--svg draws a picture, which --json cannot be asked of","messages":[]}\n',
                            "l3ctl: --svg draws a picture, which --json cannot be asked of\n")
        (TOOLS / "dot").write_text("#!/bin/sh\necho broken >&2\nexit 9\n")
        (TOOLS / "dot").chmod(0o755)
        self.assert_outcome(self.l3ctl("rules", "--svg", "/run/rules.svg"), 1, "", "l3ctl: dot ended with 9: broken\n")
        (TOOLS / "dot").unlink()
        tools = {"PATH": f"{TOOLS}:/tmp/few"}
        Path("/tmp/few").mkdir(exist_ok=True)
        for name in ("sh", "cat"):
            Path("/tmp/few", name).unlink(missing_ok=True)
            Path("/tmp/few", name).symlink_to(f"/usr/bin/{name}")
        done = subprocess.run([L3CTL, "rules", "--svg", "/run/rules.svg"], capture_output=True, text=True, env=tools,
                              check=False)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (
            1, "", f"l3ctl: cannot draw the picture: dot is not in {TOOLS}, /tmp/few, /usr/sbin, /sbin (Debian package graphviz)\n"))
        self.assertFalse(Path("/run/rules.svg").exists())

    def test_the_place_of_a_picture_stays_what_it_is(self):
        self.settings()
        svg = self.l3ctl("rules", "--svg", "-").out
        # A shell that appends gets the picture behind what is there.
        log = Path("/run/log")
        log.write_text("before\n")
        with log.open("a") as end:
            subprocess.run([L3CTL, "rules", "--svg", "/dev/stdout"], stdout=end, env=self.environment(), check=True)
        self.assertEqual(log.read_text(), "before\n" + svg)
        self.assertEqual(self.l3ctl("rules", "--svg", "/dev/stdout").out, svg)
        self.assertTrue(Path("/dev/stdout").is_symlink())
        os.mkfifo("/run/pipe")
        reader = os.open("/run/pipe", os.O_RDONLY | os.O_NONBLOCK)
        self.assert_outcome(self.l3ctl("rules", "--svg", "/run/pipe"), 0)
        self.assertEqual(os.read(reader, 1 << 20).decode(), svg)
        os.close(reader)
        self.assertTrue(Path("/run/pipe").is_fifo())
        Path("/run/link").symlink_to("/run/rules.svg")
        self.assert_outcome(self.l3ctl("rules", "--svg", "/run/link"), 2, "",
                            "l3ctl: /run/link: is a link that leads nowhere; nothing was changed\n")
        Path("/run/rules.svg").touch()
        self.assert_outcome(self.l3ctl("rules", "--svg", "/run/link"), 0)
        self.assertTrue(Path("/run/link").is_symlink())
        self.assertEqual(Path("/run/rules.svg").read_text(), svg)

    def test_a_picture_leaves_its_neighbours_and_may_be_read_by_all(self):
        self.settings()
        Path("/run/rules.svg.next").write_text("mine")
        os.umask(0o022)
        self.assert_outcome(self.l3ctl("rules", "--svg", "/run/rules.svg"), 0)
        self.assertEqual(Path("/run/rules.svg.next").read_text(), "mine")
        self.assertEqual(Path("/run/rules.svg").stat().st_mode & 0o777, 0o644)

    def test_places_that_are_none(self):
        self.settings()
        self.assert_outcome(self.l3ctl("rules", "--svg", ""), 2, "", "l3ctl: --svg: the name of the file is empty\n")
        self.assert_outcome(self.l3ctl("rules", "--svg", "/run"), 1, "", "l3ctl: /run: cannot be written: Is a directory\n")
        self.assert_outcome(self.l3ctl("rules", "--svg", "/dev/full"), 1, "",
                            "l3ctl: /dev/full: cannot be written: No space left on device\n")


class Watch(Rules):
    def watching(self, *options):
        process = subprocess.Popen([L3CTL, "rules", "--watch", "1", *options], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, env=self.environment(), text=True)
        watchdog = threading.Timer(20, process.kill)
        watchdog.start()
        self.addCleanup(watchdog.cancel)
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

    def test_ends_while_a_tool_hangs(self):
        self.settings()
        self.hook("iptables-save", "echo here >/run/hangs; exec sleep 30")
        os.mkfifo("/run/hangs")
        for ending in (signal.SIGINT, signal.SIGTERM):
            process = subprocess.Popen([L3CTL, "rules", "--watch"], stdout=subprocess.DEVNULL, env=self.environment(),
                                       process_group=0)
            watchdog = threading.Timer(20, os.killpg, (process.pid, signal.SIGKILL))
            watchdog.start()
            self.addCleanup(watchdog.cancel)
            Path("/run/hangs").read_text()
            # l3ctl alone is told, then, as at a terminal, the tool with it.
            process.send_signal(ending)
            self.assertEqual(process.wait(timeout=20), 0)
            os.killpg(process.pid, ending)

    def test_a_tool_can_be_interrupted_whatever_signals_l3ctl_inherited_blocked(self):
        self.settings()
        self.hook("ip6tables-save", "kill -INT $$; exec sleep 30")
        done = subprocess.run([L3CTL, "check"], capture_output=True, text=True, env=self.environment(), check=False,
                              preexec_fn=lambda: signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGINT]), timeout=20)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (1, "", "l3ctl: ip6tables-save ended with 130: \n"))

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
        Path("/tmp/wanted.json").write_text(WANTED)
        for command in (["rules"], ["check"], ["doctor"], ["status"], ["show"], ["inspect"], ["diff", "/tmp/wanted.json"],
                        ["plan", "/tmp/wanted.json"], ["explain", *PACKET]):
            plain = self.l3ctl(*command).out
            self.assertNotIn("\033", plain, command)
            painted = self.at_a_terminal(*command)
            self.assertIn("\033[", painted, command)
            self.assertEqual(re.sub("\033\\[[0-9]*m", "", painted), plain, command)
            self.assertEqual(self.at_a_terminal(*command, NO_COLOR="1"), plain, command)
            self.assertEqual(self.at_a_terminal(*command, TERM="dumb"), plain, command)
            self.assertEqual(self.at_a_terminal(*command, NO_COLOR=""), painted, command)

    def test_old_is_red_and_new_is_green(self):
        self.settings()
        Path("/tmp/wanted.json").write_text(WANTED)
        diff = self.at_a_terminal("diff", "/tmp/wanted.json")
        self.assertIn('url_filter.entries[0].host: \033[31m"example.com"\033[0m -> \033[32m"example.org"\033[0m\n', diff)
        self.assertIn('\033[32m+ mac_filter.devices[0]: ', diff)
        self.assertIn("\033[31mdropped\033[0m by url_filter.entries[0]: ", self.at_a_terminal("explain", *PACKET))

    def test_what_is_torn_is_red(self):
        self.store(w0=99)
        inspected = self.at_a_terminal("inspect")
        self.assertIn("\033[31mimplausible: byte 31, ", inspected)
        self.store()
        self.assertIn("\033[32mnothing is torn or implausible\033[0m\n", self.at_a_terminal("inspect"))

    def test_a_watch_clears_the_screen_before_each_drawing(self):
        self.settings()
        ours, theirs = os.openpty()
        process = subprocess.Popen([L3CTL, "rules", "--watch", "1"], stdout=theirs, stderr=subprocess.DEVNULL,
                                   env=self.environment())
        os.close(theirs)
        watchdog = threading.Timer(20, process.kill)
        watchdog.start()
        self.addCleanup(watchdog.cancel)
        seen = b""
        while seen.count(b"forward_ext_us_ip ") < 6:
            seen += os.read(ours, 65536)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=20), 0)
        os.close(ours)
        drawings = seen.split(b"\033[H\033[J")
        self.assertEqual(drawings[0], b"")
        self.assertGreaterEqual(len(drawings), 3)
        for drawing in drawings[1:]:
            self.assertEqual(drawing.count(b"end with Ctrl-C"), 1)


del Rules

if __name__ == "__main__":
    unittest.main()
