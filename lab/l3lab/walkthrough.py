"""A demonstration: printed steps, and tables of what was expected and seen."""

import contextlib
import sys
from typing import Callable, NamedTuple, Optional

from l3lab import rules, table, probe_grammar
from l3lab.prober import PASS_TIMEOUT, STOP_TIMEOUT, Prober
from l3lab.rules import Rule


class Row(NamedTuple):
    """A probe, whether it is to pass before and after the change, and by which rule it is stopped.

    `lands` names the hosts that must take a connection before and after, where that is the point.
    """

    probe: str
    before: bool
    after: bool
    stopped_by: Optional[Rule] = None
    lands: tuple[Optional[str], Optional[str]] = (None, None)


class Observation(NamedTuple):
    """The outcome of one probe, as the table prints it."""

    seen: str
    evidence: str
    as_expected: bool


class Walkthrough:
    def __init__(self, prober: Prober):
        self._prober = prober
        self.failures: list[str] = []
        self.probes = 0

    def section(self, title: str) -> None:
        print(f"\n{title}\n{'=' * len(title)}", flush=True)

    @contextlib.contextmanager
    def step(self, what: str):
        print(f"  {what} ...", end=" ", flush=True)
        try:
            yield
        except Exception as error:
            print("failed", flush=True)
            self.failures.append(f"{what}: {error}")
            print(f"    {error}", file=sys.stderr)
            raise
        print("done", flush=True)

    def show_rules(self, *chains: tuple[str, int]) -> None:
        for chain, family in chains:
            listed = [rule.text for rule in rules.chain(chain, family)]
            print(f"  {chain}{' (IPv6)' if family == 6 else ''}")
            for text in listed or ["(empty)"]:
                print(f"    {text}")
        sys.stdout.flush()

    def prove(self, rows: list[Row], change: Callable[[], None]) -> None:
        """Sends every row's packet, makes the change, sends it again and prints the table."""
        before = [self._send(row, row.before, row.lands[0]) for row in rows]
        change()
        after = [self._send(row, row.after, row.lands[1]) for row in rows]
        headings = ["probe", "before: expected", "seen", "after: expected", "seen", "evidence", ""]
        printed = []
        for row, first, then in zip(rows, before, after):
            cells = [row.probe, _word(row.before), first.seen, _word(row.after), then.seen]
            good = first.as_expected and then.as_expected
            printed.append([*cells, _evidence(first, then), "" if good else "<-- WRONG"])
            if not good:
                self.failures.append(row.probe)
        print()
        for line in table.lines(headings, printed):
            print(f"  {line}")
        print(flush=True)

    def _send(self, row: Row, expected: bool, lands: Optional[str]) -> Observation:
        self.probes += 1
        rule = None if expected else row.stopped_by
        counted = rule.count() if rule else 0
        timeout = PASS_TIMEOUT if expected else STOP_TIMEOUT
        outcome = probe_grammar.send(self._prober, row.probe, timeout=timeout)
        as_expected = outcome.passed == expected
        evidence = ""
        if rule:
            rise = rule.count() - counted
            evidence = f"{rule.chain} +{rise}"
            as_expected = as_expected and rise == 1
        elif lands:
            evidence = f"lands on {outcome.at}"
            as_expected = as_expected and outcome.at == lands
        return Observation(_word(outcome.passed), evidence, as_expected)


def _evidence(first: Observation, then: Observation) -> str:
    return ", then ".join(filter(None, (first.evidence, then.evidence)))


def _word(passes: bool) -> str:
    return "pass" if passes else "stop"
