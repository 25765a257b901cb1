"""l3ctl apply: all checked first, only differences set, failed rules told."""
import fcntl
import json
import os
import subprocess
import time
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, Gateway, configuration, word
from test_schema import MORE_RUNS, PORTAL, RUNS

IP_FILTER = """{
  "ip_filter": {
    "enabled": true,
    "downstream": "white-list",
    "rules": [
      {"direction": "upstream", "protocol": "tcp", "source": "192.168.1.20",
       "destination": "203.0.113.2", "source_ports": "1024-65535", "destination_ports": "80"},
      {"direction": "downstream", "protocol": "udp", "source": "203.0.113.53"}
    ]
  }
}
"""

# The sample's downstream white list, on line 4 of the text.
IP_FILTER_WARNING = ("l3ctl: warning: standard input:4: ip_filter.downstream: a white list drops the answers to the "
                     "LAN's own connections too, unless a rule accepts them\n")

IP_FILTER_COMMANDS = [
    "iptables -t filter -F forward_ext_us_ip",
    "iptables -t filter -F forward_ext_ds_ip",
    "iptables -A forward_ext_us_ip -p tcp -s 192.168.1.20 -d 203.0.113.2 --sport 1024:65535 --dport 80:80 -j DROP",
    "iptables -A forward_ext_ds_ip -p udp -s 203.0.113.53 -j ACCEPT",
    "iptables -A forward_ext_ds_ip -j DROP",
    "iptables-save -t filter",
]


class Apply(Gateway):
    def test_settings_become_rules_and_stored_bytes(self):
        self.store(firewall=True)
        self.assert_outcome(self.apply(IP_FILTER), 0, "applied: ip_filter; unchanged: nothing\n", IP_FILTER_WARNING)
        self.assertEqual(self.commands(), IP_FILTER_COMMANDS)
        stored = CONFIGURATION.read_bytes()
        self.assertEqual(len(stored), 15019)
        self.assertEqual(stored[31 + 4 + 28:31 + 4 + 32], word(0xC0A80114))

    def test_what_is_stored_already_is_not_set_again(self):
        self.store(firewall=True)
        self.apply(IP_FILTER)
        self.commands()
        before = CONFIGURATION.stat()
        self.assert_outcome(self.apply(IP_FILTER), 0, "applied: nothing; unchanged: ip_filter\n", IP_FILTER_WARNING)
        self.assertEqual(self.commands(), [])
        self.assertEqual(CONFIGURATION.stat().st_mtime_ns, before.st_mtime_ns)

    def test_only_if_what_was_exported_is_still_stored(self):
        before = Path("/tmp/before.json")
        before.write_text(self.l3ctl("export").out)
        self.assert_outcome(self.apply('{"vpn_pass_through": true}', "--if-stored", str(before)), 0,
                            "applied: vpn_pass_through; unchanged: nothing\n")  # fmt: skip
        stored = CONFIGURATION.read_bytes()
        self.assert_outcome(self.apply(IP_FILTER, "--if-stored", str(before)), 5, "",
                            IP_FILTER_WARNING + "l3ctl: what is stored is not what /tmp/before.json says; nothing was changed\n")  # fmt: skip
        self.assertEqual((CONFIGURATION.read_bytes(), self.commands()), (stored, []))
        # Also where nothing would be set.
        self.assertEqual(self.apply('{"vpn_pass_through": true}', "--if-stored", str(before)).status, 5)
        before.write_text("")
        self.assertEqual(self.apply(IP_FILTER, "--if-stored", str(before)).status, 5)
        before.unlink()
        outcome = self.apply(IP_FILTER, "--if-stored", str(before))
        self.assert_outcome(outcome, 2, "", "l3ctl: /tmp/before.json: No such file or directory; nothing was changed\n")
        outcome = self.apply(IP_FILTER, "--if-stored", "-")
        self.assert_outcome(outcome, 2, "", "l3ctl: --if-stored: standard input holds the settings; nothing was changed\n")
        self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def test_sections_that_are_not_given_stay(self):
        self.store(firewall=True)
        self.apply(IP_FILTER)
        stored = CONFIGURATION.read_bytes()
        self.assert_outcome(self.apply('{"ipsec_pass_through": true}'), 0,
                            "applied: nothing; unchanged: ipsec_pass_through\n")
        self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def test_a_first_apply_creates_the_file(self):
        self.assert_outcome(self.apply("{}"), 0, "applied: nothing; unchanged: nothing\n")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_a_file_is_read_by_its_name(self):
        with open("/tmp/home.json", "w", encoding="utf-8") as file:
            file.write(IP_FILTER)
        self.assert_outcome(self.l3ctl("apply", "/tmp/home.json"), 0,
                            "applied: ip_filter; unchanged: nothing\n",
                            IP_FILTER_WARNING.replace("standard input", "/tmp/home.json"))

    def test_as_json(self):
        self.store(firewall=True)
        outcome = self.apply(IP_FILTER, "--json")
        self.assertEqual(outcome.status, 0)
        output = json.loads(outcome.out)
        self.assertRegex(output.pop("id"), "^[0-9a-f]{16}$")
        self.assertEqual(output, {"done": "applied: ip_filter; unchanged: nothing", "applied": ["ip_filter"],
                                  "unchanged": [], "failed": [], "failed_rules": [],
                                  "messages": ["warning: standard input:4: ip_filter.downstream: a white list drops the answers "
                                               "to the LAN's own connections too, unless a rule accepts them"]})

    def test_warnings_are_in_the_json_too(self):
        outcome = self.apply('{"mac_filter": {"enabled": true, "mode": "white-list"}, "firewall": {"enabled": true}}', "--json")
        messages = json.loads(outcome.out)["messages"]
        self.assertNotEqual(messages, [])
        self.assertEqual(outcome.err, "".join(f"l3ctl: {message}\n" for message in messages))

    def test_switches_and_services(self):
        self.store(firewall=True)
        outcome = self.apply('{"port_scan_protection": false, "ipsec_pass_through": false, '
                             '"vpn_pass_through": true, "route_qos": {"enabled": true, "rules": "01"}}')
        self.assert_outcome(
            outcome, 0,
            "applied: ipsec_pass_through, vpn_pass_through, route_qos; unchanged: port_scan_protection\n")
        self.assertEqual(self.commands(), [
            "iptables -t filter -D FORWARD -p udp --sport 500 --dport 500 -j DROP",
            "iptables -t filter -D FORWARD -p udp --sport 4500 --dport 4500 -j DROP",
            "iptables -t filter -A FORWARD -p udp --sport 500 --dport 500 -j DROP",
            "iptables -t filter -A FORWARD -p udp --sport 4500 --dport 4500 -j DROP",
            "iptables-save -t filter",
        ])
        self.assertEqual(CONFIGURATION.read_bytes()[0:19], b"vpn_pass_through=1\n")
        self.assertEqual(CONFIGURATION.read_bytes()[6203:6204], b"\x01")

    def test_a_platform_that_holds_another_vpn_state_is_brought_in_line(self):
        self.store()
        os.mkdir("/run/l3_advance")
        with open("/run/l3_advance/vpn_pass_through", "w", encoding="ascii") as state:
            state.write("1")
        self.assertEqual(self.apply('{"vpn_pass_through": true}').status, 0)
        self.assertEqual(CONFIGURATION.read_bytes()[0:19], b"vpn_pass_through=1\n")

    def test_a_missing_block_rule_is_no_failure(self):
        self.store()
        self.refuse("iptables -t filter -D FORWARD -p udp --sport 500 --dport 500 -j DROP",
                    "iptables -t filter -D FORWARD -p udp --sport 4500 --dport 4500 -j DROP")
        self.assert_outcome(self.apply('{"ipsec_pass_through": false}'), 0,
                            "applied: ipsec_pass_through; unchanged: nothing\n")
        self.assert_outcome(self.l3ctl("ipsec", "on"), 0, "ipsec: on\n")

    def test_the_librarys_lines_stay_off_standard_output(self):
        self.store(firewall=True)
        outcome = self.apply('{"port_scan_protection": true}', "--json", "--verbose")
        self.assertEqual(json.loads(outcome.out)["applied"], ["port_scan_protection"])
        self.assertIn("[gl3_update_internet_wan]get a illegal wanindex -1.\n", outcome.err)


class WrongInput(Gateway):
    def test_every_fault_is_told_and_nothing_changed(self):
        outcome = self.apply('{"ip_filter": {"enabled": true, "rules": [\n'
                             '{"direction": "up", "protocol": "tcp", "source": "1.2.3.4;reboot"}]},\n'
                             '"url_filter": 7}')
        self.assert_outcome(
            outcome, 2, "",
            'l3ctl: standard input:2: ip_filter.rules[0].direction: "up" is not allowed; it must be '
            '"upstream" or "downstream"\n'
            'l3ctl: standard input:2: ip_filter.rules[0].source: "1.2.3.4;reboot" is not allowed; it '
            'must be an IPv4 address such as "192.168.1.20", or "any"\n'
            "l3ctl: standard input:3: url_filter: 7 is not allowed; it must be an object\n"
            "l3ctl: nothing was changed\n")
        self.assert_untouched()

    def test_a_good_section_beside_a_bad_one_is_not_applied(self):
        self.store(firewall=True)
        stored = CONFIGURATION.read_bytes()
        text = json.loads(IP_FILTER)
        text["frobnicate"] = 1
        self.assertEqual(self.apply(json.dumps(text)).status, 2)
        self.assertEqual(CONFIGURATION.read_bytes(), stored)
        self.assertEqual(self.commands(), [])

    def test_warnings_do_not_stop(self):
        outcome = self.apply('{"ip6_filter": {"enabled": true, "rules": '
                             '[{"direction": "upstream", "protocol": "tcp", "source": "fd00::1"}]}}')
        self.assert_outcome(
            outcome, 0, "applied: ip6_filter; unchanged: nothing\n",
            "l3ctl: warning: standard input:1: ip6_filter.rules[0].destination: is open, so this rule "
            "matches no packet: an IPv6 rule needs both addresses\n")

    def test_a_missing_file(self):
        self.assert_outcome(self.l3ctl("apply", "/tmp/none.json"), 2, "",
                            "l3ctl: /tmp/none.json: No such file or directory; nothing was changed\n")
        self.assert_untouched()

    def test_a_folder(self):
        self.assert_outcome(self.l3ctl("apply", "/tmp"), 2, "",
                            "l3ctl: /tmp: cannot be read: Is a directory; nothing was changed\n")
        self.assert_untouched()

    def test_a_huge_file(self):
        self.assert_outcome(
            self.apply(b" " * 2000000), 2, "",
            "l3ctl: standard input: more than 1048576 bytes; nothing was changed\n")
        self.assert_untouched()

    def test_no_file(self):
        outcome = self.l3ctl("apply")
        self.assertEqual((outcome.status, outcome.out), (2, ""))
        self.assert_untouched()


class Failures(Gateway):
    def test_a_refused_rule_is_told(self):
        self.store(firewall=True)
        self.refuse("iptables -A forward_ext_ds_ip -p udp -s 203.0.113.53 -j ACCEPT")
        outcome = self.apply(IP_FILTER)
        self.assertEqual((outcome.status, outcome.out), (3, ""))
        self.assertIn(
            'l3ctl: ip_filter.rules[1]: "iptables -A forward_ext_ds_ip -p udp -s 203.0.113.53 -j ACCEPT" ended with 1: '
            "iptables: Too many links\n"
            "l3ctl: ip_filter: the library reports a failure\n"
            "l3ctl: the packet filter refused a rule; everything is as it was before\n", outcome.err)

    def test_a_refused_rule_as_json(self):
        self.store(firewall=True)
        self.refuse("iptables -A forward_ext_ds_ip -p udp -s 203.0.113.53 -j ACCEPT")
        outcome = self.apply(IP_FILTER, "--json")
        self.assertEqual(outcome.status, 3)
        self.assertEqual(json.loads(outcome.out), {
            "done": None, "failed": ["ip_filter"],
            "failed_rules": [{"setting": "ip_filter.rules[1]",
                              "line": "iptables -A forward_ext_ds_ip -p udp -s 203.0.113.53 -j ACCEPT",
                              "outcome": "ended with 1",
                              "message": "iptables: Too many links"}],
            "messages": ["warning: standard input:4: ip_filter.downstream: a white list drops the answers to the LAN's own "
                         "connections too, unless a rule accepts them",
                         'ip_filter.rules[1]: "iptables -A forward_ext_ds_ip -p udp -s 203.0.113.53 -j ACCEPT" ended with 1: '
                         "iptables: Too many links", "ip_filter: the library reports a failure"]})

    def test_missing_chains_are_explained(self):
        self.store()
        self.hook("iptables", 'echo "iptables: No chain/target/match by that name." >&2; exit 1')
        outcome = self.apply(IP_FILTER)
        self.assertEqual(outcome.status, 3)
        self.assertIn('l3ctl: hint: the chains are made at start-up, by "l3ctl init"\n', outcome.err)

    def test_an_unreadable_configuration(self):
        CONFIGURATION.mkdir()
        outcome = self.apply(IP_FILTER)
        self.assertEqual((outcome.status, outcome.out), (1, ""))
        self.assertTrue(outcome.err.endswith(
            "l3ctl: /ztcfg/l3_advance.dat: is a directory, not a regular file; nothing was changed\n"), outcome.err)
        self.assertEqual(self.commands(), [])

    def test_without_the_right_to_change(self):
        self.store()
        os.chmod("/run", 0o500)
        done = subprocess.run(["setpriv", "--inh-caps=-dac_override,-dac_read_search",
                               "--bounding-set=-dac_override,-dac_read_search", L3CTL, "apply", "-"],
                              input=b"{}", capture_output=True, env=self.environment(), check=False)
        os.chmod("/run", 0o755)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (
            1, b"", b"l3ctl: cannot open /run/l3ctl.lock: Permission denied; changing settings takes root\n"))

    def test_a_full_standard_output(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([L3CTL, "export"], stdout=full, stderr=subprocess.PIPE,
                                  env=self.environment(), check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"l3ctl: cannot write to standard output\n", done.stderr)

    def test_without_standard_output(self):
        done = subprocess.run(["/bin/sh", "-c", f'"{L3CTL}" apply - >&-'], input=b"{}",
                              stderr=subprocess.PIPE, env=self.environment(), check=False)
        self.assertEqual((done.returncode, done.stderr),
                         (4, b"l3ctl: the change was made, but its answer could not be written to standard output\n"))
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_without_standard_error_nothing_is_written_into_files(self):
        self.store(firewall=True)
        done = subprocess.run(["/bin/sh", "-c", f'"{L3CTL}" apply - 2>&-'], stdout=subprocess.PIPE,
                              input=b'{"port_scan_protection": true}', env=self.environment(), check=False)
        self.assertEqual((done.returncode, done.stdout),
                         (0, b"applied: port_scan_protection; unchanged: nothing\n"))
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(firewall=True, w4628=1))
        self.assertEqual(os.path.getsize("/run/l3ctl.lock"), 0)


class Lock(Gateway):
    def hold(self):
        lock = os.open("/run/l3ctl.lock", os.O_CREAT | os.O_RDWR, 0o600)
        fcntl.flock(lock, fcntl.LOCK_EX)
        self.addCleanup(os.close, lock)
        return lock

    def test_a_second_run_gives_up_after_its_time(self):
        self.hold()
        self.assert_outcome(self.apply("{}", "--lock-timeout", "0"), 5, "",
                            "l3ctl: cannot lock /run/l3ctl.lock: another l3ctl is changing settings; --lock-timeout "
                            "waits longer\n")
        self.assertFalse(CONFIGURATION.exists())

    def test_every_command_that_changes_something_waits(self):
        self.store(firewall=True)
        stored = CONFIGURATION.read_bytes()
        self.hold()
        changing = [run for schema, *runs in [*RUNS.values(), *MORE_RUNS.values()] if schema in ("apply", "change")
                    for run in runs]
        self.assertGreater(len(changing), 12)
        for arguments in changing:
            with self.subTest(arguments):
                outcome = self.l3ctl(*arguments, "--lock-timeout", "0", stdin=PORTAL)
                self.assertEqual((outcome.status, outcome.out), (5, ""))
                self.assertIn("l3ctl: cannot lock /run/l3ctl.lock: another l3ctl is changing settings", outcome.err)
        self.assertEqual((CONFIGURATION.read_bytes(), self.commands()), (stored, []))

    def test_a_second_run_waits(self):
        lock = self.hold()
        with subprocess.Popen([L3CTL, "apply", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, env=self.environment()) as waiting:
            waiting.stdin.write(b"{}")
            waiting.stdin.close()
            self.assertEqual(waiting.stderr.readline(), b"l3ctl: waiting for another l3ctl\n")
            time.sleep(0.1)
            self.assertFalse(CONFIGURATION.exists())
            fcntl.flock(lock, fcntl.LOCK_UN)
            self.assertEqual(waiting.stdout.read(), b"applied: nothing; unchanged: nothing\n")
        self.assertEqual(waiting.returncode, 0)

    def test_reading_does_not_wait(self):
        self.store()
        self.hold()
        self.assertEqual(self.l3ctl("show", "--lock-timeout", "0").status, 0)


if __name__ == "__main__":
    unittest.main()
