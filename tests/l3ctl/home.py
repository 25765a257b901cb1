"""A gateway with a home network for one test: a fake neighbour table, lease files and /etc/ethers of its own."""
import json
import os
import time
from pathlib import Path

from gateway import TOOLS
from live import FRESH4, FRESH6, Rules

ETHERS = Path("/etc/ethers")
LEASES = Path("/tmp/dhcp.leases")
NEIGHBOURS = Path("/tmp/neighbours")

TABLET, PHONE, CAMERA = "02:00:00:00:01:20", "02:00:00:00:01:21", "00:1b:21:00:00:07"

# Notes that it was run, and answers as ip does.
IP = """#!/bin/sh
echo "ip $*" >>/tmp/asked
exec cat /tmp/neighbours
"""


def neighbour(mac, *addresses, age=5):
    return [{"dst": address, "lladdr": mac, "used": age, "confirmed": age, "updated": age, "probes": 1,
             "state": ["REACHABLE"]} for address in addresses]


def lease(mac, address, name="*", end=0):
    return f"{end} {mac} {address} {name} 01:{mac}\n"


def span(*, start, end):
    """A daily span in UTC, in minutes from now."""
    return "-".join(time.strftime("%H:%M", time.gmtime(time.time() + 60 * minutes)) for minutes in (start, end))


class Home(Rules):
    def setUp(self):
        super().setUp()
        self.live(FRESH4, FRESH6)
        if Path("/host-etc/ethers").exists() and ETHERS.is_symlink():
            raise RuntimeError("/etc/ethers is the host's")
        if ETHERS.is_dir():
            ETHERS.rmdir()
        for leftover in (ETHERS, LEASES, Path("/tmp/asked")):
            leftover.unlink(missing_ok=True)
        tool = TOOLS / "ip"
        tool.write_text(IP)
        tool.chmod(0o755)
        self.neighbours()

    def neighbours(self, *entries):
        NEIGHBOURS.write_text(json.dumps([entry for entries_of_one in entries for entry in entries_of_one]))

    def usual(self):
        """A tablet with a name by people, a phone with one of its own, a camera without."""
        self.neighbours(neighbour(TABLET, "192.168.1.20", "fd00:1::20", "fe80::20"), neighbour(PHONE, "192.168.1.21"),
                        neighbour(CAMERA, "192.168.1.7"))
        LEASES.write_text(lease(TABLET, "192.168.1.20", "android-77") + lease(PHONE, "192.168.1.21", "Pias-Phone"))
        ETHERS.write_text(f"# the house\n{TABLET} tablet\n")

    def asked(self):
        """Whether the neighbour table was read since the last call."""
        asked = Path("/tmp/asked")
        was = asked.exists()
        asked.unlink(missing_ok=True)
        return was

    def devices(self):
        outcome = self.l3ctl("--json", "devices")
        self.assertEqual(outcome.status, 0, outcome.err)
        answer = json.loads(outcome.out)
        return {device["mac"]: device for device in answer["devices"]}, answer["notes"]

    def stored_macs(self, section="mac_filter"):
        return [device["mac"] for device in json.loads(self.l3ctl("export").out)[section]["devices"]]

    def hide_ip(self):
        """A command line that has no ip at all: in mounts of its own."""
        (TOOLS / "ip").unlink()
        places = [place for place in ("/usr/bin/ip", "/usr/sbin/ip") if os.path.isfile(place) and not os.path.islink(place)]
        hide = "; ".join(f"mount --bind /dev/null {place}" for place in places)
        return ["unshare", "--mount", "sh", "-ec", hide + '; exec "$@"', "sh"]
