"""What a transaction edits ends in the rules that the lines make one by one, and rules that stay keep their counters;
rules count as equal exactly when the packet filter takes them for equal.

The rules are those of the generators, from the plans of random settings, as the library writes them and as the save
tools print them. They go through tests/executor/lines.cpp, which is the executor without l3ctl.
"""

import collections
import functools
import json
import os
import re
import unittest
from pathlib import Path
from subprocess import run as run_process

import random_settings
from l3lab import device, rules
from lab_case import LabCase
from random_settings import Random

_FULL = bool(os.environ.get("L3_TEST_FULL"))
_PAIRS = 3000 if _FULL else 150
_PLANS = 200 if _FULL else 25
_SEED = int(os.environ.get("L3LAB_SEED", "31"))
_LINES = Path(os.environ["L3LAB_BUILD"]) / "tests/executor_lines"
_TOOLS = {4: "iptables", 6: "ip6tables"}
_CHAIN = "pairs"
_BACKEND = os.environ["L3LAB_BACKEND"]
_LARGEST = (1 << 64) - 1


def _lines(words: list[str], lines: list[str]) -> str:
    """What executor_lines prints; it must succeed."""
    done = run_process([_LINES, *words], input="".join(line + "\0" for line in lines).encode("latin-1"), capture_output=True)
    if done.returncode != 0:
        raise AssertionError(done.stderr.decode("latin-1"))
    return done.stdout.decode()


def _tool(name: str, *words: str, text: str = "") -> tuple[int, str]:
    done = run_process([name, *words], input=text.encode("latin-1"), capture_output=True)
    return done.returncode, done.stdout.decode("latin-1") + done.stderr.decode("latin-1")


def _restore(family: int, lines: list[str]) -> None:
    """In parts: without rights over the host, nft cannot send the kernel some hundred rules in one message."""
    for start in range(0, len(lines), 100):
        part = lines[start:start + 100]
        status, said = _tool(_TOOLS[family] + "-restore", "--noflush", "--counters",
                             text="\n".join(["*filter", *part, "COMMIT", ""]))  # fmt: skip
        if status != 0:
            raise AssertionError(said + "\n".join(part))


def _saved(family: int) -> list[tuple[str, str]]:
    """The rules of the chain as (counters, text)."""
    saved = _tool(_TOOLS[family] + "-save", "-c", "-t", "filter")[1]
    return re.findall(rf"^(\[\d+:\d+\]) -A {_CHAIN}(?: (.*))?$", saved, flags=re.M)


@functools.cache
def _written(family: int) -> list[str]:
    """Every rule that the plans hold, as the library writes it, without its chain."""
    rng = Random(_SEED)
    found = {}
    for _ in range(_PLANS):
        settings = random_settings.settings(rng) | {"port_scan_protection": rng.chance(50)}
        plan = json.loads(device.l3ctl("plan", "--json", settings=settings, check=False).stdout)
        for step in plan["steps"]:
            if match := re.match(rf"{_TOOLS[family]} (?:-t filter )?-[AI] \S+ +(.*)$", step.get("line", ""), flags=re.S):
                found[match[1]] = None
    # Jumps to chains lead nowhere special here, and each stands for the others.
    return sorted(rule for rule in found if " -i " in rule or "-j forward" not in rule)


def _as_restored(rule: str) -> str:
    """A restore tool reads lines, so match strings go there in hexadecimal."""
    return re.sub(r'--string "((?:[^"\\]|\\.)*)"',
                  lambda found: '--hex-string "|' + re.sub(r"\\(.)", r"\1", found[1], flags=re.S).encode("latin-1").hex() + '|"',
                  rule, flags=re.S)  # fmt: skip


def _looked_at(family: int, saved: str) -> str:
    """What a tool looks at to find the rule to delete: ip6tables on nft does not compare prefix lengths."""
    if _BACKEND == "nft" and family == 6:
        saved = re.sub(r"(-[sd] \S+?)/\d+ ", r"\1 ", saved)
        saved = re.sub(r"(?<!! )-[sd] :: ", "", saved)
    return saved


class Case(LabCase):
    def setUp(self):
        super().setUp()
        for family in _TOOLS:
            _restore(family, [f":{_CHAIN} - [0:0]"])
        self.rng = Random(_SEED)
        # The library's rule -> the text that is saved of it.
        self.saved = {family: self._spellings(family) for family in _TOOLS}

    def _spellings(self, family: int) -> dict[str, str]:
        written = _written(family)
        self.assertGreater(len(written), 15)
        _restore(family, [f"-A {_CHAIN} {_as_restored(rule)}" for rule in written])
        spelled = dict(zip(written, (text for _, text in _saved(family))))
        self.assertEqual(len(spelled), len(_saved(family)))
        _restore(family, [f"-F {_CHAIN}"])
        return spelled


class Pairs(Case):
    def _counters(self) -> str:
        kind = self.rng.randrange(10)
        if kind == 0:
            return "[0:0]"
        most = _LARGEST if kind == 1 else 10**6
        return f"[{self.rng.randint(most // 2, most)}:{self.rng.randint(most // 2, most)}]"

    def _changed(self, before: list[str], written: list[str]) -> list[str]:
        """Another list: one rule differs, or some, or all."""
        after = list(before)
        for _ in range(self.rng.choice([1, 1, 1, 2, 5, 20])):
            place = self.rng.randint(0, len(after))
            step = self.rng.randrange(5)
            if step < 2 or not after:
                after.insert(place, self.rng.choice(written))
            elif step == 2:
                after.pop(place - 1)
            elif step == 3:
                after.insert(place, after.pop(self.rng.randrange(len(after))))
            else:
                after.insert(place, self.rng.choice(after))
        return after

    def _asked(self, family: int, before: list[str], flushes: bool) -> list[str]:
        """The library's lines: a flush and all rules, or edits of single rules."""
        tool, written = _TOOLS[family], list(self.saved[family])
        after = self._changed(before, written)
        if flushes:
            return [f"{tool} -t filter -F {_CHAIN}", *(f"{tool} -A {_CHAIN} {rule}" for rule in after)]
        lines, now = [], list(before)
        for _ in range(self.rng.randint(1, 4)):
            step, rule = self.rng.randrange(3), self.rng.choice(written)
            if step == 0 and now:
                rule = self.rng.choice(now)
                now.remove(rule)
                lines.append(f"{tool} -D {_CHAIN} {rule}")
            elif step == 1:
                place = self.rng.randint(1, len(now) + 1)
                now.insert(place - 1, rule)
                lines.append(f"{tool} -I {_CHAIN} {place} {rule}")
            else:
                now.append(rule)
                lines.append(f"{tool} -A {_CHAIN} {rule}")
        return lines

    def _fill(self, family: int, counted: list[tuple[str, str]]) -> None:
        _restore(family, [f"-F {_CHAIN}", *(f"{counters} -A {_CHAIN} {text}" for counters, text in counted)])

    def _one_by_one(self, family: int, lines: list[str]) -> list[str]:
        """The rules after the same edits by the tools alone."""
        # Not one restore: nft cannot insert beside a rule that the same restore has added.
        for line in lines if len(lines) < 5 else []:
            self.assertEqual(run_process(["sh", "-c", line.encode("latin-1")]).returncode, 0, line)
        if len(lines) >= 5:
            _restore(family, [_as_restored(re.sub(r"^\S+ (-t filter )?", "", line)) for line in lines])
        return [text for _, text in _saved(family)]

    def _check_counters(self, before: list[tuple[str, str]], after: list[tuple[str, str]]) -> int:
        """As many of equal rules as stand in both states have counters of before. Returns how many."""
        kept = 0
        for text in {text for _, text in after}:
            old, new = (collections.Counter(counters for counters, one in state if one == text and counters != "[0:0]")
                        for state in (before, after))  # fmt: skip
            self.assertEqual(new - old, collections.Counter(), "counters from nowhere")
            counts = [sum(one == text for _, one in state) for state in (before, after)]
            zeros = sum(one == text and counters == "[0:0]" for counters, one in before)
            self.assertGreaterEqual(sum(new.values()), min(counts) - zeros, text)
            kept += sum(new.values())
        return kept

    def test_random_changes(self):
        kept = 0
        for number in range(_PAIRS):
            family = self.rng.choice([4, 6])
            flushes = self.rng.chance(70)
            length = self.rng.choice([0, 1, 3, 10, 10, 50])
            before = [self.rng.choice(list(self.saved[family])) for _ in range(length)]
            counted = [(self._counters(), self.saved[family][rule]) for rule in before]
            # After a start the rules are those of a save file.
            spelled = [text if flushes and self.rng.chance(50) else _as_restored(rule)
                       for rule, (_, text) in zip(before, counted)]  # fmt: skip
            made = [(counters, text) for (counters, _), text in zip(counted, spelled)]
            asked = self._asked(family, before, flushes)
            with self.subTest(seed=_SEED, number=number, family=family, asked=asked, before=counted):
                self._fill(family, made)
                expected = self._one_by_one(family, asked)
                self._fill(family, made)
                _lines(["commit"], asked)
                after = _saved(family)
                self.assertEqual([text for _, text in after], expected)
                # A rule that single edits delete and add anew is another rule; ip6tables-restore of nft passes over
                # the counters that it is given, so they cannot be set either.
                if flushes and (family, _BACKEND) != (6, "nft"):
                    kept += self._check_counters(counted, after)
        self.assertGreater(kept, _PAIRS / 2)

    def test_a_chain_among_ten_thousand_rules_of_others(self):
        others = [f"-A {_CHAIN}_others -s 10.{n // 250}.{n % 250}.1/32 -j ACCEPT" for n in range(10_000 if _FULL else 800)]
        _restore(4, [f":{_CHAIN}_others - [0:0]"])
        for start in range(0, len(others), 400):
            _restore(4, others[start:start + 400])
        written = list(self.saved[4])[:10]
        self._fill(4, [("[7:70]", self.saved[4][rule]) for rule in written[:9]])
        _lines(["commit"], [f"iptables -F {_CHAIN}", *(f"iptables -A {_CHAIN} {rule}" for rule in written)])
        kept = [("[7:70]", self.saved[4][rule]) for rule in written[:9]]
        self.assertEqual(_saved(4), [*kept, ("[0:0]", self.saved[4][written[9]])])
        self.assertEqual(_tool("iptables-save", "-t", "filter")[1].count(f"-A {_CHAIN}_others "), len(others))


class Meanwhile(Case):
    """Another program edits the chain between the read and the commit."""

    def _changed_meanwhile(self, edits: list[str], expected: list[str]) -> None:
        rule = "-p udp -m udp --dport {0} -j DROP"
        ports = {name: rule.format(1000 + ord(name)) for name in "abcdexyz"}
        _restore(4, [f"-F {_CHAIN}", *(f"[5:50] -A {_CHAIN} {ports[name]}" for name in "abcde")])
        # The tool in front of the real one edits the chain before the first restore.
        folder = Path("/tmp/meanwhile")
        folder.mkdir(exist_ok=True)
        done = folder / "done"
        done.unlink(missing_ok=True)
        real = run_process(["sh", "-c", "command -v iptables-restore"], capture_output=True, text=True).stdout.strip()
        script = "\n".join(f"iptables {edit.format(**ports)}" for edit in edits)
        (folder / "iptables-restore").write_text(f'#!/bin/sh\n[ -e {done} ] || {{ touch {done}\n{script}\n}}\nexec {real} "$@"\n')
        (folder / "iptables-restore").chmod(0o755)
        lines = [f"iptables -F {_CHAIN}", *(f"iptables -A {_CHAIN} {ports[name]}" for name in "abxde")]
        made = run_process([_LINES, "commit"], input="".join(line + "\0" for line in lines).encode(), capture_output=True,
                           env=os.environ | {"PATH": f"{folder}:{os.environ['PATH']}"})  # fmt: skip
        self.assertEqual((made.returncode, made.stderr), (0, b""))
        after = _saved(4)
        self.assertEqual([text for _, text in after], [ports[name] for name in expected])
        self.assertEqual([counters for counters, text in after if text == ports["e"]], ["[5:50]"])

    def test_it_deletes_what_the_change_deletes(self):
        self._changed_meanwhile([f"-D {_CHAIN} {{c}}"], list("abxde"))

    def test_it_deletes_what_stays(self):
        self._changed_meanwhile([f"-D {_CHAIN} {{a}}"], list("abxde"))

    def test_it_inserts_a_rule_in_front(self):
        self._changed_meanwhile([f"-I {_CHAIN} {{z}}"], list("abxde"))


class Equality(Case):
    def _keys(self, family: int, texts: list[str]) -> list[str]:
        return _lines(["keys", str(family)], texts).splitlines()

    def test_every_spelling_of_a_rule_is_the_rule(self):
        """Deletion by each spelling removes that rule, among others, and keys tell the same."""
        for family, saved in self.saved.items():
            written = list(saved)
            keys = self._keys(family, [f"{_TOOLS[family]} -A {_CHAIN} {rule}" for rule in written])
            self.assertEqual(keys, self._keys(family, [f"-A {_CHAIN} {text}" for text in saved.values()]))
            self.assertEqual(keys, self._keys(family, [f"-A {_CHAIN} {_as_restored(rule)}" for rule in written]))
            distinct = dict(zip(keys, written))
            # What the tool saves alike is alike, and nothing else.
            self.assertEqual(len(distinct), len(set(saved.values())))
            chosen = list(distinct.values()) if _FULL else self.rng.sample(list(distinct.values()), min(12, len(distinct)))
            for start in range(0, len(chosen), 50):
                self._delete_by_each_spelling(family, chosen[start:start + 50])

    def _delete_by_each_spelling(self, family: int, rules: list[str]) -> None:
        saved = self.saved[family]
        _restore(family, [f"-F {_CHAIN}", *(f"-A {_CHAIN} {_as_restored(rule)}" for rule in rules)])
        whole = [text for _, text in _saved(family)]
        for rule in rules:
            for spelling in {_as_restored(rule), saved[rule]}:
                with self.subTest(family=family, spelling=spelling):
                    status, said = _tool(_TOOLS[family] + "-restore", "--noflush",
                                         text=f"*filter\n-D {_CHAIN} {spelling}\nCOMMIT\n")  # fmt: skip
                    # ip6tables keeps whether a rule was made with "-p all", and does not save it.
                    is_lost = _BACKEND == "legacy" and family == 6 and "-p all" in rule and "-p" not in spelling
                    self.assertEqual(status != 0, is_lost, said)
                    left = [text for _, text in _saved(family)]
                    if is_lost:
                        self.assertEqual(left, whole)
                        continue
                    hit = [_looked_at(family, text) for text in whole].index(_looked_at(family, saved[rule]))
                    self.assertEqual(left, whole[:hit] + whole[hit + 1:])
                    _restore(family, [f"-I {_CHAIN} {hit + 1} {_as_restored(rules[hit])}"])

    def _variants(self, rule: str) -> list[str]:
        """The rule with one thing changed; the tool refuses some, and takes some for the same."""
        words = re.findall(r'"(?:[^"\\]|\\.)*"|\S+', rule, flags=re.S)
        variants = []
        for place, word in enumerate(words):
            if re.fullmatch(r"-[pisd]|--(dport|sport|syn|mac-source|state|tcp-flags|string|hex-string|limit)", word):
                variants.append(words[:place] + (["!"] if place == 0 or words[place - 1] != "!" else []) + words[place:])
                if place > 0 and words[place - 1] == "!":
                    variants.append(words[:place - 1] + words[place:])
            if re.fullmatch(r"\d+", word):
                variants.append(words[:place] + [str(int(word) + 1)] + words[place + 1:])
            if re.fullmatch(r"\d+:\d+", word):
                variants.append(words[:place] + [word.split(":")[0]] + words[place + 1:])
        jump = words.index("-j")
        for module in ("tcp", "udp"):
            if module in words[:jump]:
                variants.append(words[:jump] + ["-m", module] + words[jump:])
        modules = [place for place, word in enumerate(words) if word == "-m"]
        if len(modules) > 1:
            first, second = modules[:2]
            end = modules[2] if len(modules) > 2 else jump
            variants.append(words[:first] + words[second:end] + words[first:second] + words[end:])
        if words[jump + 1] in ("DROP", "ACCEPT"):
            variants.append(words[:jump + 1] + [{"DROP": "ACCEPT", "ACCEPT": "DROP"}[words[jump + 1]]] + words[jump + 2:])
        return [" ".join(one) for one in variants]

    def test_a_changed_rule_is_equal_exactly_when_the_tool_finds_it(self):
        compared = collections.Counter()
        for family, saved in self.saved.items():
            chosen = list(saved) if _FULL else self.rng.sample(list(saved), min(15, len(saved)))
            for rule in chosen:
                made = f"-A {_CHAIN} {_as_restored(rule)}"
                _restore(family, [f"-F {_CHAIN}", made])
                key = self._keys(family, [f"-A {_CHAIN} {saved[rule]}"])[0]
                for variant in self._variants(_as_restored(rule)):
                    is_found = _tool(_TOOLS[family] + "-restore", "--noflush",
                                     text=f"*filter\n-D {_CHAIN} {variant}\nCOMMIT\n")[0] == 0  # fmt: skip
                    if is_found:
                        _restore(family, [made])
                    is_equal = self._keys(family, [f"-A {_CHAIN} {variant}"])[0] == key
                    self.assertEqual(is_equal, is_found, f"family {family}: {variant} beside {saved[rule]}")
                    compared[is_found] += 1
        self.assertGreater(compared[False], 60)


if __name__ == "__main__":
    unittest.main()
