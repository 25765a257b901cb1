"""The rules that stand in the kernel, read through the backend's own tools."""

import re
import subprocess
from typing import NamedTuple

_TOOLS = {4: "iptables", 6: "ip6tables"}


class Line(NamedTuple):
    """One line of `iptables -nvxL CHAIN`: its packet count, its target and its matches."""

    packets: int
    target: str
    text: str


class Rule(NamedTuple):
    """The rules of a chain whose line holds this text; their counter is a probe's evidence."""

    chain: str
    text: str
    family: int = 4

    def packets(self) -> int:
        """What they counted so far; it is an error when there is no such rule."""
        return packets(self.chain, self.text, self.family)

    def count(self) -> int:
        """The same, or nothing where there is no such rule."""
        try:
            return self.packets()
        except LookupError:
            return 0


def run(*command: str, check: bool = True) -> subprocess.CompletedProcess:
    finished = subprocess.run(command, capture_output=True, text=True, errors="replace")
    if check and finished.returncode != 0:
        raise RuntimeError(f"{' '.join(command)}: {finished.stderr.strip()}")
    return finished


def chain(name: str, family: int = 4, table: str = "filter") -> list[Line]:
    """A chain's rules in order, with exact counters."""
    listing = run(_TOOLS[family], "-t", table, "-nvxL", name).stdout.splitlines()
    found = []
    for line in listing[2:]:
        packets, _bytes, target, rest = line.split(maxsplit=3)
        found.append(Line(int(packets), target, " ".join(f"{target} {rest}".split())))
    return found


def packets(name: str, text: str, family: int = 4, table: str = "filter") -> int:
    """The packets counted by the rules of a chain whose line holds this text; there must be one."""
    counted = [line.packets for line in chain(name, family, table) if text in line.text]
    if not counted:
        raise LookupError(f"no rule of {name} says '{text}'")
    return sum(counted)


def saved(family: int = 4, table: str = "filter") -> str:
    """What iptables-save prints, without what differs from run to run or backend to backend."""
    return normalised(run(_TOOLS[family] + "-save", "-t", table).stdout)


def normalised(text: str) -> str:
    lines = [line for line in text.splitlines() if not line.startswith("#")]
    kept = "\n".join(lines).replace(" --datestop 2038-01-19T03:14:07", "")
    return re.sub(r"\[\d+:\d+\]", "[0:0]", kept)


def forget_connections() -> None:
    """Empties connection tracking, so that the next packet of any flow is new again."""
    run("conntrack", "-F")
