"""No input of l3ctl is ever executed: every program that is started is seen by a tracer.

A hostile text is refused, or it reaches a tool as one literal piece of an argument.
"""
import json
import os
import re
import shlex
import subprocess
import unittest
from pathlib import Path

from gateway import CONFIGURATION, FW, L3CTL, PACKET_FILTER, TOOLS, Gateway, configuration

TRACE = Path("/tmp/injection.trace")
RAN = Path("/tmp/x")
# Start-up makes a folder for the kernel's modules, and a migration renames a file.
OTHERS = {"mkdir", "touch", "uname", "mv"}
# What l3ctl itself asks of the packet filter: reading, making and putting back all rules of a table.
OWN = [["-t", "filter", "-c"], ["-t", "filter"], ["--noflush", "-w", "5"], ["-c", "-w", "5"]]

HOSTILE = ["$(touch /tmp/x)", "`touch /tmp/x`", ";touch /tmp/x", "|touch /tmp/x", "&touch /tmp/x", "\ntouch /tmp/x\n",
           "'; touch /tmp/x; '", '"; touch /tmp/x; "', "\\$(touch /tmp/x)", "--modprobe=/bin/x", "-j", "${IFS}touch",
           ">/tmp/x", "1.2.3.4;id", "1.2.3.4 -j ACCEPT", "a\tb", "*", "~", "\x7f", "é", "a" * 5000, ""]

BYTES = re.compile(r'"((?:\\x[0-9a-f]{2})*)"')


def programs(trace):
    """The argument lists of every program that was started, or looked for."""
    found = []
    for line in trace.splitlines():
        call = re.search(r"execve\(([^\[]*)\[([^\]]*)\]", line)
        if call:
            path, *_ = BYTES.findall(call.group(1))
            found.append((path, BYTES.findall(call.group(2))))
    return [(bytes.fromhex(path.replace("\\x", "")), [bytes.fromhex(one.replace("\\x", "")) for one in arguments])
            for path, arguments in found]


def words_of(line):
    """How a shell splits a line, up to a redirection into /ztcfg."""
    command = re.split(rb" ?[<>] ?/ztcfg/", line)[0]
    # Between double quotes a backslash also frees these two, of which shlex does not know.
    command = re.sub(rb"\\(.)", lambda pair: pair[1] if pair[1] in b"$`" else pair[0], command, flags=re.DOTALL)
    return shlex.split(command.decode("latin-1"))


class Injection(Gateway):
    def setUp(self):
        super().setUp()
        RAN.unlink(missing_ok=True)
        # Tools that keep rules would start programs of their own.
        Path("/tmp/stateless").touch()

    def traced(self, *command, stdin=b""):
        done = subprocess.run(["strace", "-f", "-xx", "-s", "9000", "-e", "trace=execve", "-o", str(TRACE), *command],
                              input=stdin, capture_output=True, env=self.environment(), timeout=120, check=False)
        return done, programs(TRACE.read_text())

    def run_l3ctl(self, *arguments, stdin=b""):
        """Runs l3ctl; only what is meant to may have been started, with the arguments of its line."""
        done, started = self.traced(L3CTL, *self.way, *arguments, stdin=stdin)
        self.assertGreaterEqual(done.returncode, 0, done.stderr)
        self.assertEqual(started[0][0], L3CTL.encode())
        lines = [argv[2] for path, argv in started if path == b"/bin/sh"]
        for path, argv in started[1:]:
            name = os.path.basename(path).decode()
            if name == "sh":
                self.assertEqual(argv[:2], [b"/bin/sh", b"-c"])
            elif name in PACKET_FILTER and [one.decode("latin-1") for one in argv[1:]] in OWN:
                # Started without a shell, and without any input of a user.
                self.assertEqual(argv[0].decode(), name)
            elif name in PACKET_FILTER:
                # Each tool runs for a line of its own, which a shell splits as told here.
                self.assertIn([one.decode("latin-1") for one in argv], [words_of(line) for line in lines])
            else:
                self.assertIn(name, OTHERS)
        self.assertFalse(RAN.exists(), arguments)
        return done, started[1:]

    def assert_refused(self, *arguments, stdin=b"", statuses=(2,)):
        done, started = self.run_l3ctl(*arguments, stdin=stdin)
        self.assertIn(done.returncode, statuses, (arguments, stdin, done.stderr))
        self.assertEqual(done.stdout, b"")
        self.assertNotEqual(done.stderr, b"")
        self.assertEqual(started, [])

    def test_the_tracer_sees_what_an_unescaped_text_would_do(self):
        lines = [f'iptables -A forward_ext_url --string "{text}" -j DROP'
                 for text in ("$(touch /tmp/x)", "`touch /tmp/x`", '"; touch /tmp/x; "')]
        lines += [f"iptables -A forward_ext_captiveportal  -d {text} -j ACCEPT"
                  for text in ("$(touch /tmp/x)", ";touch /tmp/x;", "\ntouch /tmp/x\n")]
        for line in lines:
            RAN.unlink(missing_ok=True)
            _, started = self.traced("sh", "-c", line)
            self.assertIn([b"touch", b"/tmp/x"], [argv for _, argv in started])
            self.assertTrue(RAN.exists())
        self.commands()

    def test_words_of_the_command_line(self):
        self.store(firewall=True)
        for text in HOSTILE:
            for command in (["wan", "update"], ["page-jump", "add", "192.168.1.0/24"], ["access", "web", "block", "--port"],
                            ["record", "write", "ct-timeout"], ["mac-filter", "add"], ["url-filter", "add"], ["show"],
                            ["restore"], [], ["explain", "--dns-name"], ["--lock-timeout"]):
                self.assert_refused(*command, text)
            self.assert_refused("page-jump", "add", text, "192.168.1.1")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(True))

    def test_names_of_files(self):
        self.store()
        Path("/tmp/names").mkdir(exist_ok=True)
        for text in HOSTILE:
            name = f"/tmp/names/{text.replace('/', '')}"
            for command in (["inspect"], ["backup"], ["restore", "--file-only"], ["record", "read", "wan-service"]):
                done, started = self.run_l3ctl(*command, name)
                self.assertIn(done.returncode, (0, 1, 2), (command, name, done.stderr))
                self.assertEqual(started, [])

    def test_settings(self):
        self.store(firewall=True)
        places = {
            "url_filter": lambda text: {"entries": [{"host": text}]},
            "captive_portal": lambda text: {"destinations": [text]},
            "ip_filter": lambda text: {"rules": [{"direction": "upstream", "protocol": "tcp", "source": text}]},
            "ip6_filter": lambda text: {"rules": [{"direction": "upstream", "protocol": "tcp", "destination": text}]},
            "mac_filter": lambda text: {"devices": [{"mac": text}]},
            "mac6_filter": lambda text: {"devices": [{"mac": "02:00:00:00:00:01", "active": text}]},
            "dhcp_filter": lambda text: {"devices": [text]},
            "acl": lambda text: {"entries": [{"service": "web", "from": "lan", "sources": text}]},
        }
        for section, value in places.items():
            for text in [*HOSTILE, "example.com\0;touch /tmp/x", "1.2.3.4\0$(touch /tmp/x)"]:
                document = {section: {"enabled": True, **value(text)}}
                self.assert_refused("apply", "-", stdin=json.dumps(document).encode())
        for text in HOSTILE:
            for document in ({text: 1}, {"ip_filter": {"enabled": True, text: 1}}, {"route_qos": {"enabled": True,
                                                                                                 "rules": text + "x"}}):
                self.assert_refused("apply", "-", stdin=json.dumps(document).encode())
        self.assert_refused("apply", "-", stdin=b'{"url_filter": \0 $(touch /tmp/x)}')
        self.assertEqual(CONFIGURATION.read_bytes(), configuration(True))

    def test_host_names_that_another_program_has_stored(self):
        """The library takes them from the file, so its own escaping is what holds."""
        for text in (b"$(touch /tmp/x)", b"`touch /tmp/x`", b'";touch /tmp/x;"', b"';touch /tmp/x;'", b"\\", b'\\"',
                     b"a\ntouch\t/tmp/x", b"$HOME", b"--algo", b"|touch /tmp/x", b"\x01\x7f\xff!*~"):
            data = bytearray(configuration(True, w2416=1, w2420=1, w4624=1))
            data[FW + 2428:FW + 2428 + len(text)] = text
            data[FW + 2461] = 24
            CONFIGURATION.write_bytes(bytes(data))
            done, started = self.run_l3ctl("--force", "firewall", "on")
            self.assertEqual(done.returncode, 0, done.stderr)
            labels = b"".join(bytes([len(label)]) + label for label in text.split(b"."))
            rules = [argv for _, argv in started if b"forward_ext_url" in argv and b"--string" in argv]
            self.assertEqual([argv[argv.index(b"--string") + 1] for argv in rules], [labels])

    def test_a_backup_cannot_bring_a_command(self):
        self.store()
        for text in (b"$(touch /tmp/x)", b"`id`", b";touch /tmp/x", b"1.2.3.4\n", b"1.2.3.4 -j ACCEPT"):
            data = bytearray(configuration(True, w5388=1, w5392=1, w6160=1))
            data[FW + 5396:FW + 5396 + len(text)] = text
            self.assert_refused("restore", "-", stdin=bytes(data))
            self.assert_refused("restore", "--force", "-", stdin=bytes(data))
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def with_destination(self, text):
        """A file of another program, with the firewall and the portal on."""
        data = bytearray(configuration(True, w5388=2, w5392=1, w5416=1, w6160=1))
        data[FW + 5396:FW + 5396 + 7] = b"1.2.3.4"
        data[FW + 5420:FW + 5420 + len(text)] = text
        return bytes(data)

    def test_a_portal_destination_that_another_program_has_stored(self):
        """The library places it as it is, so nothing is run at all; not even --force overrides that."""
        shown = {b"\ntouch /tmp/x\n": "\\x0atouch /tmp/x\\x0a"}
        commands = [["init"], ["--force", "init"], ["--force", "firewall", "on"], ["--force", "level", "high"],
                    ["--force", "portal", "on"], ["--force", "captive-portal", "on"], ["--force", "wan", "update", "wan3"],
                    ["--force", "restore-rules"], ["--force", "apply", "-"], ["--force", "confirm"],
                    ["--force", "apply", "--section", "captive_portal", "--confirm", "9", "-"]]
        for text in (b"$(touch /tmp/x)", b"`touch /tmp/x`", b";touch /tmp/x", b"|touch /tmp/x", b"&touch /tmp/x;",
                     b"\ntouch /tmp/x\n", b"1.2.3.4>/tmp/x", b"${IFS}", b"*"):
            stored = self.with_destination(text)
            for command in commands if text == b"$(touch /tmp/x)" else commands[1:3]:
                CONFIGURATION.write_bytes(stored)
                done, started = self.run_l3ctl(*command, stdin=b'{"port_scan_protection": true, "captive_portal": {"enabled": true}}')
                self.assertEqual((done.returncode, done.stdout), (1, b""), (command, done.stderr))
                self.assertTrue(done.stderr.decode().endswith(
                    f'l3ctl: /ztcfg/l3_advance.dat: captive_portal.destinations[1], "{shown.get(text, text.decode())}", '
                    'holds what a shell could run; "l3ctl inspect" says what to do; nothing was changed\n'), done.stderr)
                # Start-up looks whether it has been done, and a change begins to read the rules.
                self.assertTrue({tuple(argv[1:]) for _, argv in started} <= {(b"-t", b"filter", b"-c")}, started)
                self.assertEqual(CONFIGURATION.read_bytes(), stored)

    def test_the_ways_out_run_no_stored_destination(self):
        stored = self.with_destination(b"$(touch /tmp/x)")
        portal = b'{"captive_portal": {"enabled": true, "destinations": ["1.2.3.4"]}}'
        for command, stdin in ((["reset", "--yes"], b""), (["restore", "-"], configuration(True)),
                               (["restore", "--file-only", "-"], configuration(True)), (["--force", "apply", "-"], portal)):
            CONFIGURATION.write_bytes(stored)
            done, _ = self.run_l3ctl(*command, stdin=stdin)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertNotIn(b"touch", CONFIGURATION.read_bytes())

    def test_a_file_to_migrate_cannot_bring_a_command(self):
        self.store()
        Path("/ztcfg/v1_to_v2.flag").touch()
        Path("/ztcfg/l3_advance.conf").write_bytes(self.with_destination(b"$(touch /tmp/x)"))
        done, started = self.run_l3ctl("init")
        self.assertEqual((done.returncode, done.stdout), (1, b""))
        self.assertIn(b'l3ctl: /ztcfg/l3_advance.conf: captive_portal.destinations[1], "$(touch /tmp/x)", holds', done.stderr)
        self.assertTrue({tuple(argv[1:]) for _, argv in started} <= {(b"-t", b"filter", b"-c")}, started)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_an_interface_of_the_machine(self):
        self.store(firewall=True)
        for index, name in enumerate(("a;id", "`id`", "$(x)", "wan3")):
            for line in (["link", "add", name, "type", "bridge"], ["link", "set", name, "up"],
                         ["addr", "add", f"198.18.{index}.1/24", "dev", name],
                         ["route", "add", "default", "via", f"198.18.{index}.2"]):
                subprocess.run(["ip", *line], check=True)
            done, started = self.run_l3ctl("firewall", "on")
            self.assertEqual(done.returncode, 0, done.stderr)
            bound = [argv for _, argv in started if b"forward_ext_ip" in argv and b"-i" in argv]
            self.assertEqual([argv[argv.index(b"-i") + 1] for argv in bound],
                             [b"br0", b"wan3"] if name == "wan3" else [])
            subprocess.run(["ip", "link", "delete", name], check=True)

    def test_ordinary_work_starts_what_is_meant(self):
        """The counts keep this test from passing because nothing is seen."""
        text = Path(__file__).resolve().parents[2].joinpath("examples/home.json").read_bytes()
        self.store(firewall=True)
        for arguments, least in ((["init"], 30), (["apply", "-"], 20), (["firewall", "on"], 20), (["reset", "--yes"], 10)):
            done, started = self.run_l3ctl(*arguments, stdin=text)
            self.assertEqual(done.returncode, 0, done.stderr)
            tools = [path for path, _ in started if path.startswith(bytes(TOOLS))]
            self.assertGreater(len(tools), least)


if __name__ == "__main__":
    unittest.main()
