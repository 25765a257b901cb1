"""Probes as text, the same in tables, in tests and at a prompt.

    tcp from lan to wan port 80             a whole connection (tcp6: over IPv6)
    udp from wan to lan port 5000           one datagram, one way (udp6)
    udp 500->500 from lan to wan            with this source port
    tcp flags SYN+ACK from wan to lan port 80
    ping from lan to wan                    (ping6)
    dns query for example.com from lan to wan    (dns6)
    udp frame from 02:00:00:00:00:07 to wan port 5000     a frame with this source MAC (udp6)
    udp frame from 02:00:00:00:00:07 as 192.168.1.9 to gateway port 161     and this source address
    dhcp discover from 02:00:00:00:00:07

Hosts are lan, tablet, wan, other and gateway.
"""

import re

from l3lab import frames, hosts

_HOST = "|".join(hosts.NAMES)
_ENDS = rf"from (?P<source>{_HOST}) to (?P<target>{_HOST})"
_PORT = r"port (?P<port>\d+)"
_MAC = r"(?P<mac>[0-9a-f]{2}(?::[0-9a-f]{2}){5})"
_AS = r"(?: as (?P<address>[0-9a-f.:]+))?"
_SIX = r"(?P<six>6?)"


def _family(found) -> int:
    return 6 if found["six"] else 4


def _tcp(prober, found, **rest):
    return prober.tcp(
        found["source"], found["target"], int(found["port"]), family=_family(found), **rest
    )


def _flags(prober, found, **rest):
    flags = sum(frames.TCP_FLAGS[name] for name in found["flags"].split("+"))
    ends = (found["source"], found["target"], int(found["port"]))
    return prober.tcp_flags(flags, *ends, family=_family(found), **rest)


def _udp(prober, found, **rest):
    ends = (found["source"], found["target"], int(found["port"]))
    own_port = int(found.get("own_port") or 0)
    return prober.udp(*ends, family=_family(found), own_port=own_port, **rest)


def _dns(prober, found, **rest):
    ends = (found["source"], found["target"], found["name"])
    return prober.dns(*ends, family=_family(found), **rest)


def _ping(prober, found, **rest):
    return prober.ping(found["source"], found["target"], family=_family(found), **rest)


def _frame(prober, found, **rest):
    ends = (found["mac"], found["target"], int(found["port"]))
    return prober.udp_frame(*ends, family=_family(found), address=found["address"], **rest)


def _dhcp(prober, found, **rest):
    return prober.dhcp_discover(found["mac"], **rest)


_FLAG = "|".join(frames.TCP_FLAGS)
_GRAMMAR = [
    (rf"tcp{_SIX} {_ENDS} {_PORT}", _tcp),
    (rf"tcp{_SIX} flags (?P<flags>(?:{_FLAG})(?:\+(?:{_FLAG}))*) {_ENDS} {_PORT}", _flags),
    (rf"udp{_SIX} {_ENDS} {_PORT}", _udp),
    (rf"udp{_SIX} (?P<own_port>\d+)->(?P<port>\d+) {_ENDS}", _udp),
    (rf"dns{_SIX} query for (?P<name>\S+) {_ENDS}", _dns),
    (rf"ping{_SIX} {_ENDS}", _ping),
    (rf"udp{_SIX} frame from {_MAC}{_AS} to (?P<target>{_HOST}) {_PORT}", _frame),
    (rf"dhcp discover from {_MAC}", _dhcp),
]
_GRAMMAR = [(re.compile(pattern), act) for pattern, act in _GRAMMAR]


def send(prober, words: str, **rest):
    """Sends the probe that the text names and returns its Outcome."""
    for pattern, act in _GRAMMAR:
        found = pattern.fullmatch(words)
        if found:
            return act(prober, found.groupdict(), **rest)
    raise ValueError(f"no probe is called '{words}'")
