"""A change that fails is rolled back however its tools end, and edits of other programs meanwhile are kept."""

import json
import os
import random
import stat
import subprocess
import threading
from collections import Counter

from l3lab import device, rules
from lab_case import LabCase

_TOOLS = "/tmp/rollback-tools"
_CALLS = "/tmp/rollback-calls"
_MEANWHILE = "/tmp/rollback-meanwhile"
_SEED = int(os.environ.get("L3LAB_SEED", "29"))

# In front of the real tools, for the restores whose numbers DIES names: it runs the real tool and then is killed, or
# is killed at once. The rules are committed in the one case and not in the other. Between, the script in _MEANWHILE runs.
_KILLED = f"""#!/bin/sh
echo "${{0##*/}} $*" >>{_CALLS}
number=$(grep -c . {_CALLS})
PATH=${{PATH#*:}}
case ",$DIES," in
*,$number-before,* | *,all-before,*) kill -9 $$ ;;
*,$number-after,* | *,all-after,*) "${{0##*/}}" "$@"; [ ! -e {_MEANWHILE} ] || sh {_MEANWHILE}; kill -9 $$ ;;
esac
exec "${{0##*/}}" "$@"
"""

# The same for a change one by one: the tool is killed after a command that contains the text DIES.
_KILLED_ALONE = """#!/bin/sh
PATH=${PATH#*:}
case "$*" in
*"$DIES"*) "${0##*/}" "$@"; kill -9 $$ ;;
esac
exec "${0##*/}" "$@"
"""

_OLD = {
    "ip_filter": {"enabled": True, "rules": [
        {"direction": "downstream", "protocol": "udp", "destination_ports": str(port)} for port in (6000, 6001, 6002)]},
    "mac6_filter": {"enabled": True, "devices": [{"mac": "02:00:00:00:00:08"}]},
    "url_filter": {"enabled": True, "entries": [{"host": "ads.example", "active": "08:00-21:30"}]},
}  # fmt: skip
_NEW = {
    "ip_filter": {"enabled": True, "rules": [
        {"direction": "downstream", "protocol": "udp", "destination_ports": str(port)} for port in (6002, 7000, 6000)]},
    "mac6_filter": {"enabled": True, "devices": [{"mac": "02:00:00:00:00:09"}]},
    "url_filter": {"enabled": True, "entries": [{"host": "other.example", "active": "22:00-06:30"}]},
    "ipsec_pass_through": False,
    "port_scan_protection": True,
    "mac_filter": {"enabled": True, "devices": [{"mac": "02:00:00:00:00:07"}]},
    "acl": {"enabled": True, "entries": [{"from": "lan", "service": "telnet", "sources": "any"}]},
    "captive_portal": {"enabled": True, "destinations": ["203.0.113.2"]},
    "dhcp_filter": {"enabled": True, "mode": "white-list", "devices": ["02:00:00:00:00:09"]},
    "ip6_filter": {"enabled": True, "rules": [
        {"direction": "upstream", "protocol": "tcp", "source": "fd00::1", "destination": "fd00::2"}]},
}  # fmt: skip


def _state() -> tuple:
    return device.stored_files()["l3_advance.dat"], rules.saved(4), rules.saved(6)


def _write(path: str, text: str) -> None:
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


class Rollback(LabCase):
    def setUp(self):
        super().setUp()
        os.makedirs(_TOOLS, exist_ok=True)
        for name in ("iptables-restore", "ip6tables-restore"):
            self._put_in_front(name, _KILLED)
        self._put_in_front("iptables", _KILLED_ALONE)
        self.addCleanup(lambda: os.path.exists(_MEANWHILE) and os.unlink(_MEANWHILE))
        device.apply(_OLD)

    def _put_in_front(self, name: str, text: str) -> None:
        _write(f"{_TOOLS}/{name}", text)
        os.chmod(f"{_TOOLS}/{name}", stat.S_IRWXU)

    def _l3ctl(self, dies: str, *words: str, settings: dict | None = None) -> subprocess.CompletedProcess:
        _write(_CALLS, "")
        if settings is not None:
            path = "/tmp/rollback.json"
            _write(path, json.dumps(settings))
            words = (*words, path)
        environment = {**os.environ, "PATH": f"{_TOOLS}:{os.environ['PATH']}", "DIES": dies}
        return subprocess.run(["l3ctl", *words], env=environment, capture_output=True, text=True, check=False)

    def _assert_rolled_back(self, outcome: subprocess.CompletedProcess, before: tuple) -> None:
        self.assertEqual((outcome.returncode, outcome.stdout), (3, ""), outcome.stderr)
        self.assertRegex(outcome.stderr, '" (was ended by signal 9|ended with 137: Killed)\n')
        self.assertTrue(outcome.stderr.endswith("everything is as it was before\n"), outcome.stderr)
        self.assertEqual(_state(), before)
        self.assertEqual(device.l3ctl("check").stdout, "")


class Killed(Rollback):
    def test_a_restore_that_is_killed_at_any_place(self):
        before = _state()
        for dies in ("1-before", "1-after", "2-before", "2-after", "1-after,2-after,3-after", "2-after,3-before,4-before"):
            with self.subTest(dies):
                self._assert_rolled_back(self._l3ctl(dies, "apply", settings=_NEW), before)

    def test_a_rollback_whose_tools_are_killed_behind_their_commit_is_done(self):
        before = _state()
        self._assert_rolled_back(self._l3ctl("all-after", "apply", settings=_NEW), before)

    def test_a_command_that_is_killed_one_by_one(self):
        before = _state()
        for dies in ("-F forward_ext_ds_ip", "--dport 7000", "-A FORWARD -p udp --sport 500", "-A forward_ext_mac"):
            with self.subTest(dies):
                self._assert_rolled_back(self._l3ctl(dies, "--one-by-one", "apply", settings=_NEW), before)

    def test_what_cannot_be_rolled_back_is_said(self):
        old_file, old4, old6 = _state()
        outcome = self._l3ctl("1-after,2-before,3-before,4-before,5-before", "apply",
                              settings={key: _NEW[key] for key in ("mac6_filter",)})
        self.assertEqual((outcome.returncode, outcome.stdout), (1, ""), outcome.stderr)
        self.assertIn("ip6tables, table filter, chain forward_ext_mac: ip6tables-restore was ended by signal 9\n",
                      outcome.stderr)
        self.assertNotIn("everything is as it was before", outcome.stderr)
        self.assertEqual((_state()[0], rules.saved(4)), (old_file, old4))
        self.assertNotEqual(rules.saved(6), old6)

    def test_with_a_confirmation(self):
        before = _state()
        for dies in ("1-after", "2-after"):
            self._assert_rolled_back(self._l3ctl(dies, "apply", "--confirm", "60", settings=_NEW), before)
            self.assertNotIn("l3ctl.pending", device.stored_files())

    def test_a_single_setting_of_a_built_in_chain(self):
        before = _state()
        self._assert_rolled_back(self._l3ctl("1-after", "ipsec", "off"), before)
        device.l3ctl("ipsec", "off")
        before = _state()
        self._assert_rolled_back(self._l3ctl("1-after", "ipsec", "on"), before)
        device.l3ctl("access", "telnet", "allow")
        device.l3ctl("access", "telnet", "block")
        before = _state()
        self._assert_rolled_back(self._l3ctl("1-after", "access", "telnet", "allow"), before)

    def test_start_up_makes_no_jump_twice(self):
        device.cut_power()
        device.l3ctl("init")
        started = rules.saved(4), rules.saved(6)
        for dies in ("1-after", "2-after", "1-before,2-after"):
            with self.subTest(dies):
                device.cut_power()
                outcome = self._l3ctl(dies, "init")
                self.assertIn(outcome.returncode, (0, 3), outcome.stderr)
                self.assertEqual((rules.saved(4), rules.saved(6)), started)

    def test_counters_stay(self):
        rules.run("iptables", "-A", "forward_ext_ip", "-p", "igmp")
        text = rules.run("iptables-save", "-c").stdout.replace("[0:0] -A forward_ext_ds_ip", "[12:840] -A forward_ext_ds_ip")
        subprocess.run(["iptables-restore", "-c"], input=text, text=True, check=True)
        self._l3ctl("all-after", "apply", settings=_NEW)
        counted = [line.packets for line in rules.chain("forward_ext_ds_ip")]
        self.assertEqual(counted, [12] * 3)


class OtherPrograms(Rollback):
    """Rules that are not the gateway's: in a chain of their own, in the kernel's chains, in the gateway's."""

    def setUp(self):
        super().setUp()
        for line in ("-N other", "-A other -s 10.0.0.1 -j DROP", "-A other -s 10.0.0.2 -j DROP", "-I INPUT -j other",
                     "-A FORWARD -s 10.0.0.3 -j ACCEPT", "-A FORWARD -s 10.0.0.4 -j ACCEPT",
                     "-I forward_ext_ds_ip 2 -s 10.0.0.5 -j ACCEPT", "-A forward_ext_us_ip -s 10.0.0.6 -j ACCEPT"):  # fmt: skip
            rules.run("iptables", *line.split())

    def test_what_is_done_meanwhile_stays(self):
        _write(_MEANWHILE, """
            iptables -D other -s 10.0.0.1 -j DROP && iptables -A other -s 10.0.1.1 -j DROP
            iptables -D FORWARD -s 10.0.0.3 -j ACCEPT && iptables -I FORWARD -s 10.0.1.2 -j ACCEPT
            iptables -A FORWARD -s 10.0.1.3 -j ACCEPT && iptables -D INPUT -j other && iptables -A INPUT -j other
            iptables -A forward_ext_ds_ip -s 10.0.1.4 -j ACCEPT && iptables -I forward_ext_ds_ip -s 10.0.1.5 -j ACCEPT
            iptables -N later && iptables -A later -j RETURN && echo done >>/tmp/rollback-done""")
        before = rules.saved(4).splitlines()
        outcome = self._l3ctl("2-after", "apply", settings=_NEW)
        self.assertEqual(outcome.returncode, 3, outcome.stderr)
        self.assertTrue(outcome.stderr.endswith("everything is as it was before\n"), outcome.stderr)
        after = rules.saved(4).splitlines()
        gone = {"-A other -s 10.0.0.1/32 -j DROP", "-A FORWARD -s 10.0.0.3/32 -j ACCEPT"}
        new = {"-A other -s 10.0.1.1/32 -j DROP", "-A FORWARD -s 10.0.1.2/32 -j ACCEPT", "-A FORWARD -s 10.0.1.3/32 -j ACCEPT",
               "-A forward_ext_ds_ip -s 10.0.1.4/32 -j ACCEPT", "-A forward_ext_ds_ip -s 10.0.1.5/32 -j ACCEPT",
               ":later - [0:0]", "-A later -j RETURN"}  # fmt: skip
        self.assertEqual(Counter(after), Counter([line for line in before if line not in gone]) + Counter(new))
        downstream = [line for line in after if line.startswith("-A forward_ext_ds_ip")]
        self.assertEqual(downstream[0], "-A forward_ext_ds_ip -s 10.0.1.5/32 -j ACCEPT")
        self.assertEqual(downstream[1:-1], [line for line in before if line.startswith("-A forward_ext_ds_ip")])

    def test_a_chain_that_is_deleted_meanwhile_is_named(self):
        _write(_MEANWHILE, "iptables -D FORWARD -j forward_ext_url; iptables -F forward_ext_url; iptables -X forward_ext_url")
        outcome = self._l3ctl("2-after", "apply", settings=_NEW)
        self.assertEqual(outcome.returncode, 1, outcome.stderr)
        self.assertIn("iptables, table filter, chain forward_ext_url: another program deleted it\n", outcome.stderr)
        self.assertNotIn("everything is as it was before", outcome.stderr)
        self.assertEqual([line for line in rules.saved(4).splitlines() if "--dport 7000" in line], [])

    def _edit(self, rng: random.Random, expected: list[tuple[str, str]], number: int) -> None:
        """Adds a rule, or deletes one that was added before."""
        if expected and rng.random() < 0.45:
            chain, source = expected.pop(rng.randrange(len(expected)))
            rules.run("iptables", "-w", "-D", chain, "-s", source, "-j", "ACCEPT")
            return
        rule = (rng.choice(["other", "FORWARD", "INPUT", "input_ext_access_ctrl"]),
                f"10.1.{number // 250}.{number % 250 + 1}")
        rules.run("iptables", "-w", rng.choice(["-A", "-I"]), rule[0], "-s", rule[1], "-j", "ACCEPT")
        expected.append(rule)

    def test_no_rule_of_others_is_lost_or_comes_back(self):
        rng = random.Random(_SEED)
        expected: list[tuple[str, str]] = []
        problems: list[Exception] = []
        is_over = threading.Event()
        edits = 0

        def edit_until_over():
            nonlocal edits
            try:
                while not is_over.is_set():
                    self._edit(rng, expected, edits)
                    edits += 1
            except Exception as problem:  # the test fails with it below
                problems.append(problem)

        before = rules.saved(4).splitlines()
        other = threading.Thread(target=edit_until_over)
        other.start()
        try:
            for number in range(30):
                dies, *words = [("2-after", "apply"), ("2-after", "apply", "--confirm", "60"),
                                ("-A forward_ext_mac", "--one-by-one", "apply")][number % 3]  # fmt: skip
                outcome = self._l3ctl(dies, *words, settings=_NEW)
                self.assertEqual(outcome.returncode, 3, outcome.stderr)
                self.assertTrue(outcome.stderr.endswith("everything is as it was before\n"), outcome.stderr)
        finally:
            is_over.set()
            other.join()
        self.assertEqual(problems, [])
        self.assertGreater(edits, 60, f"seed {_SEED}")
        own = [f"-A {chain} -s {source}/32 -j ACCEPT" for chain, source in expected]
        self.assertEqual(Counter(rules.saved(4).splitlines()), Counter(before) + Counter(own), f"seed {_SEED}")
