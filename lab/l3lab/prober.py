"""One process with sockets in every namespace, which sends a packet and sees where it arrives.

A probe that gets through is seen within a millisecond. One that does not is waited for until
the timeout expires, so say beforehand what is expected: a packet that must be stopped needs no long
wait, its rule's counter is the evidence.
"""

import itertools
import os
import select
import socket
import struct
from typing import NamedTuple, Optional

from l3lab import frames, hosts
from l3lab.netns import Namespaces
from l3lab.watch import Watch, wait

PASS_TIMEOUT = 1.0
STOP_TIMEOUT = 0.03
_FAMILIES = {4: socket.AF_INET, 6: socket.AF_INET6}
_ANYWHERE = {4: "0.0.0.0", 6: "::"}


class Outcome(NamedTuple):
    """What became of one packet. `answered` is None for a probe that expects no answer."""

    arrived: bool
    answered: Optional[bool]
    at: Optional[str] = None

    @property
    def passed(self) -> bool:
        return self.arrived if self.answered is None else self.answered


class Prober:
    def __init__(self):
        self._namespaces = Namespaces(hosts.NAMES)
        self._held: dict[tuple, socket.socket] = {}
        # Every probe has ports and tokens of its own: a late packet of another is never mistaken,
        # and no connection-tracking entry is met twice.
        self._ports = itertools.cycle(range(20000, 32000))
        self._tokens = itertools.count(int.from_bytes(os.urandom(3), "big") << 16)
        # One packet, one count: a host whose SYN+ACK is lost does not send it again.
        for name in hosts.NAMES:
            self._namespaces.set_kernel(name, "net/ipv4/tcp_synack_retries", "0")
    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self) -> None:
        for held in self._held.values():
            held.close()
        self._held.clear()
        self._namespaces.close()

    # --- sockets, opened once and kept ---

    def _hold(self, name: str, family: int, kind: int, protocol: int, port: int = 0):
        key = (name, family, kind, protocol, port)
        if key not in self._held:
            opened = self._namespaces.socket(name, _FAMILIES[family], kind, protocol)
            if port and family == 6:
                opened.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
            if port:
                opened.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
                opened.bind((_ANYWHERE[family], port))
            self._held[key] = opened
        return self._held[key]

    def _receiver(self, name: str, family: int, port: int) -> socket.socket:
        return self._hold(name, family, socket.SOCK_DGRAM, 0, port)

    def _listener(self, name: str, family: int, port: int) -> socket.socket:
        listener = self._hold(name, family, socket.SOCK_STREAM, 0, port)
        listener.listen(16)
        return listener

    def _raw_tcp(self, name: str, family: int) -> socket.socket:
        return self._hold(name, family, socket.SOCK_RAW, socket.IPPROTO_TCP)

    def _raw_icmp(self, name: str, family: int) -> socket.socket:
        protocol = socket.IPPROTO_ICMP if family == 4 else socket.IPPROTO_ICMPV6
        return self._hold(name, family, socket.SOCK_RAW, protocol)

    def _wire(self, name: str) -> socket.socket:
        key = (name, "wire")
        if key not in self._held:
            opened = self._namespaces.socket(name, socket.AF_PACKET, socket.SOCK_RAW)
            # Bound for sending only: protocol zero delivers nothing to this socket.
            opened.bind(("eth0", 0))
            self._held[key] = opened
        return self._held[key]

    def _token(self) -> bytes:
        return b"l3lab" + next(self._tokens).to_bytes(8, "big")

    # --- the probes ---

    def tcp(self, source: str, target: str, port: int, family=4, timeout=PASS_TIMEOUT):
        """A whole connection. `at` names the host that took it, also after a redirection."""
        near, far = hosts.meeting(source, target)
        others = [name for name in hosts.NAMES if name != source]
        listeners = [self._listener(name, family, port) for name in others]
        with self._namespaces.socket(source, _FAMILIES[family], socket.SOCK_STREAM) as client:
            client.bind((near.address(family), 0))
            # Closed with a reset, it leaves no packet to be sent later.
            client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            ports = (client.getsockname()[1], port)
            arrivals = {name: self._segment_watch(name, family, ports) for name in others}
            client.connect_ex((far.address(family), port))
            answer = Watch(client, lambda: _is_connected(client), select.POLLOUT)
            # The answer alone ends the wait: where the request went is known by then.
            wait([answer], timeout)
        for arrival in arrivals.values():
            arrival.serve()
        for listener in listeners:
            _hang_up(listener)
        landed = next((name for name, arrival in arrivals.items() if arrival.done), None)
        return Outcome(landed is not None, answer.done, landed)

    def _segment_watch(self, name: str, family: int, ports: tuple[int, int]) -> Watch:
        """Sees the TCP segments that reach a host past its own packet filter."""
        return Watch(
            self._raw_tcp(name, family), lambda packet, _: _tcp_ports(family, packet) == ports
        )

    def tcp_flags(
        self, flags: int, source: str, target: str, port: int, family=4, timeout=PASS_TIMEOUT
    ):
        """A lone segment with these flags, outside any connection; one way."""
        near, far = hosts.meeting(source, target)
        own_port = next(self._ports)
        segment = frames.tcp(
            family, (near.address(family), own_port), (far.address(family), port), flags
        )
        arrival = self._segment_watch(target, family, (own_port, port))
        self._raw_tcp(source, family).sendto(segment, (far.address(family), 0))
        wait([arrival], timeout)
        return Outcome(arrival.done, None, target if arrival.done else None)

    def udp(
        self, source: str, target: str, port: int, family=4, own_port=0, timeout=PASS_TIMEOUT
    ):
        """One datagram; one way."""
        _, far = hosts.meeting(source, target)
        sender = self._receiver(source, family, own_port or next(self._ports))
        token = self._token()
        arrival = Watch(self._receiver(target, family, port), lambda data, _: data == token)
        sender.sendto(token, (far.address(family), port))
        wait([arrival], timeout)
        if not own_port:
            self._release(sender)
        return Outcome(arrival.done, None, target if arrival.done else None)

    def _release(self, finished: socket.socket) -> None:
        self._held = {key: held for key, held in self._held.items() if held is not finished}
        finished.close()

    def dns(self, source: str, target: str, name: str, family=4, timeout=PASS_TIMEOUT):
        """A query for a name, answered by a responder on the target."""
        _, far = hosts.meeting(source, target)
        identity = next(self._tokens) & 0xFFFF
        query = frames.dns_query(identity, name)
        responder = self._receiver(target, family, 53)
        client = self._receiver(source, family, next(self._ports))

        def respond(data, address):
            if data != query:
                return False
            responder.sendto(frames.dns_answer(query), address)
            return True

        asked = Watch(responder, respond)
        answer = Watch(client, lambda data, _: data[:2] == query[:2] and len(data) > len(query))
        client.sendto(query, (far.address(family), 53))
        wait([asked, answer], timeout)
        self._release(client)
        return Outcome(asked.done, answer.done, target if asked.done else None)

    def ping(self, source: str, target: str, family=4, timeout=PASS_TIMEOUT):
        _, far = hosts.meeting(source, target)
        token = self._token()
        identity = next(self._ports)
        kinds = (8, 0) if family == 4 else (128, 129)

        def carries(kind):
            def seen(packet, _):
                message = packet[20:] if family == 4 else packet
                return message[0] == kind and message.endswith(token)

            return seen

        request = Watch(self._raw_icmp(target, family), carries(kinds[0]))
        reply = Watch(self._raw_icmp(source, family), carries(kinds[1]))
        sender = self._raw_icmp(source, family)
        sender.sendto(frames.echo_request(family, identity, token), (far.address(family), 0))
        wait([request, reply], timeout)
        return Outcome(request.done, reply.done, target if request.done else None)

    def udp_frame(
        self,
        mac: str,
        target: str,
        port: int,
        family=4,
        source="lan",
        address: Optional[str] = None,
        timeout=PASS_TIMEOUT,
    ):
        """A datagram in a frame with this source MAC (and, if given, this source address)."""
        near, far = hosts.meeting(source, target)
        token = self._token()
        frame = frames.udp_frame(
            (mac, hosts.GATEWAY_MAC),
            family,
            (address or near.address(family), next(self._ports)),
            (far.address(family), port),
            token,
        )
        arrival = Watch(self._receiver(target, family, port), lambda data, _: data == token)
        self._wire(source).send(frame)
        wait([arrival], timeout)
        return Outcome(arrival.done, None, target if arrival.done else None)

    def dhcp_discover(self, mac: str, source="lan", timeout=PASS_TIMEOUT):
        """A client that has no address yet asks for one; the gateway listens on UDP 67."""
        transaction = next(self._tokens) & 0xFFFFFFFF
        server = self._receiver("gateway", 4, 67)
        arrival = Watch(
            server, lambda data, _: data[4:8] == struct.pack("!I", transaction) and data[0] == 1
        )
        self._wire(source).send(frames.dhcp_discover(mac, transaction))
        wait([arrival], timeout)
        return Outcome(arrival.done, None, "gateway" if arrival.done else None)


def _tcp_ports(family: int, packet: bytes) -> tuple[int, int]:
    """Raw IPv4 sockets hand over the IP header, raw IPv6 sockets do not."""
    start = (packet[0] & 15) * 4 if family == 4 else 0
    return struct.unpack_from("!HH", packet, start)


def _is_connected(client: socket.socket) -> bool:
    try:
        client.getpeername()
    except OSError:
        return False
    return True


def _hang_up(listener: socket.socket) -> None:
    while True:
        try:
            listener.accept()[0].close()
        except BlockingIOError:
            return
