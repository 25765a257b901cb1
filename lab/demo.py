#!/usr/bin/env python3
"""A demonstration with packets, from the first start to the factory reset: lab/gateway lab/demo.py"""

import json
import os
import pathlib
import sys
import time

from l3lab import clock, device, hosts, rules
from l3lab.prober import Prober
from l3lab.rules import Rule
from l3lab.walkthrough import Row, Walkthrough

_HOME = pathlib.Path(__file__).parent.parent / "examples" / "home.json"

_TABLET = hosts.TABLET.mac
_CONSOLE = "02:00:00:00:01:21"
_REFUSED = "02:00:00:00:01:99"
_NOT_SYN = "DROP 6 -- * * 0.0.0.0/0 0.0.0.0/0 tcp flags:!0x17/0x02"


def home_settings():
    """examples/home.json with its spans moved to the present: the first of each list around it, the
    second beside it."""
    settings = json.loads(_HOME.read_text(encoding="utf-8"))
    for section, entries in (
        ("url_filter", "entries"),
        ("mac_filter", "devices"),
        ("mac6_filter", "devices"),
    ):
        around, beside = settings[section][entries]
        around["active"], beside["active"] = clock.around_now(), clock.after_now()
    return settings


def passes(probe, **rest):
    return Row(probe, True, True, **rest)


def stopped(probe, chain, text, family=4):
    return Row(probe, True, False, Rule(chain, text, family))


# The effect of examples/home.json, but for the DHCP filter's.
EXPECTED = [
    stopped("tcp from lan to wan port 25", "forward_ext_us_ip", "dpt:25"),
    passes("tcp from lan to wan port 587"),
    stopped("udp from tablet to wan port 27050", "forward_ext_us_ip", "dpts:27000:27050"),
    passes("udp from lan to wan port 27050"),
    stopped("tcp from wan to lan port 3389", "forward_ext_ds_ip", "dpt:3389"),
    passes("tcp from wan to lan port 443"),
    stopped("tcp6 from tablet to wan port 25", "forward_ext_us_ip", "dpt:25", 6),
    passes("tcp6 from lan to wan port 25"),
    stopped("dns query for games.example.com from lan to wan", "forward_ext_url", "DROP"),
    passes("dns query for videos.example.net from lan to wan"),
    passes("dns query for www.example.org from lan to wan"),
    stopped("tcp from tablet to wan port 443", "forward_ext_mac", f"MAC {_TABLET}"),
    stopped("tcp6 from tablet to wan port 443", "forward_ext_mac", f"MAC {_TABLET}", 6),
    passes(f"udp frame from {_CONSOLE} to wan port 443"),
    passes(f"udp6 frame from {_CONSOLE} to wan port 443"),
    passes("tcp from lan to wan port 80"),
    stopped("tcp from lan to other port 80", "forward_ext_captiveportal", "DROP"),
    passes("tcp from lan to other port 443"),
    passes("tcp from lan to gateway port 23"),
    stopped("tcp from tablet to gateway port 23", "input_ext_us_acl", "DROP"),
    passes("tcp from tablet to gateway port 80"),
    stopped("tcp from lan to gateway port 21", "input_ext_us_acl", "DROP"),
    passes("ping from tablet to gateway"),
    stopped("tcp flags ACK from wan to lan port 443", "forward_ext_bad_tcp", _NOT_SYN),
    stopped("tcp from wan to gateway port 80", "input_ext_local_access_ex", "wan3"),
    stopped("ping from wan to gateway", "input_ext_local_access_ex", "wan3"),
    passes("udp 500->500 from lan to wan"),
    passes("udp 4500->4500 from lan to wan"),
]
REFUSED_LEASE = stopped(f"dhcp discover from {_REFUSED}", "input_ext_dhcp", f"MAC {_REFUSED}")
GIVEN_LEASE = passes("dhcp discover from 02:00:00:00:01:98")

_SHOWN = [
    *((chain, 4) for chain in ("forward_ext_bad_tcp", "forward_ext_us_ip", "forward_ext_ds_ip")),
    *((chain, 4) for chain in ("forward_ext_url", "forward_ext_mac", "forward_ext_captiveportal")),
    *((chain, 4) for chain in ("input_ext_local_access_ex", "input_ext_us_acl", "input_ext_dhcp")),
    *((chain, 6) for chain in ("forward_ext_us_ip", "forward_ext_mac")),
]


def reversed_rows(rows):
    return [row._replace(before=row.after, after=row.before) for row in rows]


def start_up(walkthrough: Walkthrough) -> None:
    walkthrough.section("First starts")
    for count in ("first", "second", "third"):
        device.cut_power()
        with walkthrough.step(f"The {count} start (l3ctl init)"):
            device.l3ctl("init")
        saved = sorted(name for name in os.listdir(device.STORE) if name.startswith("firewall"))
        print(f"    rule sets saved so far: {', '.join(saved)}")
    with walkthrough.step("The Internet comes up on wan3 (l3ctl wan update wan3)"):
        device.l3ctl("wan", "update", "wan3")


def apply_settings(walkthrough: Walkthrough) -> None:
    walkthrough.section("Settings: examples/home.json")
    settings = home_settings()
    print(f"  It is {time.strftime('%H:%M', time.gmtime())} UTC. The spans are moved to the present:")
    shut, free = (entry["active"] for entry in settings["mac_filter"]["devices"])
    print(f"    games.example.com and the tablet are blocked {shut},")
    print(f"    videos.example.net and the console            {free}.")

    def change():
        with walkthrough.step("Applying the settings (l3ctl apply)"):
            device.apply(settings)
        rules.forget_connections()
        print("  The rules:")
        walkthrough.show_rules(*_SHOWN)

    walkthrough.prove([*EXPECTED, REFUSED_LEASE, GIVEN_LEASE], change)


def power_cut(walkthrough: Walkthrough) -> None:
    walkthrough.section("A power cut")
    device.cut_power()

    def change():
        with walkthrough.step("Starting (l3ctl init, l3ctl wan update wan3)"):
            device.l3ctl("init")
            device.l3ctl("wan", "update", "wan3")

    # The DHCP filter alone does not come back with a start: it waits to be set again.
    walkthrough.prove([*EXPECTED, REFUSED_LEASE._replace(after=True, stopped_by=None), GIVEN_LEASE], change)


def move_internet(walkthrough: Walkthrough) -> None:
    walkthrough.section("The Internet moves from wan3 to wan4")
    remote_desktop = Rule("forward_ext_ds_ip", "dpt:3389")
    chain = "input_ext_local_access_ex"

    def change():
        with walkthrough.step("Moving (default route, l3ctl wan clear, l3ctl wan update wan4)"):
            device.move_internet_to("wan4")
            device.l3ctl("wan", "clear")
            device.l3ctl("wan", "update", "wan4")

    walkthrough.prove(
        [
            Row("tcp from wan to lan port 3389", False, True, remote_desktop),
            Row("tcp from other to lan port 3389", True, False, remote_desktop),
            Row("tcp from wan to gateway port 80", False, True, Rule(chain, "wan3")),
            Row("tcp from other to gateway port 80", True, False, Rule(chain, "wan4")),
        ],
        change,
    )


def block_management(walkthrough: Walkthrough) -> None:
    walkthrough.section("Telnet is blocked, web requests are redirected")
    telnet = Rule("input_ext_access_ctrl", "dpt:23")
    portal = Rule("forward_ext_captiveportal", "DROP")
    redirect = ("192.168.1.0/24", "203.0.113.2")

    def change():
        with walkthrough.step("Blocking telnet (l3ctl access telnet block)"):
            device.l3ctl("access", "telnet", "block")
        with walkthrough.step("Redirecting the LAN's web requests to one host (l3ctl page-jump add)"):
            device.l3ctl("page-jump", "add", *redirect)

    walkthrough.prove(
        [
            Row("tcp from lan to gateway port 23", True, False, telnet),
            Row("tcp from lan to gateway port 80", True, True, lands=("gateway", "gateway")),
            Row("tcp from lan to other port 80", False, True, portal, lands=(None, "wan")),
            Row("tcp from lan to other port 443", True, True, lands=("other", "other")),
        ],
        change,
    )
    with walkthrough.step("Allowing telnet, removing the redirection"):
        device.l3ctl("access", "telnet", "allow")
        device.l3ctl("page-jump", "remove", *redirect)


def factory_reset(walkthrough: Walkthrough) -> None:
    walkthrough.section("Factory reset")

    def change():
        with walkthrough.step("Resetting (l3ctl reset --yes)"):
            device.l3ctl("reset", "--yes")

    # The gateway's Internet is wan4 by now: what came from wan3 passes already.
    walkthrough.prove(reversed_rows(row for row in EXPECTED if "from wan" not in row.probe), change)


_SECTIONS = (
    start_up,
    apply_settings,
    power_cut,
    move_internet,
    block_management,
    factory_reset,
)


def main() -> int:
    started = time.monotonic()
    with Prober() as prober:
        walkthrough = Walkthrough(prober)
        try:
            for section in _SECTIONS:
                section(walkthrough)
        except RuntimeError:
            pass
    spent = time.monotonic() - started
    print(f"{walkthrough.probes} packets sent in {spent:.1f} s, {len(walkthrough.failures)} not as expected")
    for failure in walkthrough.failures:
        print(f"  {failure}", file=sys.stderr)
    return 1 if walkthrough.failures or not walkthrough.probes else 0


if __name__ == "__main__":
    sys.exit(main())
