"""Bytes of the packets that no ordinary socket would send."""

import socket
import struct

TCP_FLAGS = {"FIN": 1, "SYN": 2, "RST": 4, "PSH": 8, "ACK": 16, "URG": 32}
BROADCAST_MAC = "ff:ff:ff:ff:ff:ff"
_UDP = 17
_TCP = 6


def mac_bytes(text: str) -> bytes:
    raw = bytes.fromhex(text.replace(":", ""))
    if len(raw) != 6:
        raise ValueError(f"{text} is not a hardware address")
    return raw


def checksum(data: bytes) -> int:
    if len(data) % 2:
        data += b"\0"
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF


def _pseudo_header(family: int, source: str, target: str, protocol: int, length: int) -> bytes:
    kind = socket.AF_INET if family == 4 else socket.AF_INET6
    ends = socket.inet_pton(kind, source) + socket.inet_pton(kind, target)
    layout = "!BBH" if family == 4 else "!I3xB"
    fields = (0, protocol, length) if family == 4 else (length, protocol)
    return ends + struct.pack(layout, *fields)


def udp(family: int, source: tuple[str, int], target: tuple[str, int], payload: bytes) -> bytes:
    header = struct.pack("!HHHH", source[1], target[1], 8 + len(payload), 0)
    pseudo = _pseudo_header(family, source[0], target[0], _UDP, 8 + len(payload))
    # A computed zero is sent as all ones: zero would mean that there is no checksum.
    total = checksum(pseudo + header + payload) or 0xFFFF
    return header[:6] + struct.pack("!H", total) + payload


def tcp(family: int, source: tuple[str, int], target: tuple[str, int], flags: int) -> bytes:
    sequence = 0x4C330001
    acknowledged = 0x4C330002 if flags & TCP_FLAGS["ACK"] else 0
    header = struct.pack(
        "!HHIIBBHHH", source[1], target[1], sequence, acknowledged, 5 << 4, flags, 8192, 0, 0
    )
    pseudo = _pseudo_header(family, source[0], target[0], _TCP, len(header))
    return header[:16] + struct.pack("!H", checksum(pseudo + header)) + header[18:]


def echo_request(family: int, identity: int, payload: bytes) -> bytes:
    """The kernel fills in the checksum of ICMPv6, which needs its addresses."""
    kind = 8 if family == 4 else 128
    message = struct.pack("!BBHHH", kind, 0, 0, identity, 1) + payload
    if family == 6:
        return message
    return message[:2] + struct.pack("!H", checksum(message)) + message[4:]


def ipv4(source: str, target: str, protocol: int, payload: bytes) -> bytes:
    header = struct.pack("!BBHHHBBH", 0x45, 0, 20 + len(payload), 1, 0, 64, protocol, 0)
    header += socket.inet_aton(source) + socket.inet_aton(target)
    return header[:10] + struct.pack("!H", checksum(header)) + header[12:] + payload


def ipv6(source: str, target: str, protocol: int, payload: bytes) -> bytes:
    ends = socket.inet_pton(socket.AF_INET6, source) + socket.inet_pton(socket.AF_INET6, target)
    return struct.pack("!IHBB", 6 << 28, len(payload), protocol, 64) + ends + payload


def ethernet(source: str, target: str, family: int, packet: bytes) -> bytes:
    kind = 0x0800 if family == 4 else 0x86DD
    return mac_bytes(target) + mac_bytes(source) + struct.pack("!H", kind) + packet


def udp_frame(
    macs: tuple[str, str],
    family: int,
    source: tuple[str, int],
    target: tuple[str, int],
    payload: bytes,
) -> bytes:
    wrap = ipv4 if family == 4 else ipv6
    datagram = udp(family, source, target, payload)
    return ethernet(*macs, family, wrap(source[0], target[0], _UDP, datagram))


def dns_query(identity: int, name: str) -> bytes:
    question = b"".join(bytes([len(label)]) + label.encode() for label in name.split("."))
    header = struct.pack("!6H", identity, 0x0100, 1, 0, 0, 0)
    return header + question + struct.pack("!BHH", 0, 1, 1)


def dns_answer(query: bytes) -> bytes:
    """The same question, answered with one address."""
    answer = struct.pack("!HHHIH4B", 0xC00C, 1, 1, 60, 4, 203, 0, 113, 2)
    return query[:2] + struct.pack("!5H", 0x8180, 1, 1, 0, 0) + query[12:] + answer


def dhcp_discover(client: str, transaction: int) -> bytes:
    message = struct.pack("!BBBBIHH", 1, 1, 6, 0, transaction, 0, 0x8000) + bytes(16)
    message += mac_bytes(client).ljust(16, b"\0") + bytes(192)
    message += b"\x63\x82\x53\x63" + b"\x35\x01\x01" + b"\xff"
    return udp_frame(
        (client, BROADCAST_MAC), 4, ("0.0.0.0", 68), ("255.255.255.255", 67), message
    )
