"""The rules of a change are made together: no packet leaks meanwhile, and no kill leaves half of them.

Each proof is made with --one-by-one as well, where packets do leak and ends do leave half: so it would see them.
"""

import json
import os
import random
import subprocess
import time

from l3lab import device, hosts, rules
from l3lab.flood import CLOSED, Flood
from l3lab.netns import Namespaces
from lab_case import LabCase
from random_settings import Random, settings

_FULL = os.environ.get("L3_TEST_FULL") == "yes"
_SEED = int(os.environ.get("L3LAB_SEED", "23"))
_APART = ("--one-by-one",)
_FILE = f"{device.STORE}/l3_advance.dat"


def _lists(other_port: int, length: int = 50) -> dict:
    """Filters of both families; the last rule of the first closes a port, independent of the others."""
    ports = [*(str(other_port + number) for number in range(length - 1)), str(CLOSED)]
    ip_rules = [
        {"direction": "downstream", "protocol": "udp", "destination_ports": port} for port in ports
    ]
    macs = [{"mac": f"02:00:00:00:{other_port % 256:02x}:{number:02x}"} for number in range(10)]
    return {
        "ip_filter": {"enabled": True, "rules": ip_rules},
        "mac6_filter": {"enabled": True, "devices": macs},
    }


def _apply(wanted: dict, *options: str) -> subprocess.CompletedProcess:
    return device.l3ctl(*options, "apply", settings=wanted)


def _state() -> tuple:
    """The rules of both families, and the stored files without their time stamps and the history."""
    files = device.stored_files()
    files.pop("l3ctl.history", None)
    for name in ("firewall.conf", "firewall6.conf"):
        files[name] = rules.normalised(files[name].decode()).encode()
    return rules.saved(4), rules.saved(6), files


class SameRules(LabCase):
    def test_together_and_one_by_one_end_in_the_same_rules_and_files(self):
        rng = Random(_SEED)
        wanted = [settings(rng) for _ in range(60 if _FULL else 8)]
        ends = []
        for options in ((), _APART):
            LabCase.setUp(self)
            ends.append([])
            for one in wanted:
                _apply(one, *options)
                ends[-1].append(_state())
        for number, (together, apart) in enumerate(zip(*ends)):
            self.assertEqual(together, apart, f"seed {_SEED}, settings {number}: {json.dumps(wanted[number])}")
        self.assertGreater(len({end[0] for end in ends[0]}), len(wanted) // 2)


class Restored(LabCase):
    def test_a_restore_brings_back_files_and_rules_and_shows_no_error(self):
        start = _state()
        device.l3ctl("backup", "/tmp/restored.dat")
        for options in ((), _APART):
            _apply({**_lists(6000), "ipsec_pass_through": False})
            self.assertNotEqual(_state(), start)
            # The rules of IPsec are there to be removed, and then they are not.
            for _ in range(2):
                told = device.l3ctl(*options, "restore", "/tmp/restored.dat").stderr.splitlines()
                self.assertEqual([line for line in told if not line.startswith("[gl3_")], [])
                self.assertEqual(_state(), start)


class DryRuns(LabCase):
    def test_a_dry_run_reads_the_rules_with_the_tool_in_use(self):
        """A dry run has a /run of its own, and the chosen backend's tools lie in /run here."""
        change = {"firewall": {"enabled": True}, "url_filter": {"enabled": True, "entries": [{"host": "planned.example"}]}}
        plan = json.loads(device.l3ctl("plan", "--json", settings=change, check=False).stdout)
        self.assertEqual([rule["added"] for rule in plan["rules"] if rule["chain"] == "forward_ext_url"], [1])


class Unstored(LabCase):
    """Rules that a change made and nothing stores come back as they were unless it is confirmed."""

    changes = (("access", "web", "block"), ("access", "telnet", "allow"), ("wan", "clear"), ("wan", "update", "wan4"),
               ("page-jump", "add", "192.168.1.0/24", "192.168.1.1"), ("restore-rules",))
    foreign = ("-s", "192.0.2.7", "-j", "DROP")

    def setUp(self):
        super().setUp()
        device.l3ctl("access", "telnet", "block")
        subprocess.run(["iptables", "-t", "nat", "-L"], check=True, capture_output=True)

    def tables(self):
        return [rules.normalised(subprocess.run([f"{tool}-save", "-t", table], check=True, capture_output=True, text=True).stdout)
                for tool, table in (("iptables", "filter"), ("iptables", "nat"), ("ip6tables", "filter"))]

    def test_a_revert_brings_them_back_and_leaves_those_of_others(self):
        for change in self.changes:
            with self.subTest(change):
                before = self.tables()
                device.l3ctl(*change, "--confirm", "60")
                self.assertNotEqual(self.tables(), before)
                subprocess.run(["iptables", "-A", "OUTPUT", *self.foreign], check=True)
                device.l3ctl("confirm", "--revert")
                self.assertIn("-A OUTPUT -s 192.0.2.7/32 -j DROP", self.tables()[0])
                subprocess.run(["iptables", "-D", "OUTPUT", *self.foreign], check=True)
                self.assertEqual(self.tables(), before)

    def test_the_timer_rescues_who_shut_himself_out(self):
        before = self.tables()
        device.l3ctl("access", "web", "block", "--confirm", "1")
        end = time.monotonic() + 30
        while self.tables() != before:
            self.assertLess(time.monotonic(), end)
            time.sleep(0.1)

    def test_what_is_confirmed_stays(self):
        device.l3ctl("access", "web", "block", "--confirm", "60")
        blocked = self.tables()
        device.l3ctl("confirm")
        self.assertEqual(self.tables(), blocked)


class Leaks(LabCase):
    def setUp(self):
        super().setUp()
        namespaces = Namespaces(hosts.NAMES)
        self.addCleanup(namespaces.close)
        self._flood = Flood(namespaces)
        self.addCleanup(self._flood.close)

    def _leaked(self, changes: int, *options: str) -> int:
        """What gets through a rule that stays closed while others change."""
        _apply(_lists(6000))
        self._flood.arrived()
        leaked = 0
        for number in range(changes):
            before = self._flood.sent
            # All other rules change, or one of them.
            wanted = _lists(6100 + 100 * (number // 2))
            wanted["ip_filter"]["rules"][number % 49]["destination_ports"] = str(5900 + number)
            _apply(wanted, *options)
            self.assertGreater(self._flood.sent - before, 50, "no flood to speak of")
            leaked += self._flood.arrived()
        return leaked

    def test_nothing_gets_through_a_rule_that_stays(self):
        self.assertEqual(self._leaked(200 if _FULL else 20), 0)

    def test_one_by_one_much_does(self):
        self.assertGreater(self._leaked(2, *_APART), 0)


class Counters(LabCase):
    _PORTS = ["5000", "6001", "6002", "6003", "6004", "6005"]

    def _apply(self, section: str, ends: dict, ports: list[str], *options: str):
        entries = [{"direction": "upstream", "protocol": "udp", "destination_ports": port, **ends} for port in ports]
        _apply({section: {"enabled": True, "rules": entries}}, *options)

    def test_rules_that_stay_keep_what_they_have_counted(self):
        for section, family, probe, ends in (
            ("ip_filter", 4, "udp from lan to wan port 5000", {}),
            ("ip6_filter", 6, "udp6 from lan to wan port 5000", {"source": hosts.LAN.v6, "destination": hosts.WAN.v6}),
        ):
            rule = rules.Rule("forward_ext_us_ip", "dpt:5000", family)
            self._apply(section, ends, self._PORTS)
            self.assertFalse(self.send(probe).passed)
            counted = rule.packets()
            self.assertGreater(counted, 0)
            for ports in ([*self._PORTS, "7000"], ["7001", *self._PORTS], self._PORTS[:4], ["6009", "5000", *self._PORTS[2:]]):
                with self.subTest(family=family, ports=ports):
                    self._apply(section, ends, ports)
                    self.assertEqual(rule.packets(), counted)
            # Line by line every rule begins anew: so this would see it.
            self._apply(section, ends, self._PORTS, *_APART)
            self.assertEqual(rule.packets(), 0)


class Kills(LabCase):
    def _partial(self, kills: int, *options: str) -> tuple[int, int]:
        """Ends a change at a random moment, again and again: how often a change was under way, and how often
        a table was neither the old nor the new one."""
        rng = random.Random(_SEED)
        ends = []
        for port in (6000, 7000):
            start = time.monotonic()
            _apply(_lists(port), *options)
            duration = time.monotonic() - start
            ends.append((device.stored_files()["l3_advance.dat"], rules.saved(4), rules.saved(6)))
        hit = partial = 0
        for _ in range(kills):
            stored = device.stored_files()["l3_advance.dat"]
            path = f"/tmp/kill.{os.getpid()}.json"
            with open(path, "w", encoding="utf-8") as file:
                json.dump(_lists(6000 if stored == ends[1][0] else 7000), file)
            hit += self._killed(["l3ctl", *options, "apply", path], rng.uniform(0, duration))
            four, six = rules.saved(4), rules.saved(6)
            partial += four not in (ends[0][1], ends[1][1]) or six not in (ends[0][2], ends[1][2])
        for port, end in ((6000, ends[0]), (7000, ends[1]), (6000, ends[0])):
            _apply(_lists(port), *options)
        self.assertEqual((rules.saved(4), rules.saved(6)), ends[0][1:], "no change works any more")
        return hit, partial

    def _killed(self, command: list[str], after: float) -> bool:
        with subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
            try:
                process.wait(after)
            except subprocess.TimeoutExpired:
                process.kill()
        return process.returncode == -9

    def test_no_kill_leaves_half_of_the_rules(self):
        kills = 200 if _FULL else 40
        hit, partial = self._partial(kills)
        self.assertEqual(partial, 0)
        self.assertGreater(hit, kills // 2, "the kills came too late")

    def test_one_by_one_some_do(self):
        self.assertGreater(self._partial(10, *_APART)[1], 0)


class Refused(LabCase):
    """One rule of fifty that the packet filter refuses; only a file from elsewhere can hold such."""

    _NAMES = [f"host-{number:02}.example" for number in range(50)]

    def setUp(self):
        super().setUp()
        entries = [{"host": name} for name in self._NAMES]
        _apply({**_lists(6000), "url_filter": {"enabled": False, "entries": entries}})

    def _spoil(self, name: str, at: int, new: bytes) -> None:
        """Overwrites bytes of the stored entry."""
        with open(_FILE, "r+b") as file:
            file.seek(file.read().index(name.encode()) + at)
            file.write(new)

    def _assert_everything_stays(self, refused: str):
        for options in ((), _APART):
            with self.subTest(options):
                before = _state()
                outcome = device.l3ctl("--force", *options, "url-filter", "on", check=False)
                self.assertEqual((outcome.returncode, outcome.stdout), (3, ""))
                self.assertIn(refused, outcome.stderr)
                self.assertEqual(outcome.stderr.count('l3ctl: url_filter.entries['), 1, outcome.stderr)
                self.assertTrue(outcome.stderr.endswith("everything is as it was before\n"), outcome.stderr)
                self.assertEqual(_state(), before)

    def test_a_rule_that_the_tool_refuses(self):
        self._spoil(self._NAMES[33], 32, bytes([30]))
        self._assert_everything_stays("--timestart 30:0 ")

    def test_a_rule_that_the_kernel_refuses(self):
        self._spoil(self._NAMES[21], 0, bytes(len(self._NAMES[21])))
        self._assert_everything_stays('--string "" --algo bm')
