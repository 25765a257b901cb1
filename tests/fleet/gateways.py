"""Gateways that a controller reaches over ssh, each in namespaces of its own: network, mounts, processes.

    controller 10.77.0.1 ── bridge ──┬── wan3 10.77.1.1  gateway 1: dropbear, l3ctl, its own /ztcfg and /run
                                     ├── wan3 10.77.1.2  gateway 2
                                     └── ...

A gateway has neither Python nor sftp nor scp, and its management comes in by the Internet WAN. Runs inside
tests/sandbox alone.
"""

import contextlib
import os
import re
import shutil
import signal
import subprocess
import time
from pathlib import Path

BUILD = Path(os.environ["L3CTL"]).parent
SHIM = BUILD / "tests/libwithout_groups.so"
# OpenSSH drops its rights to a user of its own, and only root is mapped here.
PASSWD = "root:x:0:0:root:/root:/bin/sh\nsshd:x:0:0::/run/sshd:/usr/sbin/nologin\n"
PLACE = Path("/tmp/fleet")
KEY = PLACE / "key"
KNOWN_HOSTS = PLACE / "known_hosts"

# Notes each start of l3ctl that a controller asks for, but none that l3ctl makes of itself. Files of the gateway's
# folder make it fail as a test wants it:
#   hold        confirm waits until the file is gone
#   cut_at      "apply before", "confirm after", ...: every ssh session is killed then
#   cut_answer  the answer to this command ends after some bytes, once
#   no_root     l3ctl runs without any right
WRAPPER = """#!/bin/sh
case "$*" in
  *--wait*|*--roll-back*) exec {l3ctl} "$@" ;;
esac
echo "$*" >>/fleet/starts
cut() {{
  [ "$(cat /fleet/cut_at 2>/dev/null)" = "$1" ] || return
  rm /fleet/cut_at
  for process in /proc/[0-9]*; do
    read -r name <"$process/comm"
    case "$name ${{process#/proc/}}" in
      dropbear\ 1) ;;
      dropbear\ *) kill -KILL "${{process#/proc/}}" ;;
    esac
  done
}}
cut "$1 before"
while [ "$1" = confirm ] && [ -e /fleet/hold ]; do sleep 0.1; done
if [ -e /fleet/no_root ]; then exec unshare --user {l3ctl} "$@"; fi
if [ "$(cat /fleet/cut_answer 2>/dev/null)" = "$1" ]; then
  rm /fleet/cut_answer
  {l3ctl} "$@" | head -c 20
  exit
fi
{l3ctl} "$@"
status=$?
cut "$1 after"
exit $status
"""

BOOT = """
set -e
mount --make-rprivate /
mkdir -p /fleet /root
mount --bind {place} /fleet
mount --bind {place}/ztcfg /ztcfg
for folder in /run /root /usr/local/sbin; do mount -t tmpfs none $folder; done
cat /proc/sys/kernel/random/uuid >/run/boot_id
mount --bind /run/boot_id /proc/sys/kernel/random/boot_id
for hidden in {hidden}; do mount --bind /dev/null $hidden; done
mkdir -m 700 /root/.ssh
cp /fleet/authorized_keys /root/.ssh/
cp /fleet/l3ctl /usr/local/sbin/l3ctl
chmod 700 /root /root/.ssh
chmod 600 /root/.ssh/authorized_keys
mount -t tmpfs none /tmp
export PATH=/usr/local/sbin:/usr/sbin:/usr/bin:/sbin:/bin
{l3ctl} init >/fleet/boot.log 2>&1
{l3ctl} wan update wan3 >>/fleet/boot.log 2>&1
touch /fleet/up
mkdir /run/sshd
mount --bind /fleet/passwd /etc/passwd
LD_PRELOAD={shim} exec {daemon}
"""

DROPBEAR = "dropbear -F -E -s -r /fleet/host_key -p {address}:22"
OPENSSH = (
    "/usr/sbin/sshd -D -e -f /dev/null -h /fleet/host_key -o ListenAddress={address} -o PidFile=none -o UsePAM=no"
    " -o PermitRootLogin=yes -o StrictModes=no -o AuthorizedKeysFile=/fleet/authorized_keys"
)


def run(*command, check=True, **more):
    return subprocess.run([str(word) for word in command], check=check, capture_output=True, text=True, **more)


def wait_until(condition, what, seconds=120):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise TimeoutError(what)
        time.sleep(0.1)


def hidden_programs():
    names = ("/usr/bin/python3*", "/usr/bin/perl", "/usr/bin/scp", "/usr/lib/openssh/sftp-server", "/usr/lib/sftp-server")
    found = {path.resolve() for name in names for path in Path("/").glob(name[1:])}
    return " ".join(sorted(str(path) for path in found if path.is_file() and os.access(path, os.X_OK)))


class Gateway:
    def __init__(self, number, daemon=DROPBEAR, has_python=False):
        self.name = f"gw{number}"
        self.address = f"10.77.{1 + number // 250}.{number % 250 + 1}"
        self.place = PLACE / self.name
        self.daemon = daemon
        self.hidden = "" if has_python else hidden_programs()
        self.host_key = ""
        self._process = None

    def build(self):
        (self.place / "ztcfg").mkdir(parents=True)
        shutil.copy(KEY.with_suffix(".pub"), self.place / "authorized_keys")
        wrapper = self.place / "l3ctl"
        wrapper.write_text(WRAPPER.format(l3ctl=BUILD / "l3ctl"), encoding="utf-8")
        wrapper.chmod(0o755)
        (self.place / "passwd").write_text(PASSWD, encoding="utf-8")
        self.host_key = self.write_host_key()

    def write_host_key(self):
        """A host key of its own, and what the controller knows of it."""
        for path in self.place.glob("host_key*"):
            path.unlink()
        if self.daemon is DROPBEAR:
            text = run("dropbearkey", "-t", "ed25519", "-f", self.place / "host_key").stdout
        else:
            run("ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", self.place / "host_key")
            text = (self.place / "host_key.pub").read_text(encoding="utf-8")
        return re.search(r"^ssh-ed25519 \S+", text, re.MULTILINE)[0]

    def plug_in(self):
        run("ip", "netns", "add", self.name)
        run("ip", "link", "add", f"m{self.name}", "type", "veth", "peer", "name", "wan3", "netns", self.name)
        run("ip", "link", "set", f"m{self.name}", "master", "fleet", "up")
        batch = f"link set lo up\nlink add br0 type bridge\nlink set br0 up\naddr add 192.168.1.1/24 dev br0\n" \
            f"link set wan3 up\naddr add {self.address}/16 dev wan3\nroute add default via 10.77.0.1 dev wan3\n"
        run("nsenter", f"--net=/run/netns/{self.name}", "ip", "-batch", "-", input=batch)

    def start(self):
        """Power on. The rules are those of the network namespace, which is new after a power cut."""
        self.plug_in()
        (self.place / "up").unlink(missing_ok=True)
        script = BOOT.format(place=self.place, l3ctl=BUILD / "l3ctl", hidden=self.hidden, shim=SHIM,
                             daemon=self.daemon.format(address=self.address))
        log = open(self.place / "log", "ab")
        self._process = subprocess.Popen(
            ["nsenter", f"--net=/run/netns/{self.name}", "unshare", "--mount", "--pid", "--fork", "--mount-proc",
             "--kill-child=KILL", "sh", "-c", script], stdout=log, stderr=log, stdin=subprocess.DEVNULL)  # fmt: skip
        log.close()

    def wait(self):
        def is_up():
            if self._process.poll() is not None:
                said = [(self.place / name).read_text(encoding="utf-8") for name in ("log", "boot.log")]
                raise RuntimeError(f"{self.name}: {said}")
            return (self.place / "up").exists() and f"{self.address}:22" in run(
                "nsenter", f"--net=/run/netns/{self.name}", "ss", "-Hltn").stdout  # fmt: skip

        wait_until(is_up, f"{self.name} does not start")

    def cut_power(self):
        if self._process is not None:
            self._process.send_signal(signal.SIGKILL)
            self._process.wait()
            self._process = None
            run("ip", "netns", "delete", self.name)
            # It may have gone with the other end.
            run("ip", "link", "delete", f"m{self.name}", check=False)

    def trouble(self, name, content=""):
        """Has the next runs fail in a way that WRAPPER describes."""
        (self.place / name).write_text(content, encoding="utf-8")

    def end_troubles(self):
        for name in ("hold", "cut_at", "cut_answer", "no_root"):
            (self.place / name).unlink(missing_ok=True)

    # --- seen from its own console, not over ssh ---

    def l3ctl(self, *words, check=True):
        """On its console: in its namespaces, past the wrapper that counts."""
        return run(*self.inside(), BUILD / "l3ctl", *words, check=check)

    def inside(self):
        children = Path(f"/proc/{self._process.pid}/task/{self._process.pid}/children").read_text(encoding="utf-8")
        return ["nsenter", "--target", children.split()[0], "--mount", "--net", "--pid"]

    def stored(self):
        return {path.name: path.read_bytes() for path in (self.place / "ztcfg").iterdir() if not path.name.startswith(".")}

    def starts(self):
        """The command lines since the last call."""
        path = self.place / "starts"
        lines = path.read_text(encoding="utf-8").splitlines() if path.exists() else []
        path.unlink(missing_ok=True)
        return lines


class Fleet:
    def __init__(self, count, daemon=DROPBEAR, has_python=False):
        self.gateways = [Gateway(number, daemon, has_python) for number in range(count)]

    def __enter__(self):
        shutil.rmtree(PLACE, ignore_errors=True)
        PLACE.mkdir()
        (PLACE / "home").mkdir()
        run("ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", KEY)
        run("ip", "link", "add", "fleet", "type", "bridge", "stp_state", "0", "forward_delay", "0", "mcast_snooping", "0")
        run("ip", "link", "set", "lo", "up")
        run("ip", "link", "set", "fleet", "up")
        run("ip", "addr", "add", "10.77.0.1/16", "dev", "fleet")
        for gateway in self.gateways:
            gateway.build()
            gateway.start()
        known = "".join(f"{gateway.address} {gateway.host_key}\n" for gateway in self.gateways)
        KNOWN_HOSTS.write_text(known, encoding="utf-8")
        for gateway in self.gateways:
            gateway.wait()
        return self

    def __exit__(self, *_):
        for gateway in self.gateways:
            with contextlib.suppress(Exception):
                gateway.cut_power()
        run("ip", "link", "delete", "fleet", check=False)
