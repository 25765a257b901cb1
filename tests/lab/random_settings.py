"""Settings and packets at random, close enough to each other that they often meet."""

import random
import time

from l3lab import hosts

LAN_MACS = {"lan": [hosts.LAN.mac, "02:00:00:00:00:07", "02:00:00:00:00:08"], "tablet": [hosts.TABLET.mac]}
_MACS = [*LAN_MACS["lan"], *LAN_MACS["tablet"], "02:00:00:00:00:99"]
# Addresses by the host that sends from them; a host takes packets for its first alone.
_ADDRESSES = {
    4: {
        "lan": [hosts.LAN.v4, "192.168.1.33", "192.168.1.77"],
        "tablet": [hosts.TABLET.v4, "192.168.1.34"],
        "wan": [hosts.WAN.v4, "203.0.113.9", "203.0.113.40"],
        "other": [hosts.OTHER.v4],
    },
    6: {
        "lan": [hosts.LAN.v6, "fd00:1::33"],
        "tablet": [hosts.TABLET.v6],
        "wan": [hosts.WAN.v6, "2001:db8:1::9"],
        "other": [hosts.OTHER.v6],
    },
}
_PORTS = [21, 22, 23, 25, 53, 67, 80, 80, 80, 161, 443, 500, 4500, 5000, 5005, 5010]
_NAMES = ["example.com", "www.example.com", "example.org", "ninechars.net", "tencharact.net", "com"]
_ASKED = [*_NAMES, "example.com.evil.org", "Example.com", "myexample.com", "www.tencharact.net", "org"]
_FLAGS = ["ACK", "PSH+ACK", "URG+ACK", "SYN+ACK", "FIN", "FIN+ACK", "RST+ACK", "RST", "SYN+FIN", "FIN+PSH+URG", "none"]
_WIDTH = 1440
# Ends of spans keep this distance from the present minute, so that a run stays on its side.
_MARGIN = 4


class Random(random.Random):
    def chance(self, percent: int) -> bool:
        return self.randrange(100) < percent

    def several(self, most: int) -> range:
        return range(self.randint(0, most))


def _minute(rng: Random) -> int:
    now = time.gmtime()
    present = now.tm_hour * 60 + now.tm_min
    return (present + rng.randint(_MARGIN, _WIDTH - _MARGIN)) % _WIDTH


def _span(rng: Random) -> str:
    if rng.chance(30):
        return "all day"
    start = _minute(rng)
    stop = start if rng.chance(10) else _minute(rng)
    now = time.gmtime()
    near_midnight = abs((now.tm_hour * 60 + now.tm_min + _WIDTH // 2) % _WIDTH - _WIDTH // 2) < _MARGIN
    clock = "{:02}:{:02}-".format(*divmod(start, 60))
    if rng.chance(10) and not near_midnight:
        return clock + "24:00"
    return clock + "{:02}:{:02}".format(*divmod(stop, 60))


def _mode(rng: Random) -> str:
    return "white-list" if rng.chance(35) else "black-list"


def _ports(rng: Random) -> str:
    first = rng.choice(_PORTS)
    kind = rng.randrange(4)
    if kind == 0:
        return "any"
    if kind == 1:
        return str(first)
    return f"{first}-{rng.randint(first, 65535) if rng.chance(30) else first + rng.randint(0, 40)}"


def _source_ports(rng: Random) -> str:
    first = rng.randint(6000, 6900)
    return f"{first}-{rng.randint(first, 6999)}" if rng.chance(30) else "any"


def _rule(rng: Random, family: int) -> dict:
    upstream = rng.chance(60)
    inside = rng.choice(_ADDRESSES[family][rng.choice(["lan", "tablet"])])
    outside = rng.choice(_ADDRESSES[family][rng.choice(["wan", "wan", "other"])])
    ends = (inside, outside) if upstream else (outside, inside)
    open_percent = 60 if family == 4 else 15
    rule = {
        "direction": "upstream" if upstream else "downstream",
        "protocol": rng.choice(["all", "icmp", "tcp", "tcp", "udp", "udp"]),
        "source": "any" if rng.chance(open_percent) else ends[0],
        "destination": "any" if rng.chance(open_percent) else ends[1],
    }
    if rng.chance(70):
        rule |= {"destination_ports": _ports(rng), "source_ports": _source_ports(rng)}
    return rule


def _ip_filter(rng: Random, family: int) -> dict:
    return {
        "enabled": rng.chance(75),
        "upstream": _mode(rng),
        "downstream": _mode(rng),
        "rules": [_rule(rng, family) for _ in rng.several(6 if family == 4 else 10)],
    }


def _mac_filter(rng: Random) -> dict:
    devices = [
        {"mac": rng.choice(_MACS), "active": _span(rng), "enabled": rng.chance(85)}
        for _ in rng.several(4)
    ]
    return {"enabled": rng.chance(75), "mode": _mode(rng), "devices": devices}


def _url_filter(rng: Random) -> dict:
    entries = [
        {"host": rng.choice(_NAMES), "active": _span(rng), "enabled": rng.chance(85)}
        for _ in rng.several(4)
    ]
    return {"enabled": rng.chance(70), "mode": _mode(rng), "entries": entries}


def _sources(rng: Random, side: str) -> str:
    if rng.chance(25):
        return "any"
    net = {"lan": "192.168.1", "wan": "203.0.113"}[side]
    first = rng.choice([2, 9, 10, 11, 20, 30, 33, 40])
    if rng.chance(40):
        return f"{net}.{first}"
    if rng.chance(10):
        return f"{net}.{first}-{net[:-1]}{int(net[-1]) + 1}.{rng.randint(0, 255)}"
    return f"{net}.{first}-{net}.{rng.randint(first, 90)}"


def _acl_entry(rng: Random) -> dict:
    side = rng.choice(["lan", "wan"])
    return {
        "service": rng.choice(["all", "web", "ftp", "snmp", "telnet", "ping"]),
        "from": side,
        "sources": _sources(rng, side),
        "enabled": rng.chance(85),
    }


def _destination(rng: Random) -> dict:
    places = [hosts.WAN.v4, hosts.OTHER.v4, "203.0.113.0/24", "203.0.113.77/25", "198.51.0.0/16", "0.0.0.0/0"]
    return {"destination": rng.choice(places), "enabled": rng.chance(80)}


def settings(rng: Random) -> dict:
    return {
        "firewall": {"enabled": rng.chance(93)},
        "port_scan_protection": rng.chance(40),
        "ipsec_pass_through": rng.chance(50),
        "ip_filter": _ip_filter(rng, 4),
        "ip6_filter": _ip_filter(rng, 6),
        "url_filter": _url_filter(rng),
        "mac_filter": _mac_filter(rng),
        "mac6_filter": _mac_filter(rng),
        "dhcp_filter": {
            "enabled": rng.chance(70),
            "mode": _mode(rng),
            "devices": rng.sample(_MACS, rng.randint(0, 3)),
        },
        "acl": {"enabled": rng.chance(70), "entries": [_acl_entry(rng) for _ in rng.several(5)]},
        "captive_portal": {
            "enabled": rng.chance(60),
            "destinations": [_destination(rng) for _ in rng.several(3)],
        },
    }  # fmt: skip


def packet(rng: Random, own_port: int) -> tuple[str, str, dict]:
    """Who sends, who is to get it, and the packet in the words of `l3ctl explain`."""
    host = rng.choice(["lan", "lan", "tablet", "wan", "other"])
    family = 6 if rng.chance(25) else 4
    if host in LAN_MACS:
        target = rng.choice(["gateway", "wan", "wan", "other"])
    else:
        target = rng.choice(["gateway", "lan", "tablet", {"wan": "other", "other": "wan"}[host]])
    near, far = hosts.meeting(host, target)
    words = {
        "from": "lan" if host in LAN_MACS else host,
        "to": "lan" if target in LAN_MACS else target,
        "source": rng.choice(_ADDRESSES[family][host]),
        "destination": far.address(family),
    }
    if host in LAN_MACS:
        words["mac"] = rng.choice(LAN_MACS[host])
    if words["from"] == "lan" and target == "gateway" and family == 4 and rng.chance(15):
        words |= {"source": "0.0.0.0", "destination": "255.255.255.255", "protocol": "udp"}
        return host, target, words | {"source_port": 68, "destination_port": 67}
    return host, target, words | _load(rng, own_port)


def _load(rng: Random, own_port: int) -> dict:
    ports = {"source_port": own_port, "destination_port": rng.choice(_PORTS)}
    kind = rng.randrange(10)
    if kind < 4:
        return {"protocol": "tcp", "tcp_flags": "SYN" if rng.chance(60) else rng.choice(_FLAGS), **ports}
    if kind < 6:
        if rng.chance(25):
            ipsec = rng.choice([500, 4500])
            ports = {"source_port": ipsec, "destination_port": ipsec}
        return {"protocol": "udp", **ports}
    if kind < 9:
        return {"protocol": "udp", "dns_name": rng.choice(_ASKED), "source_port": own_port, "destination_port": 53}
    return {"protocol": "icmp"}
