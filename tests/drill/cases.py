"""The cases of the lock-out drill. Runs inside tests/sandbox alone, where /ztcfg, /run and the network belong to the case.

  cases.py BACKEND CASE REPEAT

Prints "restored" for each run that ended in the state before the change.
"""

import contextlib
import fcntl
import json
import os
import pty
import re
import signal
import subprocess
import sys
import time
import traceback
from pathlib import Path
from typing import Callable, NamedTuple

L3CTL = os.environ.get("L3CTL", "l3ctl")
STORE = Path("/ztcfg")
FILE = STORE / "l3_advance.dat"
PENDING = STORE / "l3ctl.pending"
TIMER = Path("/run/l3ctl.timer")
TOOLS = Path("/tmp/tools")
WRAPPERS = Path("/tmp/wrappers")
NEW = Path("/tmp/new.json")
CONFIRM_WITHIN = 1
PATIENCE = 40
# Longer than the packet filter's tools wait for the lock, so that at least one attempt of the timer fails.
LOCK_HELD = 6.5

# Every section holds something before the change, and something else after it.
OLD_SETTINGS = {
    "firewall": {"enabled": True},
    "port_scan_protection": True,
    "ipsec_pass_through": True,
    "vpn_pass_through": False,
    "ip_filter": {"enabled": True, "rules": [
        {"direction": "upstream", "protocol": "tcp", "destination_ports": "25"},
        {"direction": "downstream", "protocol": "udp", "source": "203.0.113.9", "destination_ports": "7000-7010"}]},
    "ip6_filter": {"enabled": True, "rules": [{"direction": "upstream", "protocol": "tcp", "source": "fd00:1::20",
                                               "destination": "2001:db8:1::2", "destination_ports": "25"}]},
    "url_filter": {"enabled": True, "entries": [{"host": "games.example.com", "active": "08:00-13:00"}]},
    "mac_filter": {"enabled": True, "devices": [{"mac": "02:00:00:00:01:20", "active": "20:30-24:00"}]},
    "mac6_filter": {"enabled": True, "devices": [{"mac": "02:00:00:00:01:21"}]},
    "dhcp_filter": {"enabled": True, "devices": ["02:00:00:00:01:99"]},
    "acl": {"enabled": True, "entries": [{"service": "web", "from": "lan", "sources": "any"},
                                         {"service": "telnet", "from": "lan", "sources": "192.168.1.2-192.168.1.15"}]},
    "captive_portal": {"enabled": True, "destinations": ["203.0.113.0/24"]},
    "route_qos": {"enabled": True},
}  # fmt: skip

# The access list lets one address of the WAN in, so the LAN cannot reach the gateway any more.
NEW_SETTINGS = {
    "port_scan_protection": False,
    "ipsec_pass_through": False,
    "vpn_pass_through": True,
    "ip_filter": {"enabled": True, "upstream": "white-list", "rules": []},
    "ip6_filter": {"enabled": True, "upstream": "white-list", "rules": []},
    "url_filter": {"enabled": True, "mode": "white-list", "entries": [{"host": "one.example"}]},
    "mac_filter": {"enabled": True, "mode": "white-list", "devices": [{"mac": "02:00:00:00:01:77"}]},
    "mac6_filter": {"enabled": False},
    "dhcp_filter": {"enabled": True, "mode": "white-list", "devices": ["02:00:00:00:01:66"]},
    "acl": {"enabled": True, "entries": [{"service": "telnet", "from": "wan", "sources": "203.0.113.2"}]},
    "captive_portal": {"enabled": True, "destinations": ["192.0.2.80"]},
    "route_qos": {"enabled": False},
}

# Rules of another program, between the gateway's own.
FOREIGN = (
    ("iptables", "-N", "other_program"),
    ("iptables", "-A", "other_program", "-s", "198.51.100.7", "-j", "DROP"),
    ("iptables", "-I", "FORWARD", "3", "-j", "other_program"),
    ("iptables", "-I", "INPUT", "1", "-s", "198.51.100.8", "-j", "DROP"),
    ("ip6tables", "-I", "FORWARD", "2", "-s", "2001:db8:9::1", "-j", "DROP"),
)

OWN_CHAINS = {
    "iptables": (
        "forward_ext_ip", "forward_ext_us_ip", "forward_ext_url", "forward_ext_mac", "forward_ext_captiveportal",
        "forward_ext_bad_tcp", "forward_ext_ds_ip", "input_ext_acl", "input_ext_us_acl", "input_ext_ds_acl",
        "input_ext_dhcp", "input_ext_local_access", "input_ext_local_access_ex", "input_ext_access_ctrl"),
    "ip6tables": ("forward_ext_ip", "forward_ext_us_ip", "forward_ext_mac", "forward_ext_ds_ip"),
}  # fmt: skip
DELETED = [(tool, chain) for pair in zip(OWN_CHAINS["iptables"], OWN_CHAINS["ip6tables"])
           for tool, chain in zip(OWN_CHAINS, pair)]
DELETED += [("iptables", chain) for chain in OWN_CHAINS["iptables"][4:]]

# Ends the l3ctl that calls it, once, before or after the real restore.
KILLING = """#!/bin/sh
name="${0##*/}"
number=$(cat /tmp/restores 2>/dev/null || echo 0)
echo $((number + 1)) >/tmp/restores
kill_at=$(cat /tmp/kill-at)
[ "$kill_at" != "$number before" ] || { kill -KILL "$PPID"; exit 1; }
"/tmp/tools/$name" "$@"
status=$?
[ "$kill_at" != "$number after" ] || kill -KILL "$PPID"
exit $status
"""

# CLOCK_REALTIME with the offset of /tmp/clock-offset, as a step of the clock would leave it.
CLOCK = r"""
#define _GNU_SOURCE
#include <stdlib.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>
static long offset(void) {
  char text[32] = "";
  int file = open("/tmp/clock-offset", O_RDONLY | O_CLOEXEC);
  if (file != -1) {
    if (read(file, text, sizeof text - 1) < 0) text[0] = 0;
    close(file);
  }
  return atol(text);
}
int clock_gettime(clockid_t clock, struct timespec* now) {
  int result = (int)syscall(SYS_clock_gettime, clock, now);
  if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) now->tv_sec += offset();
  return result;
}
time_t time(time_t* now) {
  struct timespec read = {0, 0};
  clock_gettime(CLOCK_REALTIME, &read);
  if (now) *now = read.tv_sec;
  return read.tv_sec;
}
int gettimeofday(struct timeval* restrict now, void* restrict zone) {
  struct timespec read = {0, 0};
  (void)zone;
  clock_gettime(CLOCK_REALTIME, &read);
  now->tv_sec = read.tv_sec;
  now->tv_usec = read.tv_nsec / 1000;
  return 0;
}
"""


def check(condition, message) -> None:
    if not condition:
        raise AssertionError(message)


def wait_for(condition: Callable[[], object], what: str) -> None:
    end = time.monotonic() + PATIENCE
    while not condition():
        check(time.monotonic() < end, f"after {PATIENCE} s: not {what}")
        time.sleep(0.02)


def run(*command: str, **options) -> subprocess.CompletedProcess:
    return subprocess.run(command, capture_output=True, text=True, errors="replace", check=False, **options)


def must(*command: str, **options) -> str:
    done = run(*command, **options)
    check(done.returncode == 0, f"{command} ended with {done.returncode}: {done.stdout}{done.stderr}")
    return done.stdout


def normalised(text: str) -> list[str]:
    return [re.sub(r"\[\d+:\d+\]", "", line) for line in text.splitlines() if not line.startswith("#")]


def rules() -> dict[str, list[str]]:
    return {tool: normalised(must(f"{tool}-save", "-t", "filter")) for tool in OWN_CHAINS}


def state() -> dict[str, object]:
    """The configuration file byte for byte; the saved rule sets and the live rules without comments and counters."""
    saved = {name: normalised((STORE / name).read_text()) for name in ("firewall.conf", "firewall6.conf")}
    return {"file": FILE.read_bytes(), **saved, **rules()}


def differences(one: dict, other: dict) -> str:
    """What two states differ in, for people."""
    texts = []
    for name in one:
        if one[name] != other[name]:
            lines = ""
            if name != "file":
                lines = "".join(f"\n  - {line}" for line in one[name] if line not in other[name])
                lines += "".join(f"\n  + {line}" for line in other[name] if line not in one[name])
            texts.append(f"{name} differs{lines or ' (order or bytes)'}")
    return "\n".join(texts)


def confirmation() -> dict | None:
    return json.loads(must(L3CTL, "--json", "status"))["confirmation"]


def apply(**options) -> None:
    must(L3CTL, "apply", "--confirm", str(CONFIRM_WITHIN), str(NEW), **options)


def timer_process() -> int:
    """The process that has the timer's file open."""
    for entry in Path("/proc").iterdir():
        with contextlib.suppress(OSError):
            if entry.name.isdigit() and os.path.samefile(entry / "fd/2", TIMER):
                return int(entry.name)
    raise AssertionError("there is no timer")


def hold_open_for(seconds: float) -> None:
    """Holds the lock that the legacy tools take."""
    with open("/run/xtables.lock", "w", encoding="ascii") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        time.sleep(seconds)


# --- the cases: each makes the change, does its harm, and returns once nothing is in the way of the rollback ---


def plain(_number: int) -> None:
    apply()


def session_killed(_number: int) -> None:
    script = f'"{L3CTL}" apply --confirm {CONFIRM_WITHIN} {NEW}; echo done; sleep 60'
    with subprocess.Popen(["sh", "-c", script], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, start_new_session=True) as shell:
        while shell.stdout.readline() != b"done\n":
            check(shell.poll() is None, "the session has ended by itself")
        for entry in Path("/proc").iterdir():
            with contextlib.suppress(OSError):
                if entry.name.isdigit() and os.getsid(int(entry.name)) == shell.pid:
                    os.kill(int(entry.name), signal.SIGKILL)
        check(shell.wait() == -signal.SIGKILL, "the session was not killed")


def terminal_closed(_number: int) -> None:
    shell, terminal = pty.fork()
    if shell == 0:
        script = f'"{L3CTL}" apply --confirm {CONFIRM_WITHIN} {NEW}; echo done; read line'
        os.execve("/bin/sh", ["sh", "-c", script], os.environ)
    said = b""
    while b"done" not in said:
        said += os.read(terminal, 4096)
    os.close(terminal)
    check(os.waitstatus_to_exitcode(os.waitpid(shell, 0)[1]) == -signal.SIGHUP, "the shell was not hung up")


def apply_killed(number: int) -> None:
    """In turn before and after the first and the second restore."""
    Path("/tmp/restores").unlink(missing_ok=True)
    Path("/tmp/kill-at").write_text(("0 before", "0 after", "1 before", "1 after")[number % 4], encoding="ascii")
    WRAPPERS.mkdir(exist_ok=True)
    for tool in ("iptables-restore", "ip6tables-restore"):
        (WRAPPERS / tool).write_text(KILLING, encoding="ascii")
        (WRAPPERS / tool).chmod(0o755)
    killed = run(L3CTL, "apply", "--confirm", str(CONFIRM_WITHIN), str(NEW),
                 env={**os.environ, "PATH": f"{WRAPPERS}:{os.environ['PATH']}"})
    check(killed.returncode == -signal.SIGKILL, f"l3ctl was not killed: {killed}")


def timer_killed(number: int) -> None:
    """The next l3ctl that takes the lock for a change rolls back first."""
    apply()
    os.kill(timer_process(), signal.SIGKILL)
    wait_for(lambda: confirmation()["seconds_left"] == 0, "overdue")
    check(PENDING.exists(), "something has rolled back already")
    check(confirmation()["timer"] is False, "the timer was not killed")
    done = run(L3CTL, *(("apply", "-"), ("init",), ("confirm",), ("vpn", "off"))[number % 4], input="{}")
    check("not confirmed" in done.stderr, f"nothing was reported: {done}")


def disk_full(_number: int) -> None:
    apply()
    ballast = STORE / "ballast"
    with open(ballast, "wb", buffering=0) as file, contextlib.suppress(OSError):
        for size in (4096, 1):
            with contextlib.suppress(OSError):
                while file.write(b"x" * size):
                    pass
    while_rules_alone_can_be_restored()
    ballast.unlink()


def disk_read_only(_number: int) -> None:
    apply()
    must("mount", "-o", "remount,ro", str(STORE))
    while_rules_alone_can_be_restored()
    must("mount", "-o", "remount,rw", str(STORE))


def while_rules_alone_can_be_restored() -> None:
    """The rules come back at the deadline; the files wait for the disk, and status reports it."""
    wait_for(lambda: rules() == {tool: BEFORE[tool] for tool in OWN_CHAINS}, "the old rules\n" + differences(
        {tool: BEFORE[tool] for tool in OWN_CHAINS}, rules()))
    wait_for(lambda: confirmation()["state"] == "retrying", "retrying")
    check(confirmation()["reason"], "the reason is missing")
    check(PENDING.exists(), "the confirmation is not pending any more")


def lock_held(_number: int) -> None:
    apply()
    holder = os.fork()
    if holder == 0:
        hold_open_for(LOCK_HELD)
        os._exit(0)
    states = set()
    while os.waitpid(holder, os.WNOHANG)[0] == 0:
        now = confirmation()
        states.add(now["state"] if now else "none")
        time.sleep(0.1)
    if BACKEND == "legacy":
        check("overdue" in states or "retrying" in states, f"the rollback was not reported as pending: {states}")


def chain_deleted(number: int) -> None:
    """Another chain each time: its jumps, its rules, the chain."""
    apply()
    tool, chain = DELETED[number % len(DELETED)]
    for line in must(f"{tool}-save", "-t", "filter").splitlines():
        if line.startswith("-A") and line.endswith(f" -j {chain}"):
            must("sh", "-c", f"exec {tool} {line.replace('-A', '-D', 1)}")
    must(tool, "-F", chain)
    must(tool, "-X", chain)


def clock_stepped(number: int) -> None:
    """A day ahead or back while the timer waits."""
    library = Path("/tmp/clock.so")
    if not library.exists():
        Path("/tmp/clock.c").write_text(CLOCK, encoding="ascii")
        must("gcc", "-shared", "-fPIC", "-O1", "-o", str(library), "/tmp/clock.c")
    environment = {**os.environ, "LD_PRELOAD": str(library)}
    Path("/tmp/clock-offset").write_text("0", encoding="ascii")
    must(L3CTL, "apply", "--confirm", "2", str(NEW), env=environment)
    step = 86400 if number % 2 == 0 else -86400
    Path("/tmp/clock-offset").write_text(str(step), encoding="ascii")
    seen = int(must("date", "+%s", env=environment)) - time.time()
    check(abs(seen - step) < 5, f"the clock was not stepped: {seen}")
    maps = Path(f"/proc/{timer_process()}/maps")
    # A timer that is still starting has not loaded it yet.
    wait_for(lambda: str(library) in maps.read_text(encoding="ascii"), "loaded by the timer: it has the real clock")


class Case(NamedTuple):
    title: str
    run: Callable[[int], None]


CASES = {
    "plain": Case("plain", plain),
    "session-killed": Case("session killed (SIGKILL to all of it)", session_killed),
    "terminal-closed": Case("terminal closed (SIGHUP)", terminal_closed),
    "apply-killed": Case("apply killed around its first and second restore", apply_killed),
    "timer-killed": Case("timer killed; the next l3ctl rolls back", timer_killed),
    "disk-full": Case("disk full: rules at the deadline, files once there is room", disk_full),
    "disk-read-only": Case("disk read-only: rules at the deadline, files once it is writable", disk_read_only),
    "lock-held": Case("xtables lock held beyond the tools' own wait", lock_held),
    "chain-deleted": Case("chain deleted with its jumps", chain_deleted),
    "clock-stepped": Case("clock stepped by a day", clock_stepped),
}  # fmt: skip

BACKEND = ""
BEFORE: dict[str, object] = {}


def refuse_on_the_host() -> None:
    outside = os.environ.get("L3DRILL_OUTSIDE")
    links = [line for line in must("ip", "-o", "link", "show").splitlines()]
    if not outside or os.readlink("/proc/self/ns/net") == outside or len(links) != 1:
        raise SystemExit("this network namespace is not a fresh one of its own; nothing was touched")


def build_gateway() -> None:
    TOOLS.mkdir()
    for tool in OWN_CHAINS:
        for suffix in ("", "-save", "-restore"):
            (TOOLS / (tool + suffix)).symlink_to(f"/usr/sbin/xtables-{BACKEND}-multi")
    os.environ["PATH"] = f"{TOOLS}:{os.environ['PATH']}"
    must("mount", "-t", "tmpfs", "-o", "size=1m,mode=0755", "ztcfg", str(STORE))
    must("ip", "link", "add", "wan3", "type", "veth", "peer", "name", "wan3peer")
    must("sh", "-c", "ip addr add 203.0.113.1/24 dev wan3 && ip link set wan3 up && ip link set wan3peer up &&"
                     "ip route add default via 203.0.113.2 dev wan3")
    # A gateway that has started three times.
    for _ in range(3):
        for tool in OWN_CHAINS:
            must(tool, "-F")
            must(tool, "-X")
        must(L3CTL, "init")
    must(L3CTL, "wan", "update", "wan3")
    NEW.write_text(json.dumps(NEW_SETTINGS), encoding="ascii")
    for command in FOREIGN:
        must(*command)


def start_over() -> dict[str, object]:
    must(L3CTL, "apply", "-", input=json.dumps(OLD_SETTINGS))
    if "-A input_ext_local_access_ex -i wan3 -j DROP" not in rules()["iptables"]:
        # The WAN comes up once more, while port scans are fended off.
        must(L3CTL, "wan", "clear")
        must(L3CTL, "wan", "update", "wan3")
        must(L3CTL, "apply", "-", input=json.dumps({"ipsec_pass_through": False}))
        must(L3CTL, "apply", "-", input=json.dumps({"ipsec_pass_through": True}))
    return state()


def main() -> None:
    global BACKEND
    BACKEND, name, repeat = sys.argv[1], sys.argv[2], int(sys.argv[3])
    refuse_on_the_host()
    build_gateway()
    for number in range(repeat):
        try:
            BEFORE.clear()
            BEFORE.update(start_over())
            CASES[name].run(number)
            wait_for(lambda: not PENDING.exists(), f"rolled back; status: {confirmation()}")
            after = state()
            check(after == BEFORE, differences(BEFORE, after))
            print("restored", flush=True)
        except Exception:  # pylint: disable=broad-except  (each run counts for itself)
            print(f"run {number}:\n{traceback.format_exc()}", flush=True)
            with contextlib.suppress(Exception):
                must("sh", "-c", f"mount -o remount,rw {STORE}; rm -f {STORE}/ballast; {L3CTL} confirm || true")
                PENDING.unlink(missing_ok=True)
                build_tree_again()


def build_tree_again() -> None:
    """After a failed run: the next one begins with a whole tree."""
    for tool in OWN_CHAINS:
        must(tool, "-F")
        must(tool, "-X")
    must(L3CTL, "init")
    must(L3CTL, "wan", "update", "wan3")
    for command in FOREIGN:
        must(*command)


if __name__ == "__main__":
    main()
