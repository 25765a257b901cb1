"""Who lives where, as drawn in lab/gateway."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Host:
    name: str
    mac: str
    v4: str
    v6: str

    def address(self, family: int) -> str:
        return self.v4 if family == 4 else self.v6


LAN = Host("lan", "02:00:00:00:01:10", "192.168.1.10", "fd00:1::10")
TABLET = Host("tablet", "02:00:00:00:01:20", "192.168.1.20", "fd00:1::20")
WAN = Host("wan", "", "203.0.113.2", "2001:db8:1::2")
OTHER = Host("other", "", "198.51.100.2", "2001:db8:2::2")

# The gateway as each of its neighbours sees it.
GATEWAY_MAC = "02:00:00:00:01:01"
GATEWAY = {
    "lan": Host("gateway", GATEWAY_MAC, "192.168.1.1", "fd00:1::1"),
    "tablet": Host("gateway", GATEWAY_MAC, "192.168.1.1", "fd00:1::1"),
    "wan": Host("gateway", "", "203.0.113.1", "2001:db8:1::1"),
    "other": Host("gateway", "", "198.51.100.1", "2001:db8:2::1"),
}

NEIGHBOURS = {host.name: host for host in (LAN, TABLET, WAN, OTHER)}
NAMES = (*NEIGHBOURS, "gateway")


def meeting(source: str, target: str) -> tuple[Host, Host]:
    """The two ends of a packet; the gateway takes the address that faces the other end."""
    if source == "gateway":
        return GATEWAY[target], NEIGHBOURS[target]
    if target == "gateway":
        return NEIGHBOURS[source], GATEWAY[source]
    return NEIGHBOURS[source], NEIGHBOURS[target]
