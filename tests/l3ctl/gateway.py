"""A gateway for one test: an empty /ztcfg and /run, and packet-filter tools that only note what they are told.

Runs inside tests/sandbox alone, where these folders belong to the test.
"""
import os
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

L3CTL = os.environ["L3CTL"]
CONFIGURATION = Path("/ztcfg/l3_advance.dat")
TOOLS = Path("/tmp/tools")
COMMANDS = Path("/tmp/commands")
REFUSED = Path("/tmp/refused")
RESTORES = Path("/tmp/restores")
CHAINS = Path("/tmp/chains")

# The chains that stand, as the tools list them.
STANDING = [":INPUT", ":FORWARD", ":OUTPUT", *(f":forward_ext_{name}" for name in (
    "bad_tcp", "ip", "us_ip", "ds_ip", "url", "mac", "captiveportal")), *(f":input_ext_{name}" for name in (
        "local_access", "local_access_ex", "acl", "us_acl", "ds_acl", "dhcp", "access_ctrl"))]

# Notes its arguments. A restore of edits notes their lines instead, as the commands that they would be
# one by one; reading all rules, as is done before a change, is not noted. A rollback is noted as the command
# that it is. The chains that stand are those of /tmp/chains; the rules of each family and table are kept in
# /tmp/rules.FAMILY.TABLE, as the tools list them, unless /tmp/stateless is there.
TOOL = r"""#!/bin/sh
name="${0##*/}"
line="$name${*:+ $*}"
refused() {
  [ -e /tmp/refused ] && grep -qxF -e "$1" /tmp/refused
}
# Makes the edits of standard input in a table.
edit() {
  [ -e /tmp/stateless ] && return
  rules="/tmp/rules.${name%%-*}.$1"
  touch "$rules"
  awk '
    part == 1 { rule[++count] = $0; next }
    { sub(/^\[[0-9:]*\] /, ""); operation = substr($0, 1, 3); $0 = substr($0, 4) }
    operation == "-A " { rule[++count] = "-A " $0 }
    operation == "-I " {
      place = 1
      if (match($0, /^[^ ]+ [0-9]+/)) { place = $2; $0 = $1 substr($0, RLENGTH + 1) }
      for (at = 1; at <= count; at++) if (index(rule[at] " ", "-A " $1 " ") == 1 && --place == 0) break
      for (to = ++count; to > at; to--) rule[to] = rule[to - 1]
      rule[at] = "-A " $0
    }
    operation == "-F " { for (at = 1; at <= count; at++) if (index(rule[at] " ", "-A " $1 " ") == 1) delete rule[at] }
    operation == "-D " { for (at = 1; at <= count; at++) if (rule[at] == "-A " $0) { delete rule[at]; break } }
    operation == "-F " || operation == "-D " {
      for (at = to = 1; at <= count; at++) if (at in rule) rule[to++] = rule[at]
      count = to - 1
    }
    END { for (at = 1; at <= count; at++) print rule[at] }' part=1 "$rules" part=2 - >"$rules.new"
  mv "$rules.new" "$rules"
}
case "$line" in
  *-save\ -t\ *\ -c)
    printf '# rules\n*%s\n' "$2"
    while read -r chain; do printf '%s - [0:0]\n' "$chain"; done </tmp/chains
    [ -e "/tmp/rules.${name%-save}.$2" ] && sed 's/^/[0:0] /' "/tmp/rules.${name%-save}.$2"
    echo COMMIT
    exit 0 ;;
  *-restore\ --noflush\ *)
    number=0
    while IFS= read -r edit; do
      number=$((number + 1))
      case "$edit" in
        \**) table=${edit#?} ;;
        -*) printf '%s %s\n' "${name%-restore}" "$edit" >>/tmp/made
            printf '%s\n' "$edit" >>/tmp/edits
            if refused "${name%-restore} $edit"; then
              echo "$name: line $number failed" >&2
              rm /tmp/made /tmp/edits
              exit 1
            fi ;;
      esac
    done
    printf '%s: ' "$name" >>/tmp/restores
    grep -c . /tmp/made >>/tmp/restores
    cat /tmp/made >>/tmp/commands
    edit "$table" </tmp/edits
    rm /tmp/made /tmp/edits
    exit 0 ;;
esac
printf '%s\n' "$line" >>/tmp/commands
if refused "$line"; then
  echo "$name: Too many links" >&2
  exit 1
fi
case "$name $1" in
  *-restore\ -c) read -r table; edit "${table#?}" ;;
  ip*tables\ -t) table=$2; shift 2; printf '%s\n' "$*" | edit "$table" ;;
  ip*tables\ -[AIFD]) printf '%s\n' "$*" | edit filter ;;
esac
exit 0
"""

# Where the parts of the configuration file begin.
FW, QOS, FW6, END = 31, 6199, 6447, 15019


def empty_folder(path):
    for entry in Path(path).iterdir():
        if entry.is_dir():
            shutil.rmtree(entry)
        else:
            entry.unlink()


def word(value):
    return value.to_bytes(4, sys.byteorder)


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
    # How rules are made: the library's lines are looked at one by one, unless a test says otherwise.
    way = ("--one-by-one",)

    def setUp(self):
        if Path("/proc/1/comm").read_text().strip() != "bwrap":
            raise RuntimeError("run this inside tests/sandbox")
        for folder in ("/ztcfg", "/run"):
            empty_folder(folder)
        # Not all of /tmp: the checkout may lie below it.
        shutil.rmtree(TOOLS, ignore_errors=True)
        for leftover in (COMMANDS, REFUSED, RESTORES):
            leftover.unlink(missing_ok=True)
        self.forget_rules()
        TOOLS.mkdir()
        for name in ("iptables", "ip6tables", "iptables-save", "ip6tables-save", "iptables-restore",
                     "ip6tables-restore"):
            tool = TOOLS / name
            tool.write_text(TOOL)
            tool.chmod(0o755)
        CHAINS.write_text("".join(chain + "\n" for chain in STANDING))

    def forget_rules(self):
        """As a restart of the machine does; the chains stay."""
        for rules in Path("/tmp").glob("rules.ip*tables.*"):
            rules.unlink()

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
