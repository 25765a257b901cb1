"""The commands of the gateway as a whole: switches, start-up, reset, WAN, access, records, status."""
import json
import os
import pty
import subprocess
import unittest
from pathlib import Path

from gateway import CONFIGURATION, FW, L3CTL, TOOLS, TOOLS, Gateway, configuration, word

FLUSH = [f"iptables -t filter -F {chain}" for chain in (
    "input_ext_local_access", "input_ext_us_acl", "input_ext_ds_acl", "input_ext_dhcp", "forward_ext_bad_tcp",
    "forward_ext_us_ip", "forward_ext_ds_ip", "forward_ext_url", "forward_ext_mac",
    "forward_ext_captiveportal", "input_ext_local_access_ex")]
FLUSH6 = [f"ip6tables -t filter -F {chain}" for chain in (
    "forward_ext_us_ip", "forward_ext_ds_ip", "forward_ext_mac")]
SAVES = ["iptables-save -t filter", "ip6tables-save -t filter"]
SCAN_FLUSH = [f"iptables -t filter -F {chain}" for chain in (
    "forward_ext_bad_tcp", "input_ext_local_access", "input_ext_local_access_ex")]
TREE = (Path(__file__).parent.parent / "data" / "chain-tree.txt")

STATUS = """\
firewall                on
security_level          high
internet_wan            none
bound_to                none
lan_address             none
port_scan_protection    on
ipsec_pass_through      on
vpn_pass_through        off
ip_filter               on, 1 entry
ip6_filter              on, 0 entries
url_filter              off, 0 entries
mac_filter              off, 0 entries
mac6_filter             off, 0 entries
dhcp_filter             off, 0 entries
acl                     off, 2 entries
captive_portal          off, 0 entries
route_qos               off, 0 entries
saved_rules             IPv4 no, IPv6 no
"""


class Switches(Gateway):
    def test_firewall(self):
        self.store()
        self.assert_outcome(self.l3ctl("firewall", "status"), 0, "firewall                off\n")
        outcome = self.l3ctl("firewall", "on")
        self.assertEqual((outcome.status, outcome.out), (0, "firewall: on\n"))
        self.assertEqual(self.commands(), FLUSH + FLUSH6 + SAVES)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True))
        self.assert_outcome(self.l3ctl("firewall", "status", "--json"), 0,
                            '{\n  "firewall": {\n    "enabled": true\n  }\n}\n')
        self.assert_outcome(self.l3ctl("firewall", "off"), 0, "firewall: off\n")
        self.assertEqual(self.commands(), FLUSH + FLUSH6)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_port_scan(self):
        self.store()
        self.assert_outcome(self.l3ctl("port-scan", "on"), 0, "port-scan: on\n")
        self.assertEqual(self.commands(), SCAN_FLUSH + SAVES[:1])
        self.assert_outcome(self.l3ctl("port-scan", "status"), 0, "port_scan_protection    on\n")
        self.assert_outcome(self.l3ctl("port-scan", "off"), 0, "port-scan: off\n")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_ipsec(self):
        self.store()
        block = ["-p udp --sport 500 --dport 500 -j DROP", "-p udp --sport 4500 --dport 4500 -j DROP"]
        remove = [f"iptables -t filter -D FORWARD {rule}" for rule in block]
        add = [f"iptables -t filter -A FORWARD {rule}" for rule in block]
        self.refuse(*remove)
        outcome = self.l3ctl("ipsec", "off")
        self.assertEqual((outcome.status, outcome.out), (0, "ipsec: off\n"))
        self.assertEqual(self.commands(), remove + add + SAVES[:1])
        self.assert_outcome(self.l3ctl("ipsec", "status"), 0, "ipsec_pass_through      off\n")
        self.refuse(*add)
        self.l3ctl("ipsec", "on")
        self.assertEqual(self.l3ctl("ipsec", "off").status, 3)

    def test_vpn(self):
        self.store()
        self.assert_outcome(self.l3ctl("vpn", "on"), 0, "vpn: on\n")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(vpn=True))
        self.assertEqual(Path("/run/l3_advance/vpn_driver").read_text(), "47 1\n")
        self.assert_outcome(self.l3ctl("vpn", "status"), 0, "vpn_pass_through        on\n")
        self.assert_outcome(self.l3ctl("vpn", "reset"), 0, "vpn: back to the factory state\n")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())
        self.assertEqual(Path("/run/l3_advance/vpn_driver").read_text(), "47 0\n")

    def test_level(self):
        self.store()
        self.assert_outcome(self.l3ctl("level"), 0, "security level off\n")
        for word_, firewall, scan in (("low", True, 0), ("high", True, 1), ("off", False, 1)):
            outcome = self.l3ctl("level", word_)
            self.assertEqual((outcome.status, outcome.out), (0, f"level: {word_}\n"))
            stored = CONFIGURATION.read_bytes()
            self.assertEqual(stored[29:31], b"1\n" if firewall else b"0\n")
            self.assertEqual(stored[FW + 4628:FW + 4632], word(scan))
            self.assert_outcome(self.l3ctl("level", "--json"), 0,
                                f'{{\n  "security_level": "{word_}"\n}}\n')
        self.assertEqual(self.l3ctl("level", "2").status, 2)

    def test_a_level_in_a_settings_file(self):
        self.store()
        outcome = self.apply('{"security_level": "high", "port_scan_protection": true}')
        self.assertEqual((outcome.status, outcome.out),
                         (0, "applied: security_level; unchanged: port_scan_protection\n"))
        outcome = self.apply('{"security_level": "high", "firewall": {"enabled": true}}')
        self.assert_outcome(outcome, 0, "applied: nothing; unchanged: security_level, firewall\n")
        outcome = self.apply('{"security_level": "low"}')
        self.assertEqual((outcome.status, outcome.out),
                         (0, "applied: security_level; unchanged: nothing\n"))
        self.assert_outcome(self.l3ctl("port-scan", "status"), 0, "port_scan_protection    off\n")

    def test_portal(self):
        self.store(w6160=1)
        self.assert_outcome(self.l3ctl("portal", "status"), 0, "portal inactive\n")
        outcome = self.l3ctl("portal", "on")
        self.assertEqual((outcome.status, outcome.out), (0, "portal: the firewall is on\n"))
        self.assertTrue(outcome.err.startswith(
            'l3ctl: note: this switches the whole firewall; "l3ctl captive-portal on" switches the portal '
            "alone\n"), outcome.err)
        self.assert_outcome(self.l3ctl("portal", "status"), 0, "portal active\n")
        self.assert_outcome(self.l3ctl("portal", "status", "--json"), 0, '{\n  "active": true\n}\n')
        self.assertEqual(self.l3ctl("portal", "off").status, 0)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(w6160=1))

    def test_reading_without_a_file_creates_none(self):
        for arguments in (["firewall", "status"], ["portal", "status"], ["qos", "show"], ["status"],
                          ["acl", "list"]):
            self.assertEqual(self.l3ctl(*arguments).status, 0)
            asked = ["iptables-save -c -t filter", "ip6tables-save -c -t filter"]
            self.assertEqual(self.commands(), asked if arguments == ["status"] else [])
            self.assert_untouched()


class StartUp(Gateway):
    def test_three_starts(self):
        self.store(firewall=True, w2404=1)
        tree = [line for line in TREE.read_text().splitlines() if line and not line.startswith("#")][:33]
        outcome = self.l3ctl("init")
        self.assertEqual((outcome.status, outcome.out), (0, "init: the gateway is up\n"))
        self.assertEqual(self.commands(), tree + SAVES[:1])
        self.forget_rules()
        self.assertEqual(self.l3ctl("init").status, 0)
        self.assertEqual(self.commands(), tree + SAVES[1:])
        self.forget_rules()
        self.assertEqual(self.l3ctl("init").status, 0)
        self.assertEqual(self.commands(), tree + ["iptables -A forward_ext_us_ip -j DROP"] + SAVES[:1] +
                         ["ip6tables-restore"])

    def test_vpn_pass_through_reaches_the_platform(self):
        CONFIGURATION.write_bytes(configuration(vpn=True))
        self.assertEqual(self.l3ctl("init").status, 0)
        self.assertEqual(Path("/run/l3_advance/vpn_pass_through").read_text(), "1\n")
        self.assertEqual(Path("/run/l3_advance/vpn_driver").read_text(), "47 1\n")

    def run_already(self):
        """From now on the tools show a gateway that has started: its IPv4 jumps, one of them twice."""
        jumps = [line.replace("iptables -I", "-A").replace("iptables ", "") for line in TREE.read_text().splitlines()
                 if line.startswith(("iptables -A FORWARD", "iptables -A INPUT", "iptables -I INPUT"))]
        listed = " ".join(f"'[3:180] {line}'" for line in [*jumps, "-A FORWARD -j forward_ext_ip"])
        for name, rules in (("iptables-save", listed), ("ip6tables-save", "")):
            tool = TOOLS / name
            text = tool.read_text().replace("*-save\\ -t\\ *\\ -c)", "*-save\\ *)")
            text = text.replace("'# rules\\n*%s\\n' \"$2\"", "'# rules\\n*filter\\n'")
            tool.write_text(text.replace("echo COMMIT", f"printf '%s\\n' {rules}; echo COMMIT"))

    def test_a_second_start_is_refused(self):
        self.store()
        self.run_already()
        for words in (["init"], ["--force", "init"]):
            self.assert_outcome(
                self.l3ctl(*words), 1,
                err="l3ctl: init: the gateway has started; a second start would put every jump into the chains there once "
                    'more; "l3ctl init --again" removes our rules first; nothing was changed\n')
            self.assertEqual(self.commands(), [])

    def test_any_jump_of_ours_makes_a_started_gateway_and_no_other_rule_does(self):
        for rule, is_started in (("-A INPUT -j input_ext_local_access", True), ("-A FORWARD -j forward_ext_mac", True),
                                 ("-A INPUT -j input_ext_access_ctrl", False), ("-A forward_ext_ip -j forward_ext_us_ip", False),
                                 ("-A FORWARD -j forward_ext_ip_of_others", False), ("-A FORWARD -j ACCEPT", False)):
            self.setUp()
            self.store()
            tool = (TOOLS / "iptables-save").read_text()
            (TOOLS / "iptables-save").write_text(tool.replace("echo COMMIT", f"echo '[3:180] {rule}'; echo COMMIT"))
            self.assertEqual(self.l3ctl("init").status == 1, is_started, rule)

    def test_again_removes_every_jump_first_and_makes_each_table_at_once(self):
        self.store(firewall=True)
        self.run_already()
        self.way = ()
        outcome = self.l3ctl("init", "--again")
        self.assertEqual((outcome.status, outcome.out), (0, "init: the gateway has started again\n"), outcome.err)
        made = self.commands()
        added = [line for line in made if line.startswith(("iptables -I INPUT", "iptables -I FORWARD"))]
        removed = [line for line in made if line.startswith(("iptables -D INPUT", "iptables -D FORWARD"))]
        self.assertEqual(len(added), 12)
        self.assertEqual(len(removed), 13)
        self.assertLess(max(made.index(line) for line in removed), min(made.index(line) for line in added))
        # The duplicate goes alone, and then one restore for each family makes the rest.
        restores = Path("/tmp/restores").read_text().split("\n")[:-1]
        self.assertEqual(restores[0], "iptables-restore: 1")
        self.assertEqual(sorted(line.split(":")[0] for line in restores[1:]), ["ip6tables-restore", "iptables-restore"])

    def test_again_on_a_gateway_that_has_not_started_starts_it(self):
        self.assert_outcome(self.l3ctl("init", "--again"), 0, "init: the gateway is up\n")

    def test_a_refused_rule_leaves_a_running_gateway_as_it_was(self):
        self.store(firewall=True)
        before = CONFIGURATION.read_bytes()
        self.run_already()
        self.way = ()
        self.refuse("iptables -I FORWARD 2 -j forward_ext_ip")
        outcome = self.l3ctl("init", "--again")
        self.assertEqual((outcome.status, outcome.out), (3, ""))
        self.assertTrue(outcome.err.endswith("l3ctl: the packet filter refused a rule; everything is as it was before\n"))
        self.assertEqual(CONFIGURATION.read_bytes(), before)

    def test_again_refuses_a_damaged_file(self):
        self.store(firewall=True)
        CONFIGURATION.write_bytes(CONFIGURATION.read_bytes()[:9000])
        self.run_already()
        outcome = self.l3ctl("init", "--again")
        self.assertEqual((outcome.status, outcome.out), (1, ""))
        self.assertTrue(outcome.err.endswith("nothing was changed\n"), outcome.err)
        self.assertEqual(self.commands(), [])

    def test_chains_without_a_jump_are_no_start(self):
        self.refuse("iptables -N forward_ext_ip", "ip6tables -N forward_ext_ip")
        outcome = self.l3ctl("init")
        self.assertEqual((outcome.status, outcome.out), (0, "init: the gateway is up\n"))
        self.assertNotIn("forward_ext_ip", outcome.err)

    def test_a_jump_that_fails_is_told(self):
        self.refuse("iptables -A FORWARD -j forward_ext_ip")
        outcome = self.l3ctl("init")
        self.assertEqual((outcome.status, outcome.out), (3, ""))
        self.assertTrue(outcome.err.endswith("l3ctl: the packet filter refused a rule; all else is done\n"), outcome.err)

    def test_restore_rules_without_saved_files(self):
        self.store()
        outcome = self.l3ctl("restore-rules")
        self.assertEqual((outcome.status, outcome.out), (3, ""))
        self.assertIn('l3ctl: "iptables-restore </ztcfg/firewall.conf" ended with 2: ', outcome.err)
        self.assertIn('l3ctl: "ip6tables-restore </ztcfg/firewall6.conf" ended with 2: ', outcome.err)
        # No rule has changed.
        self.assertEqual(self.commands(), ["iptables -D INPUT 8"])

    def test_restore_rules_from_saved_files(self):
        self.store()
        Path("/ztcfg/firewall.conf").write_text("# saved\n")
        Path("/ztcfg/firewall6.conf").write_text("# saved\n")
        self.assert_outcome(
            self.l3ctl("restore-rules"), 0,
            "restore-rules: restored from /ztcfg/firewall.conf and /ztcfg/firewall6.conf\n",
            "l3ctl: warning: after the IPv4 rules are restored, rule number 8 of INPUT is deleted, whatever "
            "it is\n")
        self.assertEqual(self.commands(), ["iptables-restore", "iptables -D INPUT 8", "ip6tables-restore"])


class Reset(Gateway):
    def setUp(self):
        super().setUp()
        self.store(firewall=True, w4628=1, w6160=1, w4632=0)

    def test_needs_yes_when_nobody_can_be_asked(self):
        stored = CONFIGURATION.read_bytes()
        self.assert_outcome(self.l3ctl("reset"), 2, "",
                            "l3ctl: reset needs --yes when nobody can be asked; nothing was changed\n")
        self.assertEqual(CONFIGURATION.read_bytes(), stored)
        self.assertEqual(self.commands(), [])

    def test_with_yes(self):
        self.assert_outcome(self.l3ctl("reset", "--yes"), 0, "reset: factory state\n")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(w4632=0))

    def answer(self, text):
        terminal, other_end = pty.openpty()
        with subprocess.Popen([L3CTL, "reset"], stdin=other_end, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, env=self.environment()) as asking:
            os.close(other_end)
            os.write(terminal, text)
            out, err = asking.communicate(timeout=60)
        os.close(terminal)
        return asking.returncode, out.decode(), err.decode()

    def test_asks_at_a_terminal(self):
        question = ("Turn the firewall off and forget every filter and route QoS (IPsec and VPN pass-through "
                    "stay as they are, as do the rules of management access)? [y/N] ")
        stored = CONFIGURATION.read_bytes()
        for refusal in (b"\n", b"n\n", b"\x04"):
            self.assertEqual(self.answer(refusal), (1, "", question + "l3ctl: nothing was changed\n"))
        self.assertEqual(CONFIGURATION.read_bytes(), stored)
        self.assertEqual(self.answer(b"y\n"), (0, "reset: factory state\n", question))
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(w4632=0))


class Wan(Gateway):
    def setUp(self):
        super().setUp()
        self.store()
        for command in (["link", "add", "wan3", "type", "bridge"], ["addr", "add", "203.0.113.1/24", "dev", "wan3"],
                        ["link", "set", "wan3", "up"], ["route", "add", "default", "via", "203.0.113.2"]):
            subprocess.run(["/usr/sbin/ip", *command], check=True)
        self.addCleanup(subprocess.run, ["/usr/sbin/ip", "link", "del", "wan3"], check=True)

    CLEAR = ["iptables -t filter -F input_ext_local_access_ex", "iptables -t filter -F forward_ext_ip",
             "ip6tables -t filter -F forward_ext_ip", "iptables -t filter -F input_ext_acl"]

    def dispatch(self, name):
        return ["iptables -A forward_ext_ip -i br0 -j forward_ext_us_ip",
                f"iptables -A forward_ext_ip -i {name} -j forward_ext_ds_ip",
                "ip6tables -A forward_ext_ip -i br0 -j forward_ext_us_ip",
                f"ip6tables -A forward_ext_ip -i {name} -j forward_ext_ds_ip",
                "iptables -A input_ext_acl -i br0 -j input_ext_us_acl",
                f"iptables -A input_ext_acl -i {name} -j input_ext_ds_acl"]

    def test_show(self):
        self.assert_outcome(self.l3ctl("wan", "show"), 0, "wan3\n")
        self.assertEqual(self.l3ctl("wan", "show", "--json").out, '{\n  "internet_wan": "wan3"\n}\n')
        subprocess.run(["/usr/sbin/ip", "route", "del", "default"], check=True)
        outcome = self.l3ctl("wan", "show")
        self.assertEqual((outcome.status, outcome.out), (1, ""))
        self.assertTrue(outcome.err.endswith("l3ctl: the platform knows no Internet WAN\n"))

    def test_update_clears_first(self):
        outcome = self.l3ctl("wan", "update", "wan4")
        self.assertEqual((outcome.status, outcome.out), (0, "wan: wan4\n"))
        self.assertEqual(self.commands(), self.CLEAR + self.dispatch("wan4"))

    def test_update_takes_any_name_that_an_interface_can_have(self):
        for name in ("ppp0.100", "nas0_1.10", "fifteen_charsss"):
            outcome = self.l3ctl("wan", "update", name)
            self.assertEqual((outcome.status, outcome.out), (0, f"wan: {name}\n"))
            self.assertEqual(self.commands(), self.CLEAR + self.dispatch(name))

    def test_clear(self):
        outcome = self.l3ctl("wan", "clear")
        self.assertEqual((outcome.status, outcome.out), (0, "wan: cleared\n"))
        self.assertEqual(self.commands(), self.CLEAR)

    def test_only_interface_names_reach_the_shell(self):
        for name in ("", "sixteen_chars_xx", "a;b", "a b", "$(x)", "`x`", "a|b", "a&b", "a>b", "-j", ".", "..", "a/b", "a'b",
                     'a"b', "a\nb", "é"):
            outcome = self.l3ctl("wan", "update", name)
            self.assertEqual((outcome.status, outcome.out), (2, ""), name)
        self.assertEqual(self.commands(), [])


class LongWanName(Gateway):
    """The platform's getIfName() cannot hand the name to the library."""

    DROP = "iptables -I input_ext_local_access_ex -i ppp0.100 -j DROP"

    def setUp(self):
        super().setUp()
        self.store()
        for command in (["link", "add", "ppp0.100", "type", "bridge"], ["link", "set", "ppp0.100", "up"],
                        ["addr", "add", "203.0.113.1/24", "dev", "ppp0.100"],
                        ["route", "add", "default", "via", "203.0.113.2"]):
            subprocess.run(["/usr/sbin/ip", *command], check=True)
        self.addCleanup(subprocess.run, ["/usr/sbin/ip", "link", "del", "ppp0.100"], check=True)

    def bound(self):
        """How often the commands bind each chain, and drop what comes from the WAN."""
        commands = self.commands()
        return [commands.count(line) for line in (
            "iptables -A forward_ext_ip -i ppp0.100 -j forward_ext_ds_ip",
            "ip6tables -A forward_ext_ip -i ppp0.100 -j forward_ext_ds_ip",
            "iptables -A input_ext_acl -i ppp0.100 -j input_ext_ds_acl", self.DROP)]

    def test_show_and_status_name_it_whole(self):
        outcome = self.l3ctl("wan", "show")
        self.assertEqual((outcome.status, outcome.out), (0, "ppp0.100\n"))
        self.assertEqual(self.l3ctl("wan", "show", "--json").out, '{\n  "internet_wan": "ppp0.100"\n}\n')
        self.assertEqual(json.loads(self.l3ctl("status", "--json").out)["internet_wan"], "ppp0.100")

    def test_switching_on_binds_the_rules_to_it(self):
        self.assertEqual(self.l3ctl("port-scan", "on").status, 0)
        self.assertEqual(self.bound(), [0, 0, 0, 0], "the firewall is off")
        self.assertEqual(self.l3ctl("firewall", "on").status, 0)
        self.assertEqual(self.bound(), [1, 1, 1, 1])
        self.assertEqual(self.l3ctl("port-scan", "off").status, 0)
        self.assertEqual(self.bound(), [0, 0, 0, 0])
        self.assertEqual(self.l3ctl("port-scan", "on").status, 0)
        self.assertEqual(self.bound(), [1, 1, 1, 1])
        self.assertEqual(self.l3ctl("firewall", "off").status, 0)
        self.assertEqual(self.bound(), [0, 0, 0, 0])
        self.assertEqual(self.l3ctl("level", "high").status, 0)
        self.assertEqual(self.bound(), [1, 1, 1, 1])

    def test_an_apply_binds_the_rules_to_it(self):
        wanted = json.dumps({"firewall": {"enabled": True}, "port_scan_protection": True})
        self.assertEqual(self.l3ctl("apply", "-", stdin=wanted).status, 0)
        self.assertEqual(self.bound()[3], 1)


class Access(Gateway):
    HOOK_OFF = "iptables -D INPUT -j input_ext_access_ctrl"
    HOOK_ON = "iptables -I INPUT -j input_ext_access_ctrl"

    def rule(self, letter, port):
        return f"iptables -{letter} input_ext_access_ctrl -p tcp --dport {port} -j DROP"

    def test_telnet(self):
        before = [self.HOOK_OFF, self.rule("D", 23), self.rule("D", 26)]
        self.refuse(*before)
        self.assert_outcome(self.l3ctl("access", "telnet", "block"), 0, "access: telnet blocked\n")
        self.assertEqual(self.commands(), before + [self.HOOK_ON, self.rule("A", 23), self.rule("A", 26)])
        self.assert_outcome(self.l3ctl("access", "telnet", "allow"), 0, "access: telnet allowed\n")
        self.assertEqual(self.commands(), before + [self.HOOK_ON])
        self.refuse(self.rule("A", 26))
        self.assertEqual(self.l3ctl("access", "telnet", "block").status, 3)

    def test_web(self):
        self.assert_outcome(self.l3ctl("access", "web", "block", "--port", "8080"), 0,
                            "access: web at port 8080 blocked\n")
        self.assertEqual(self.commands(), [self.HOOK_OFF, self.rule("D", 8080), self.HOOK_ON, self.rule("A", 8080)])
        self.assert_outcome(self.l3ctl("access", "web", "allow"), 0, "access: web at port 80 allowed\n")
        self.assertEqual(self.commands(), [self.HOOK_OFF, self.rule("D", 80), self.HOOK_ON])
        for port in ("0", "65536", "-1", "80;id", "x", "80 "):
            self.assertEqual(self.l3ctl("access", "web", "block", "--port", port).status, 2, port)
        self.assertEqual(self.commands(), [])

    def test_page_jump(self):
        tail = "PREROUTING -i br0 -s 192.168.1.0/24 ! -d 192.168.1.1 -p tcp --dport 80 -j DNAT --to 192.168.1.5"
        self.assert_outcome(self.l3ctl("page-jump", "add", "192.168.1.0/24", "192.168.1.5"), 0,
                            "page-jump: added\n")
        self.assertEqual(self.commands(), [f"iptables -t nat -A {tail}"])
        self.assert_outcome(self.l3ctl("page-jump", "remove", "192.168.1.0/24", "192.168.1.5"), 0,
                            "page-jump: removed\n")
        self.assertEqual(self.commands(), [f"iptables -t nat -D {tail}"])
        self.refuse(f"iptables -t nat -D {tail}")
        self.assertEqual(self.l3ctl("page-jump", "remove", "192.168.1.0/24", "192.168.1.5").status, 3)

    def test_only_addresses_reach_the_shell(self):
        for bad in ("", "any", "192.168.1.1;id", "$(id)", "`id`", "192.168.1.1 -j ACCEPT", "example.com",
                    "192.168.1.1\nid", "192.168.1.1|sh", "192.168.1.1&", "192.168.1.1>x", "::1"):
            self.assertEqual(self.l3ctl("page-jump", "add", bad, "192.168.1.5").status, 2, bad)
            self.assertEqual(self.l3ctl("page-jump", "add", "192.168.1.0/24", bad).status, 2, bad)
        self.assertEqual(self.l3ctl("page-jump", "add", "192.168.1.0/24", "192.168.1.0/24").status, 2)
        self.assert_untouched()


class Qos(Gateway):
    BLOCK = b"".join(word(n) for n in (2, 1, 0xAB, 0, 17, 0xC0A80114, 0, 0, 0xCB007102)) + bytes(range(208))

    def test_a_block_from_a_file(self):
        self.store()
        self.assert_outcome(self.l3ctl("qos", "set", "-", stdin=self.BLOCK), 0, "qos: rules set\n")
        self.assertEqual(CONFIGURATION.read_bytes()[6199:6447], word(0) + self.BLOCK)
        self.assert_outcome(self.l3ctl("qos", "on"), 0, "qos: on\n")
        self.assertEqual(CONFIGURATION.read_bytes()[6199:6447], word(1) + self.BLOCK)
        self.assertEqual(Path("/run/l3_advance/route_qos").read_bytes(), word(1) + self.BLOCK)
        self.assert_outcome(self.l3ctl("qos", "show"), 0,
                            "enabled       true\nrules_num     2\ncontrol       1\nqos_type      171\n"
                            "protocol      17\nsource        192.168.1.20\ndestination   203.0.113.2\n"
                            f"block         {self.BLOCK.hex()}\n")
        self.assertEqual(json.loads(self.l3ctl("qos", "show", "--json").out), {
            "enabled": True, "rules_num": 2, "control": 1, "qos_type": 171, "protocol": 17,
            "source": "192.168.1.20", "destination": "203.0.113.2", "block": self.BLOCK.hex()})
        self.assert_outcome(self.l3ctl("qos", "off"), 0, "qos: off\n")
        self.assert_outcome(self.l3ctl("qos", "clear"), 0, "qos: cleared\n")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_another_length_is_refused(self):
        self.store()
        for block, error in ((self.BLOCK[:-1], "a block of rules is 244 bytes"), (b"", "a block of rules is 244 bytes"),
                             (self.BLOCK + b"x", "more than 244 bytes")):
            self.assert_outcome(self.l3ctl("qos", "set", "-", stdin=block), 2, "",
                                f"l3ctl: standard input: {error}; nothing was changed\n")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())


class Records(Gateway):
    def test_wan_service(self):
        record = bytes(i * 7 % 256 for i in range(1872))
        Path("/tmp/record").write_bytes(record)
        self.assert_outcome(self.l3ctl("record", "write", "wan-service", "/ztcfg/wan.dat", "/tmp/record"), 0,
                            "record: written to /ztcfg/wan.dat\n")
        self.assertEqual(Path("/ztcfg/wan.dat").read_bytes(), record)
        done = subprocess.run([L3CTL, "record", "read", "wan-service", "/ztcfg/wan.dat"], capture_output=True,
                              env=self.environment(), check=True)
        self.assertEqual((done.stdout, done.stderr), (record, b""))
        self.assertEqual(json.loads(self.l3ctl("record", "read", "wan-service", "/ztcfg/wan.dat", "--json").out),
                         {"record": record.hex()})

    def test_a_missing_wan_record_is_created(self):
        self.assertEqual(self.l3ctl("record", "read", "wan-service", "/ztcfg/wan.dat").out, "\0" * 1872)
        self.assertEqual(Path("/ztcfg/wan.dat").read_bytes(), bytes(1872))

    def test_another_length_is_refused(self):
        self.assert_outcome(
            self.l3ctl("record", "write", "wan-service", "/ztcfg/wan.dat", "-", stdin=b"short"), 2, "",
            "l3ctl: standard input: a WAN service record is 1872 bytes; nothing was changed\n")
        self.assertFalse(Path("/ztcfg/wan.dat").exists())

    def test_a_record_that_cannot_be_written(self):
        outcome = self.l3ctl("record", "write", "wan-service", "/ztcfg/none/wan.dat", "-", stdin=bytes(1872))
        self.assertEqual((outcome.status, outcome.out), (1, ""))
        self.assertIn("set_std_wan_service_info_to_cfgfile::init_std_wan_cfgfile err!\n", outcome.err)

    def test_ct_timeout(self):
        self.assert_outcome(self.l3ctl("record", "read", "ct-timeout"), 0, "300\n")
        self.assert_outcome(self.l3ctl("record", "write", "ct-timeout", "60"), 0,
                            "record: time-out of idle connections is 60 s\n")
        self.assertEqual(Path("/ztcfg/ct_activity_timeout.conf").read_bytes(), b"60\0\0")
        self.assert_outcome(self.l3ctl("record", "read", "ct-timeout", "--json"), 0, '{\n  "ct_timeout": 60\n}\n')
        for bad in ("0", "-1", "86401", "x", "60s"):
            self.assertEqual(self.l3ctl("record", "write", "ct-timeout", bad).status, 2)
        Path("/ztcfg/ct_activity_timeout.conf").write_bytes(b"\x1b[2J")
        self.assert_outcome(self.l3ctl("record", "read", "ct-timeout"), 1, "",
                            "l3ctl: /ztcfg/ct_activity_timeout.conf holds no number\n")


class Status(Gateway):
    def test_on_one_screen(self):
        self.store(firewall=True, w4628=1, w0=1, w5060=2)
        self.assert_outcome(self.l3ctl("status"), 0, STATUS)
        self.store(w4628=1, w0=1, w5060=2)
        off = self.l3ctl("status").out
        self.assertIn("security_level          off\n", off)
        self.assertIn("ip_filter               waits for the firewall, 1 entry\n", off)

    def test_as_json(self):
        self.store(firewall=True, w4628=1, w0=1)
        status = json.loads(self.l3ctl("status", "--json").out)
        self.assertEqual(status["security_level"], "high")
        self.assertEqual(status["internet_wan"], None)
        self.assertEqual(status["lists"]["ip_filter"], {"enabled": True, "active": True, "entries": 1})
        self.assertEqual(status["lists"]["acl"], {"enabled": False, "active": False, "entries": 0})
        self.assertEqual(status["saved_rules"], {"ipv4": False, "ipv6": False})

    def test_what_the_rules_are_bound_to(self):
        self.store(firewall=True)
        for ipv4, ipv6, words in (("wan3", "wan3", "wan3"), ("wan9", None, "ip_filter wan9, ip6_filter none, acl none"),
                                  ("wan3", "wan4", "ip_filter wan3, ip6_filter wan4, acl none")):
            for tool, wan in (("iptables-save", ipv4), ("ip6tables-save", ipv6)):
                bound = f"[0:0] -A forward_ext_ip -i {wan} -j forward_ext_ds_ip\\n" if wan else ""
                acl = f"[0:0] -A input_ext_acl -i {wan} -j input_ext_ds_acl\\n" if words == "wan3" else ""
                (TOOLS / tool).write_text("#!/bin/sh\nprintf '*filter\\n:forward_ext_ip - [0:0]\\n"
                                          f":input_ext_acl - [0:0]\\n{bound}{acl}COMMIT\\n'\n")
            self.assertIn(f"bound_to                {words}\n", self.l3ctl("status").out)
        (TOOLS / "iptables-save").write_text("#!/bin/sh\nexit 4\n")
        self.assertIn("bound_to                unknown\n", self.l3ctl("status").out)

    def test_version_is_registered_with_the_platform(self):
        outcome = self.l3ctl("version")
        self.assertEqual((outcome.status, outcome.err), (0, ""))
        self.assertTrue(outcome.out.startswith("l3ctl 10.0.0\nlibl3_advance.so "), outcome.out)
        self.assertEqual(json.loads(self.l3ctl("version", "--json").out)["l3ctl"], "10.0.0")


if __name__ == "__main__":
    unittest.main()
