"""A gateway for one test: an empty /ztcfg and /run, and tests/tools/fake-iptables as its packet filter.

Runs inside tests/sandbox alone, where these folders belong to the test.
"""
import os
import shutil
import subprocess
import unittest
from pathlib import Path

L3CTL = os.environ["L3CTL"]
# Of the processor that l3ctl was built for: it may run under an emulator.
BYTE_ORDER = "big" if Path(L3CTL).read_bytes()[5] == 2 else "little"
OTHER_ORDER = "little" if BYTE_ORDER == "big" else "big"
CONFIGURATION = Path("/ztcfg/l3_advance.dat")
TOOLS = Path("/tmp/tools")
COMMANDS = Path("/tmp/commands")
REFUSED = Path("/tmp/refused")
RESTORES = Path("/tmp/restores")
CHAINS = Path("/tmp/chains")
PACKET_FILTER = ("iptables", "ip6tables", "iptables-save", "ip6tables-save", "iptables-restore", "ip6tables-restore")
FAKE = Path(__file__).parents[1] / "tools/fake-iptables"

# The chains that stand, as the tools list them.
STANDING = [":INPUT", ":FORWARD", ":OUTPUT", *(f":forward_ext_{name}" for name in (
    "bad_tcp", "ip", "us_ip", "ds_ip", "url", "mac", "captiveportal")), *(f":input_ext_{name}" for name in (
        "local_access", "local_access_ex", "acl", "us_acl", "ds_acl", "dhcp", "access_ctrl"))]

# Where the parts of the configuration file begin.
FW, QOS, FW6, END = 31, 6199, 6447, 15019


def empty_folder(path):
    for entry in Path(path).iterdir():
        if entry.is_dir():
            shutil.rmtree(entry)
        else:
            entry.unlink()


def word(value):
    return value.to_bytes(4, BYTE_ORDER)


def configuration(firewall=False, vpn=False, **words):
    """The bytes of a fresh configuration file; words are offsets in fw_rules_table, as w2412=1."""
    data = bytearray(END)
    data[0:31] = b"vpn_pass_through=%d\nfire_wall=%d\n" % (vpn, firewall)
    for offset in (FW + 4632, FW6 + 7032):
        data[offset:offset + 4] = word(1)
    for name, value in words.items():
        offset = FW + int(name[1:])
        data[offset:offset + 4] = word(value)
    return bytes(data)


class Outcome:
    """How a run of l3ctl ended."""

    def __init__(self, done):
        self.status = done.returncode
        self.out = done.stdout.decode()
        self.err = done.stderr.decode()


class Gateway(unittest.TestCase):
    maxDiff = None
    # How rules are made: one by one, so that each command line is seen, unless a test sets another mode.
    way = ("--one-by-one",)

    def setUp(self):
        if Path("/proc/1/comm").read_text().strip() != "bwrap":
            raise RuntimeError("run this inside tests/sandbox")
        for folder in ("/ztcfg", "/run"):
            empty_folder(folder)
        # Not all of /tmp: the checkout may lie below it.
        shutil.rmtree(TOOLS, ignore_errors=True)
        for leftover in (COMMANDS, REFUSED, RESTORES, *Path("/tmp").glob("hook.*"), *Path("/tmp").glob("saved-*")):
            leftover.unlink(missing_ok=True)
        self.forget_rules()
        TOOLS.mkdir()
        for name in PACKET_FILTER:
            (TOOLS / name).symlink_to(FAKE)
        CHAINS.write_text("".join(chain + "\n" for chain in STANDING))

    def forget_rules(self):
        """As a restart of the machine does; the chains stay."""
        for rules in Path("/tmp").glob("rules.ip*tables.*"):
            rules.unlink()

    def hook(self, name, script=None):
        """From now on the tool runs this shell text first; none takes the hook away."""
        if script is None:
            Path(f"/tmp/hook.{name}").unlink()
        else:
            # In one step: a tool may be starting.
            Path("/tmp/hook").write_bytes(script if isinstance(script, bytes) else script.encode())
            Path("/tmp/hook").rename(f"/tmp/hook.{name}")

    def stand(self, ipv4=(), ipv6=()):
        """These rules are there, "-A CHAIN ..." each: a change only edits what differs from them."""
        for rules, tool in ((ipv4, "iptables"), (ipv6, "ip6tables")):
            Path(f"/tmp/rules.{tool}.filter").write_text("".join(rule + "\n" for rule in rules), encoding="ascii")

    def standing(self, tool="iptables"):
        """The rules that are there."""
        return Path(f"/tmp/rules.{tool}.filter").read_text(encoding="latin-1").splitlines()

    def live(self, ipv4=None, ipv6=None):
        """From now on the -save tools print these rules."""
        for text, name in ((ipv4, "iptables-save"), (ipv6, "ip6tables-save")):
            if text is not None:
                # In one step: a command may be watching.
                Path("/tmp/saved").write_text(text)
                Path("/tmp/saved").rename("/tmp/saved-" + name)

    def environment(self):
        return {"PATH": f"{TOOLS}:/usr/sbin:/usr/bin", "LC_ALL": "C.UTF-8"}

    def traced_environment(self):
        """For a run under strace, where the leak sanitizer cannot work."""
        return {**self.environment(), "ASAN_OPTIONS": "detect_leaks=0"}

    def l3ctl(self, *arguments, stdin=b""):
        if isinstance(stdin, str):
            stdin = stdin.encode()
        return Outcome(subprocess.run([L3CTL, *self.way, *arguments], input=stdin, capture_output=True,
                                      env=self.environment(), timeout=60, check=False))

    def apply(self, text, *options):
        """Applies a text from standard input."""
        return self.l3ctl("apply", "-", *options, stdin=text)

    def store(self, firewall=False, **words):
        CONFIGURATION.write_bytes(configuration(firewall, **words))
        CONFIGURATION.chmod(0o600)

    def refuse(self, *lines):
        """From now on the tools refuse these command lines."""
        REFUSED.write_text("".join(line + "\n" for line in lines))

    def commands(self):
        """The packet-filter commands since the last call."""
        if not COMMANDS.exists():
            return []
        lines = COMMANDS.read_text().splitlines()
        COMMANDS.unlink()
        return lines

    def assert_outcome(self, outcome, status, out="", err=""):
        self.assertEqual((outcome.status, outcome.out, outcome.err), (status, out, err))

    def assert_untouched(self):
        """Nothing was stored, locked or run."""
        self.assertEqual(os.listdir("/ztcfg"), [])
        self.assertEqual(os.listdir("/run"), [])
        self.assertEqual(self.commands(), [])
