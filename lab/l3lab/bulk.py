"""Many packets at once: frames with any addresses, and whether each reached its end.

The prober sends one packet and waits; here a whole batch is sent, and what arrives is identified by its
bytes above the IP header, which no two packets share. A packet for the gateway has arrived when a raw socket
there sees it, which is behind the packet filter; one for a host, when it is on the host's wire.
"""

import functools
import os
import re
import select
import socket
import time
from typing import NamedTuple

from l3lab import frames, hosts, rules
from l3lab.netns import Namespaces

PROTOCOLS = {"tcp": 6, "udp": 17, "icmp": 1, "icmp6": 58}
_IPV4, _IPV6 = 0x0800, 0x86DD
_TIMEOUT = 2.0
_LAST_LOOK = 0.03


class Sending(NamedTuple):
    """A frame, the host that sends it, the host that is to get it, and the bytes to know it by."""

    host: str
    target: str
    frame: bytes
    payload: bytes


class BulkProber:
    def __init__(self):
        self._namespaces = Namespaces(hosts.NAMES)
        self._tokens = iter(range(int.from_bytes(os.urandom(3), "big") << 16, 1 << 62))
        self._wires = {name: self._wire(name) for name in hosts.NEIGHBOURS}
        self._listeners: dict[int, tuple[str, int, socket.socket]] = {}
        for name in hosts.NEIGHBOURS:
            for kind in (_IPV4, _IPV6):
                self._listen(name, kind, socket.AF_PACKET, socket.SOCK_DGRAM, socket.htons(kind))
        for word, number in PROTOCOLS.items():
            for kind, family in ((_IPV4, socket.AF_INET), (0, socket.AF_INET6)):
                if (word == "icmp6") == (kind == 0) or word in ("tcp", "udp"):
                    self._listen("gateway", kind, family, socket.SOCK_RAW, number)

    def close(self) -> None:
        for wire in self._wires.values():
            wire.close()
        for _, _, listener in self._listeners.values():
            listener.close()
        self._namespaces.close()

    def token(self) -> int:
        return next(self._tokens)

    def _wire(self, name: str) -> socket.socket:
        wire = self._namespaces.socket(name, socket.AF_PACKET, socket.SOCK_RAW)
        # Protocol zero delivers nothing to this socket.
        wire.bind(("eth0", 0))
        return wire

    def _listen(self, name: str, kind: int, *made_of: int) -> None:
        listener = self._namespaces.socket(name, *made_of)
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 20)
        self._listeners[listener.fileno()] = (name, kind, listener)

    def send(self, batch: list[Sending], expected: set[int]) -> set[int]:
        """Sends them all and returns the numbers of those that arrived. Those that are expected are
        waited for; the others get a last look after these."""
        self._receive({})
        wanted = {(one.target, one.payload): number for number, one in enumerate(batch)}
        if len(wanted) != len(batch):
            raise ValueError("two packets of a batch cannot be distinguished")
        for one in batch:
            self._wires[one.host].send(one.frame)
        arrived: set[int] = set()
        end = time.monotonic() + _TIMEOUT
        while not expected <= arrived and time.monotonic() < end:
            arrived |= self._receive(wanted, end - time.monotonic())
        time.sleep(_LAST_LOOK)
        return arrived | self._receive(wanted)

    def _receive(self, wanted: dict, timeout: float = 0) -> set[int]:
        poll = select.poll()
        for number in self._listeners:
            poll.register(number, select.POLLIN)
        heard = set()
        for number, _ in poll.poll(max(timeout, 0) * 1000):
            name, kind, listener = self._listeners[number]
            while True:
                try:
                    packet = listener.recv(4096)
                except BlockingIOError:
                    break
                found = wanted.get((name, _payload(kind, packet)))
                if found is not None:
                    heard.add(found)
        return heard


def _payload(kind: int, packet: bytes) -> bytes:
    if kind == _IPV4:
        return packet[(packet[0] & 15) * 4 : int.from_bytes(packet[2:4], "big")]
    # Raw IPv6 sockets (kind 0) hand over what follows the header alone.
    return packet[40 : 40 + int.from_bytes(packet[4:6], "big")] if kind == _IPV6 else packet


def sending(prober: BulkProber, packet: dict, host: str, target: str, mac: str) -> Sending:
    """The frame of a packet in the words of `l3ctl explain`."""
    family = 6 if ":" in packet["source"] else 4
    ends = (packet["source"], packet["destination"])
    ports = (packet.get("source_port", 0), packet.get("destination_port", 0))
    token = prober.token()
    if packet["protocol"] == "icmp":
        number = PROTOCOLS["icmp" if family == 4 else "icmp6"]
        payload = _echo(family, ends, token)
    elif packet["protocol"] == "tcp":
        number = PROTOCOLS["tcp"]
        flags = sum(frames.TCP_FLAGS.get(name, 0) for name in packet["tcp_flags"].split("+"))
        payload = frames.tcp(family, (ends[0], ports[0]), (ends[1], ports[1]), flags)
    else:
        number = PROTOCOLS["udp"]
        data = token.to_bytes(8, "big")
        if "dns_name" in packet:
            data = frames.dns_query(token & 0xFFFF, packet["dns_name"])
        payload = frames.udp(family, (ends[0], ports[0]), (ends[1], ports[1]), data)
    wrap = frames.ipv4 if family == 4 else frames.ipv6
    gateway = hosts.GATEWAY_MAC if host in ("lan", "tablet") else wan_mac(host)
    frame = frames.ethernet(mac, gateway, family, wrap(*ends, number, payload))
    return Sending(host, target, frame, payload)


@functools.cache
def wan_mac(host: str) -> str:
    """The hardware address of the gateway's interface that faces this host."""
    shown = rules.run("ip", "-o", "link", "show", "dev", {"wan": "wan3", "other": "wan4"}[host])
    return re.search(r"link/ether (\S+)", shown.stdout).group(1)


def _echo(family: int, ends: tuple[str, str], token: int) -> bytes:
    message = frames.echo_request(family, token & 0xFFFF, token.to_bytes(8, "big"))
    if family == 4:
        return message
    kind = socket.AF_INET6
    pseudo = socket.inet_pton(kind, ends[0]) + socket.inet_pton(kind, ends[1])
    pseudo += len(message).to_bytes(4, "big") + b"\0\0\0" + bytes([PROTOCOLS["icmp6"]])
    return message[:2] + frames.checksum(pseudo + message).to_bytes(2, "big") + message[4:]
