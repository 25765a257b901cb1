"""Start-up, start-up once more, the saved rules and the factory reset."""
import os
import pty
import re
import subprocess
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, STANDING, Gateway, configuration

SAVES = ["iptables-save -t filter", "ip6tables-save -t filter"]
TREE = Path(__file__).parent.parent / "data" / "chain-tree.txt"


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
        self.stand([*jumps, "-A FORWARD -j forward_ext_ip"])
        return jumps

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
            Path("/tmp/rules.iptables.filter").write_text(rule + "\n", encoding="ascii")
            self.assertEqual(self.l3ctl("init").status == 1, is_started, rule)

    def test_again_leaves_every_jump_once_and_makes_each_table_at_once(self):
        self.store(firewall=True)
        jumps = self.run_already()
        self.way = ()
        outcome = self.l3ctl("init", "--again")
        self.assertEqual((outcome.status, outcome.out), (0, "init: the gateway has started again\n"), outcome.err)
        edits = [line for line in self.commands() if re.match("iptables -[ADI] (INPUT|FORWARD)", line)]
        # What stands in its place is not edited.
        self.assertEqual(edits, ["iptables -D FORWARD -j forward_ext_ip"] * 2 + ["iptables -I FORWARD 2 -j forward_ext_ip"])
        for chain in ("INPUT", "FORWARD"):
            here, there = ([rule for rule in rules if rule.split()[1] == chain] for rules in (self.standing(), jumps))
            self.assertEqual(here, there)
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

    def test_a_jump_that_fails_is_reported(self):
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

    def test_needs_yes_without_a_terminal(self):
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


if __name__ == "__main__":
    unittest.main()
