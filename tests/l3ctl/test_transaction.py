"""Rules are made together, and a change that fails leaves everything as it was."""
import fcntl
import json
import os
import resource
import signal
import subprocess
import threading
import time
import unittest
from pathlib import Path

from gateway import CHAINS, CONFIGURATION, L3CTL, RESTORES, STANDING, TOOLS, Gateway, configuration

STORE = Path("/ztcfg")
PLATFORM = Path("/run/l3_advance")
# What a change finds in the chains: without it there is nothing to flush.
OWN = [chain[1:] for chain in STANDING if "_ext_" in chain]
OWN6 = ["forward_ext_us_ip", "forward_ext_ds_ip", "forward_ext_mac"]
BLOCK = ["-p udp --sport 500 --dport 500 -j DROP", "-p udp --sport 4500 --dport 4500 -j DROP"]
TWO_LISTS = json.dumps({
    "ip_filter": {"enabled": True, "rules": [
        {"direction": "upstream", "protocol": "tcp", "destination_ports": str(port)} for port in (25, 26)]},
    "url_filter": {"enabled": True, "entries": [{"host": "abc.tencharact.de"}]},
    "mac6_filter": {"enabled": True, "devices": [{"mac": "02:00:00:00:00:01"}]},
})
UPSTREAM = "-A forward_ext_us_ip -p tcp --dport {0}:{0} -j DROP"
# "tencharact": its length byte is a line feed, which would end a line of a restore tool's input.
URL = ("iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --hex-string |036162630a74656e63686172616374026465| "
       "--algo bm -m time --timestart 0:0 --timestop 23:59 -j DROP")


class Transaction(Gateway):
    way = ()

    def setUp(self):
        super().setUp()
        self.store(firewall=True)
        self.stand_old()

    def stand_old(self):
        self.stand([f"-A {chain} -j OLD" for chain in OWN], [f"-A {chain} -j OLD" for chain in OWN6])

    def restores(self):
        """Which tools restored since the last call, and how many edits each."""
        lines = RESTORES.read_text().splitlines() if RESTORES.exists() else []
        RESTORES.unlink(missing_ok=True)
        return sorted(lines)

    def edits(self):
        """All but those with a match string, which is spelt in two ways."""
        return [line for line in self.commands() if line.startswith("ip") and "-save" not in line and "string" not in line]

    def everything(self):
        return {str(path): (path.read_bytes(), path.stat().st_mode)
                for folder in (STORE, PLATFORM) if folder.exists() for path in folder.iterdir()}


class Together(Transaction):
    def test_a_change_is_one_restore_and_one_save_of_each_family(self):
        outcome = self.apply(TWO_LISTS)
        self.assertEqual((outcome.status, outcome.out),
                         (0, "applied: ip_filter, url_filter, mac6_filter; unchanged: nothing\n"))
        self.assertEqual(self.restores(), ["ip6tables-restore: 2", "iptables-restore: 6"])
        commands = self.commands()
        self.assertEqual(commands[:3], ["ip6tables -F forward_ext_mac", commands[1], "ip6tables-save -t filter"])
        self.assertEqual(commands[3:7], ["iptables -F forward_ext_us_ip", "iptables " + UPSTREAM.format(25),
                                         "iptables " + UPSTREAM.format(26), "iptables -F forward_ext_ds_ip"])
        self.assertEqual(commands[7], "iptables -F forward_ext_url")
        self.assertEqual(commands[8], URL)
        self.assertEqual(commands[9:], ["iptables-save -t filter"])

    def test_the_lines_are_those_of_one_by_one(self):
        self.apply(TWO_LISTS)
        together = self.edits()
        stored = CONFIGURATION.read_bytes()
        self.store(firewall=True)
        self.way = ("--one-by-one",)
        self.apply(TWO_LISTS)
        self.assertEqual(sorted(together), sorted(line.replace(" -t filter", "") for line in self.edits()))
        self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def test_one_refused_rule_leaves_everything_as_it_was(self):
        self.apply(TWO_LISTS)
        before = self.everything()
        self.commands()
        for way in ((), ("--one-by-one",)):
            self.way = way
            with self.subTest(way):
                self.refuse("iptables " + UPSTREAM.format(27))
                outcome = self.apply(TWO_LISTS.replace('"26"', '"27"').replace("00:01", "00:02"))
                self.assertEqual((outcome.status, outcome.out), (3, ""))
                self.assertIn(f'l3ctl: ip_filter.rules[1]: "iptables {UPSTREAM.format(27)}" ended with 1: ', outcome.err)
                self.assertTrue(outcome.err.endswith(
                    "l3ctl: the packet filter refused a rule; everything is as it was before\n"), outcome.err)
                self.assertEqual(self.everything(), before)
                # The other family was made before, or line by line: its rules go back as they were read.
                put_back = [line for line in self.commands() if "-restore -c" in line]
                self.assertIn("ip6tables-restore -c --noflush -w 5", put_back)

    def test_a_rollback_sends_the_old_values_to_the_platform(self):
        self.apply('{"vpn_pass_through": true, "route_qos": {"enabled": true, "rules": "01"}}')
        before = self.everything()
        self.assertEqual((PLATFORM / "vpn_driver").read_text(), "47 1\n")
        self.refuse("iptables " + UPSTREAM.format(25))
        change = json.loads(TWO_LISTS) | {"vpn_pass_through": False, "route_qos": {"enabled": True, "rules": "02"}}
        self.assertEqual(self.apply(json.dumps(change)).status, 3)
        self.assertEqual(self.everything(), before)

    def test_an_incomplete_rollback_is_reported(self):
        self.refuse("iptables " + UPSTREAM.format(25), "ip6tables-restore -c --noflush -w 5")
        outcome = self.apply(TWO_LISTS)
        self.assertEqual((outcome.status, outcome.out), (1, ""))
        self.assertIn("l3ctl: cannot put back what was before: ip6tables, table filter, chain forward_ext_mac: "
                      "ip6tables-restore: Too many links\n", outcome.err)
        self.assertNotIn("everything is as it was before", outcome.err)

    def test_rules_that_cannot_be_read_are_not_changed(self):
        self.hook("iptables-save", "exit 1")
        stored = CONFIGURATION.read_bytes()
        outcome = self.apply('{"port_scan_protection": true}')
        self.assertEqual((outcome.status, outcome.out), (3, ""))
        self.assertIn("ended with 1: cannot read the rules: iptables-save ended with 1\n", outcome.err)
        self.assertEqual(self.commands(), [])
        self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def test_missing_chains_are_explained_and_nothing_is_stored(self):
        CHAINS.write_text(":INPUT\n:FORWARD\n")
        stored = CONFIGURATION.read_bytes()
        outcome = self.apply(TWO_LISTS)
        self.assertEqual((outcome.status, outcome.out), (3, ""))
        self.assertIn('l3ctl: hint: the chains are made at start-up, by "l3ctl init"\n', outcome.err)
        self.assertEqual(CONFIGURATION.read_bytes(), stored)
        self.assertEqual(self.commands(), [])

    def test_a_first_change_that_fails_leaves_no_file(self):
        CONFIGURATION.unlink()
        self.refuse("iptables " + UPSTREAM.format(25))
        self.apply('{"firewall": {"enabled": true}}')
        CONFIGURATION.unlink()
        (STORE / "firewall.conf").unlink()
        (STORE / "firewall6.conf").unlink()
        (STORE / "l3ctl.history").unlink()
        self.assertEqual(self.apply(json.dumps(json.loads(TWO_LISTS) | {"firewall": {"enabled": True}})).status, 3)
        self.assertEqual(os.listdir(STORE), [])

    def test_no_byte_of_a_refused_rule_reaches_the_terminal(self):
        self.refuse(URL)
        outcome = self.apply(TWO_LISTS)
        self.assertEqual(outcome.status, 3)
        self.assertIn("\\x03abc\\x0atencharact\\x02de", outcome.err)
        self.assertEqual([byte for byte in outcome.err if byte < " " and byte != "\n"], [])

    def test_a_missing_rule_that_is_deleted_is_no_failure(self):
        ask = [f"iptables -w 5 -t filter -C FORWARD {rule}" for rule in BLOCK]
        add = [f"iptables -A FORWARD {rule}" for rule in BLOCK]
        self.refuse(*ask)
        outcome = self.l3ctl("ipsec", "off")
        self.assertEqual((outcome.status, outcome.out), (0, "ipsec: off\n"))
        self.assertEqual(self.commands(),
                         ask + add + ["iptables-save -t filter"])
        self.assertEqual(self.restores(), ["iptables-restore: 2"])

    def test_a_killed_tool_is_not_taken_for_a_missing_rule(self):
        for end, told in (("kill -KILL $$", "signal 9"), ("exit 4", "ended with 4"), ("exit 2", "ended with 2")):
            for self.way, letter, ask in (((), "C", "-w 5 "), (("--one-by-one",), "D", "")):
                with self.subTest((end, self.way)):
                    self.store(firewall=True, w4632=0)
                    stored = CONFIGURATION.read_bytes()
                    line = f"iptables {ask}-t filter -{letter} FORWARD {BLOCK[0]}"
                    self.hook("iptables", f'[ "$line" != "{line}" ] || {end}')
                    outcome = self.l3ctl("ipsec", "on")
                    self.assertEqual((outcome.status, outcome.out), (3, ""), outcome.err)
                    self.assertRegex(outcome.err, f'"iptables -t filter -D FORWARD {BLOCK[0]}" .*'
                                                  f'({told}|ended with 137)')
                    self.assertTrue(outcome.err.endswith("everything is as it was before\n"), outcome.err)
                    self.assertEqual(CONFIGURATION.read_bytes(), stored)
                    self.assertEqual(self.restores(), [])

    def test_a_standing_rule_is_deleted_in_the_same_restore(self):
        self.store(w2408=0)
        self.assertEqual(self.l3ctl("access", "telnet", "block").status, 0)
        self.assertEqual(self.restores(), ["iptables-restore: 6"])

    def test_a_signal_waits_until_the_change_is_whole(self):
        faults = {signal.SIGABRT, signal.SIGBUS, signal.SIGFPE, signal.SIGILL, signal.SIGSEGV, signal.SIGSYS, signal.SIGTRAP}
        real_time = set(range(signal.SIGRTMIN + 2, signal.SIGRTMAX))
        blocked = signal.valid_signals() - faults - real_time - {signal.SIGKILL, signal.SIGSTOP}
        ignored = {signal.SIGCHLD, signal.SIGCONT, signal.SIGURG, signal.SIGWINCH,
                   # A lost answer is reported by the exit status.
                   signal.SIGPIPE, signal.SIGXFSZ}
        stopping = {signal.SIGTSTP, signal.SIGTTIN, signal.SIGTTOU}
        for ending in sorted(blocked):
            with self.subTest(ending):
                self.store(firewall=True)
                self.way = ()
                self.stand_old()
                self.hook("iptables-restore", f'kill -{int(ending)} "$PPID"')
                if ending in stopping:
                    self.assert_stops(ending)
                else:
                    outcome = self.apply(TWO_LISTS)
                    self.assertEqual((outcome.status, outcome.out), (
                        0 if ending in ignored else -ending,
                        "applied: ip_filter, url_filter, mac6_filter; unchanged: nothing\n"), outcome.err)
                self.assertEqual(self.restores(), ["ip6tables-restore: 2", "iptables-restore: 6"])
        self.hook("iptables-restore")
        self.way = ("--one-by-one",)
        self.assertEqual(self.apply(TWO_LISTS).out, "applied: nothing; unchanged: ip_filter, url_filter, mac6_filter\n")

    def assert_stops(self, stopping):
        """A stopped process has made its change, reported it and released the lock. The group is not the test's own, whose
        stop signals the kernel would drop."""
        with subprocess.Popen([L3CTL, "apply", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, env=self.environment(), process_group=0) as change:
            change.stdin.write(TWO_LISTS.encode())
            change.stdin.close()
            # A change that fails this test may stay stopped.
            watchdog = threading.Timer(30, change.kill)
            watchdog.start()
            self.addCleanup(watchdog.cancel)
            state = os.waitid(os.P_PID, change.pid, os.WSTOPPED | os.WEXITED | os.WNOWAIT)
            self.assertEqual((state.si_code, state.si_status), (os.CLD_STOPPED, stopping))
            with open("/run/l3ctl.lock", "rb") as lock:
                fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
            change.send_signal(signal.SIGCONT)
            self.assertEqual(change.stdout.read(), b"applied: ip_filter, url_filter, mac6_filter; unchanged: nothing\n")
            self.assertEqual(change.wait(60), 0)

    def test_a_limit_on_processor_time_leaves_no_half_change(self):
        self.hook("iptables-restore", 'prlimit --pid "$PPID" --cpu=1:')

        def use_time():
            while time.process_time() < 1.1:
                pass

        done = subprocess.run([L3CTL, "apply", "-"], input=TWO_LISTS.encode(), capture_output=True,
                              env=self.environment(), timeout=60, check=False, preexec_fn=use_time)
        self.assertIn(done.returncode, (0, -signal.SIGXCPU), done.stderr)
        self.assertEqual(done.stdout, b"applied: ip_filter, url_filter, mac6_filter; unchanged: nothing\n")
        self.assertEqual(self.restores(), ["ip6tables-restore: 2", "iptables-restore: 6"])

    def test_a_parent_that_ignores_its_children_hinders_nothing(self):
        def ignore():
            signal.signal(signal.SIGCHLD, signal.SIG_IGN)

        for way in ((), ("--one-by-one",)):
            with self.subTest(way):
                self.store(firewall=True)
                self.forget_rules()
                done = subprocess.run([L3CTL, *way, "apply", "-"], input=TWO_LISTS.encode(), capture_output=True,
                                      env=self.environment(), timeout=60, check=False, preexec_fn=ignore)
                self.assertEqual((done.returncode, done.stdout), (
                    0, b"applied: ip_filter, url_filter, mac6_filter; unchanged: nothing\n"), done.stderr)
                rules = Path("/tmp/rules.iptables.filter").read_text().splitlines()
                self.assertEqual([line for line in rules if "us_ip" in line], [UPSTREAM.format(25), UPSTREAM.format(26)])

    def with_a_reader_gone(self, *words):
        """The exit status of l3ctl when its output goes to a pipe without a reader."""
        reader, writer = os.pipe()
        os.close(reader)
        done = subprocess.run([L3CTL, *self.way, *words], stdout=writer, stderr=writer, env=self.environment(),
                              timeout=60, check=False)
        os.close(writer)
        return done.returncode

    def test_a_reader_that_is_gone_leaves_no_half_change(self):
        Path("/tmp/wanted.json").write_text(TWO_LISTS)
        before = self.everything()
        for way in ((), ("--one-by-one",), ("--json",)):
            self.way = way
            with self.subTest(way):
                self.refuse("iptables " + UPSTREAM.format(26))
                self.assertEqual(self.with_a_reader_gone("apply", "/tmp/wanted.json"), 1 if "--json" in way else 3)
                self.assertEqual(self.everything(), before)
                self.assertIn("ip6tables-restore -c --noflush -w 5", self.commands())
        self.refuse()
        self.assertEqual(self.with_a_reader_gone("apply", "/tmp/wanted.json"), 4)
        self.assertNotEqual(self.everything(), before)
        self.way = ()
        self.assertEqual(self.apply(TWO_LISTS).out,
                         "applied: nothing; unchanged: ip_filter, url_filter, mac6_filter\n")

    def test_a_limit_on_files_leaves_no_half_change(self):
        self.hook("iptables-save",
                  'case "$*" in *-c) ;; *) ulimit -S -f unlimited; head -c 20000 /dev/zero; exit ;; esac')
        before = self.everything()
        done = subprocess.run([L3CTL, "apply", "-"], input=TWO_LISTS.encode(), capture_output=True,
                              env=self.environment(), timeout=60, check=False,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (16384, -1)))
        self.assertEqual((done.returncode, done.stdout), (3, b""))
        self.assertTrue(done.stderr.endswith(b"everything is as it was before\n"), done.stderr)
        self.assertEqual(self.everything(), before)

    def test_the_signals_that_are_put_off_reach_the_tools(self):
        # No shell script: Debian's shell takes the mask off by itself.
        (TOOLS / "iptables").unlink()
        (TOOLS / "iptables").write_text("#!/usr/bin/python3\nimport signal\nopen('/tmp/tools/blocked', 'a').write("
                                        "str(signal.pthread_sigmask(signal.SIG_BLOCK, [])))\n")
        (TOOLS / "iptables").chmod(0o755)
        self.assertEqual(self.l3ctl("ipsec", "off").status, 0)
        self.assertEqual((TOOLS / "blocked").read_text(), 2 * "set()")

    def test_a_firewall_that_is_switched_off_saves_nothing(self):
        self.assert_outcome(self.l3ctl("firewall", "off"), 0, "firewall: off\n")
        self.assertEqual(self.restores(), ["ip6tables-restore: 3", "iptables-restore: 11"])
        self.assertEqual(sorted(os.listdir(STORE)), ["l3_advance.dat", "l3ctl.history"])
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())


class Modes(Transaction):
    def test_nothing_that_a_change_makes_is_for_others(self):
        self.addCleanup(os.umask, os.umask(0))
        for self.way in ((), ("--one-by-one",)):
            for path in STORE.iterdir():
                path.unlink()
            self.assertEqual(self.l3ctl("init", "--again").status, 0)
            change = json.loads(TWO_LISTS) | {"firewall": {"enabled": True}, "vpn_pass_through": True}
            self.assertEqual(self.apply(json.dumps(change)).status, 0)
            made = [*STORE.iterdir(), PLATFORM, *PLATFORM.iterdir(), Path("/run/l3ctl.lock")]
            self.assertEqual({path.name for path in made if path.parent == STORE},
                             {"l3_advance.dat", "l3ctl.history", "firewall.conf", "firewall6.conf"})
            self.assertEqual([str(path) for path in made if path.stat().st_mode & 0o077], [])

    def test_a_saved_file_keeps_its_mode(self):
        saved = STORE / "firewall.conf"
        saved.touch()
        for mode in (0o640, 0o600):
            saved.chmod(mode)
            self.assertEqual(self.l3ctl("firewall", "on").status, 0)
            self.assertEqual(saved.stat().st_mode & 0o777, mode)


class StartUp(Transaction):
    def bare(self):
        CHAINS.write_text(":INPUT\n:FORWARD\n:OUTPUT\n")

    def test_a_bare_packet_filter_gets_its_tree_at_once(self):
        self.bare()
        self.assert_outcome(self.l3ctl("init"), 0, "init: the gateway is up\n")
        self.assertEqual(self.restores(), ["ip6tables-restore: 6", "iptables-restore: 27"])

    def test_a_second_start_makes_no_chain_twice(self):
        outcome = self.l3ctl("init")
        self.assertEqual((outcome.status, outcome.out), (0, "init: the gateway is up\n"))
        self.assertFalse([line for line in self.commands() if " -N " in line])

    def test_a_start_makes_every_rule_but_the_refused(self):
        self.bare()
        self.refuse("iptables -A FORWARD -j forward_ext_url")
        outcome = self.l3ctl("init")
        self.assertEqual((outcome.status, outcome.out), (3, ""))
        self.assertTrue(outcome.err.endswith("l3ctl: the packet filter refused a rule; all else is done\n"), outcome.err)
        self.assertEqual(self.restores(), ["ip6tables-restore: 6"])
        self.assertEqual(sum(line.startswith("iptables -") for line in self.commands()), 27)
        self.assertEqual(len(STANDING), 17)


if __name__ == "__main__":
    unittest.main()
