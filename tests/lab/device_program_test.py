"""A device's own program that sets every filter with as many entries as fit, with libl3_transaction and without.

Each proof is made without it as well, where packets leak and kills leave half: so it would see them.
"""

import os
import pathlib
import random
import subprocess
import time

from l3lab import device, hosts, rules
from l3lab.flood import Flood
from l3lab.netns import Namespaces
from lab_case import LabCase

_FULL = os.environ.get("L3_TEST_FULL") == "yes"
_SEED = int(os.environ.get("L3LAB_SEED", "23"))
_STAND_IN = str(pathlib.Path(__file__).parents[2] / "build/release/tests/stand_in")


def _run(*words: str, **options) -> subprocess.CompletedProcess:
    done = subprocess.run([_STAND_IN, *words], capture_output=True, text=True, **options)
    if done.returncode != 0:
        raise RuntimeError(f"{words} ended with {done.returncode}: {done.stderr}")
    return done


def _set_every_filter(port: int, *bare: str, **options) -> int:
    """Returns the microseconds that it took."""
    return int(_run("every", "50", str(port), *bare, **options).stdout.splitlines()[-1])


def _rules(family: int) -> str:
    """Without those of the DHCP filter, which the master switch removes and only a change of its list makes."""
    return "".join(line for line in rules.saved(family).splitlines(True) if not line.startswith("-A input_ext_dhcp "))


def _state() -> tuple:
    files = device.stored_files()
    for name in ("firewall.conf", "firewall6.conf"):
        files[name] = rules.normalised(files[name].decode()).encode()
    return rules.saved(4), rules.saved(6), files


class SameRules(LabCase):
    def test_with_and_without_end_in_the_same_rules_and_files(self):
        ends = []
        for bare in ((), ("bare",)):
            LabCase.setUp(self)
            ends.append([])
            for port in (6000, 7000):
                _set_every_filter(port, *bare)
                ends[-1].append(_state())
        self.assertEqual(ends[0], ends[1])
        self.assertNotEqual(ends[0][0], ends[0][1])
        self.assertEqual(ends[0][0][0].count("site6000-"), 0)  # names are labels in hexadecimal
        self.assertGreater(ends[0][0][0].count("-A forward_ext_url "), 49)

    def test_a_path_without_sbin_is_no_matter(self):
        tools = os.path.dirname(subprocess.run(["which", "iptables-restore"], capture_output=True, text=True,
                                               check=True).stdout)
        self.assertTrue(tools)
        _set_every_filter(6000)
        wanted = _state()
        _set_every_filter(7000)
        path = ":".join(part for part in os.environ["PATH"].split(":") if part not in ("/usr/sbin", "/sbin"))
        _set_every_filter(6000, env={**os.environ, "PATH": path})
        self.assertEqual(_state(), wanted)


class Leaks(LabCase):
    def setUp(self):
        super().setUp()
        namespaces = Namespaces(hosts.NAMES)
        self.addCleanup(namespaces.close)
        self._flood = Flood(namespaces)
        self.addCleanup(self._flood.close)

    def _leaked(self, changes: int, *bare: str) -> tuple[int, int]:
        """What gets through a rule that stays closed while all others change, and the median time of a change."""
        _set_every_filter(6000)
        self._flood.arrived()
        leaked, times = 0, []
        for number in range(changes):
            before = self._flood.sent
            times.append(_set_every_filter(6100 + 100 * number, *bare))
            self.assertGreater(self._flood.sent - before, 20, "no flood to speak of")
            leaked += self._flood.arrived()
        return leaked, sorted(times)[len(times) // 2]

    def test_nothing_leaks_and_it_takes_less_time(self):
        leaked, took = self._leaked(100 if _FULL else 10)
        leaked_bare, took_bare = self._leaked(20 if _FULL else 1, "bare")
        print(f"every filter, 50 entries: {took} us and {leaked} packets leaked in a transaction, "
              f"{took_bare} us and {leaked_bare} packets without")
        self.assertEqual(leaked, 0)
        self.assertGreater(leaked_bare, 0)
        self.assertLess(took, took_bare)


class Kills(LabCase):
    def _partial(self, kills: int, *bare: str) -> tuple[int, int]:
        """Kills a change at a random moment, again and again: how often a change was under way, and how often a
        family's rules were neither the old nor the new ones."""
        dice = random.Random(_SEED)
        ends = []
        for port in (6000, 7000):
            duration = _set_every_filter(port, *bare) / 1e6
            ends.append((_rules(4), _rules(6)))
        hit = partial = 0
        for number in range(kills):
            hit += self._killed(["every", "50", str((6000, 7000)[number % 2]), *bare], dice.uniform(0, duration))
            now = (_rules(4), _rules(6))
            partial += any(now[family] not in (ends[0][family], ends[1][family]) for family in (0, 1))
        # Nothing is left behind that would stop the next: no lock, no temporary file.
        for port, end in ((7000, ends[1]), (6000, ends[0])):
            _set_every_filter(port, *bare)
            if not bare:
                self.assertEqual((_rules(4), _rules(6)), end)
        return hit, partial

    def _killed(self, words: list[str], after: float) -> bool:
        with subprocess.Popen([_STAND_IN, *words], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
            try:
                process.wait(after)
            except subprocess.TimeoutExpired:
                process.kill()
        time.sleep(0.01)  # a tool that it had started ends by itself
        return process.returncode == -9

    def test_no_kill_leaves_half_of_a_familys_rules(self):
        kills = 200 if _FULL else 30
        hit, partial = self._partial(kills)
        self.assertEqual(partial, 0)
        self.assertGreater(hit, kills // 2, "the kills came too late")

    def test_without_transactions_some_do(self):
        self.assertGreater(self._partial(4, "bare")[1], 0)


class Together(LabCase):
    def test_two_programs_and_l3ctl_lose_no_setting(self):
        rounds = 40 if _FULL else 8
        device.apply({"url_filter": {"enabled": True, "entries": []}})
        programs = [subprocess.Popen([_STAND_IN, "mac", str(number), str(rounds)], stdout=subprocess.DEVNULL)
                    for number in (3, 7)]
        names = [f"host-{number}.example" for number in range(rounds)]
        for name in names:
            device.l3ctl("url-filter", "add", name)
        self.assertEqual([process.wait(120) for process in programs], [0, 0])
        stored = device.stored_files()["l3_advance.dat"]
        for number in (3, 7):
            self.assertIn(bytes([2, 2, 2, 2, number, rounds]), stored)
            self.assertIn(f"02:02:02:02:{number:02x}:{rounds:02x}", rules.saved(4).lower())
        listed = device.l3ctl("url-filter", "list").stdout
        self.assertEqual([name for name in names if name not in listed], [])
        self.assertEqual(device.l3ctl("check", check=False).returncode, 0)
