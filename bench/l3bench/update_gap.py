"""Packets that get through a closed port while other rules of its list change."""

import statistics
import time

from l3lab import device, hosts, rules
from l3lab.flood import CLOSED, Flood
from l3lab.netns import Namespaces

CHANGES = 5


def _settings(other_port, length):
    """A list of that length whose last rule closes the flooded port, whatever the others say."""
    ports = [*(str(other_port + number) for number in range(length - 1)), str(CLOSED)]
    closed = [{"direction": "downstream", "protocol": "udp", "destination_ports": port} for port in ports]
    return {"ip_filter": {"enabled": True, "rules": closed}}


def _change(flood, other_port, length, options):
    """Packets sent and arrived during one change, and its milliseconds."""
    flood.arrived()
    sent, start = flood.sent, time.monotonic()
    device.l3ctl(*options, "apply", settings=_settings(other_port, length))
    taken = time.monotonic() - start
    return {"sent": flood.sent - sent, "arrived": flood.arrived(), "ms": taken * 1000}


def measure():
    """{way: {entries: {"sent", "arrived", "ms", "n"}}}, medians a change."""
    namespaces = Namespaces(hosts.NAMES)
    rules.forget_connections()
    device.l3ctl("apply", settings={"firewall": {"enabled": True}})
    flood = Flood(namespaces)
    found = {}
    for way, options in (("transaction", ()), ("one by one", ("--one-by-one",))):
        found[way] = {}
        for length in (2, 10, 25, 50):
            device.l3ctl("apply", settings=_settings(6000, length))
            changes = [_change(flood, 6100 + 100 * number, length, options) for number in range(CHANGES)]
            found[way][length] = {what: statistics.median(one[what] for one in changes) for what in changes[0]}
            found[way][length]["n"] = CHANGES
    flood.close()
    namespaces.close()
    return found
