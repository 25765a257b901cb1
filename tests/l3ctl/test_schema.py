"""Every --json output follows its schema, and the settings schema accepts what l3ctl accepts."""
import copy
import json
import re
import subprocess
import unittest
from pathlib import Path

from jsonschema import Draft202012Validator

from gateway import CONFIGURATION, Gateway
from test_round_trip import EVERYTHING, RandomSettings

ROOT = Path(__file__).resolve().parents[2]
SCHEMAS = {path.name.removesuffix(".schema.json"): json.loads(path.read_text(encoding="utf-8"))
           for path in (ROOT / "schema").glob("*.schema.json")}

PORTAL = '{"captive_portal": {"enabled": true, "destinations": ["203.0.113.2"]}, "vpn_pass_through": true}'
PACKET = ["--from", "lan", "--to", "wan", "--protocol", "tcp", "--source", "192.168.1.20", "--destination",
          "203.0.113.2", "--destination-port", "80"]

TABLET = "02:00:00:00:01:20"

# By command: the schema of its output, and runs that write it, one after the other. "-" reads PORTAL.
RUNS = {
    "init": ("change", ["init"]),
    "plan": ("plan", ["plan", "-"], ["plan", "-", "--section", "vpn_pass_through"], ["ipsec", "off", "--dry-run"]),
    "diff": ("diff", ["diff", "-"]),
    "apply": ("apply", ["apply", "-", "--confirm", "60"]),
    "status": ("status", ["status"]),
    "confirm": ("change", ["confirm", "--extend", "60"], ["confirm"]),
    "history": ("history", ["history"], ["history", "1"]),
    "undo": ("change", ["undo"]),
    "show": ("settings", ["show"], ["show", "acl"]),
    "export": ("settings", ["export"], ["export", "--section", "firewall"]),
    "version": ("version", ["version"]),
    "firewall": ("settings", ["firewall", "status"]),
    "level": ("level", ["level"]),
    "portal": ("portal", ["portal", "status"]),
    "ip-filter": ("settings", ["ip-filter", "list"]),
    "acl": ("change", ["acl", "clear"]),
    "url-filter": ("change", ["url-filter", "on"]),
    "mac-filter": ("change", ["mac-filter", "reset"]),
    "dhcp-filter": ("change", ["dhcp-filter", "add", "02:00:00:00:00:01"]),
    "captive-portal": ("settings", ["captive-portal", "list"]),
    "port-scan": ("change", ["port-scan", "on"]),
    "ipsec": ("change", ["ipsec", "off"]),
    "vpn": ("settings", ["vpn", "status"]),
    "qos": ("qos", ["qos", "show"]),
    "access": ("change", ["access", "telnet", "block"]),
    "page-jump": ("change", ["page-jump", "add", "192.168.1.0/24", "192.168.1.1"]),
    "restore-rules": ("change", ["restore-rules"]),
    "inspect": ("inspect", ["inspect"], ["inspect", "--all"]),
    "backup": ("change", ["backup", "/tmp/backup.dat"]),
    "restore": ("change", ["restore", "/ztcfg/l3_advance.dat"]),
    "explain": ("explain", ["explain", *PACKET], ["explain", *PACKET, "--settings", "-"],
                ["explain", TABLET], ["explain", TABLET, "example.com:80"]),
    "devices": ("devices", ["devices"]),
    "blocked": ("devices", ["blocked"]),
    "rules": ("rules", ["rules"]),
    "check": ("check", ["check"]),
    "doctor": ("doctor", ["doctor"]),
    "clock": ("clock", ["clock"]),
    "reset": ("change", ["reset", "--yes"]),
}
MORE_RUNS = {
    "rules by setting": ("hits", ["rules", "--top"], ["rules", "--since-last"], ["acl", "list", "--counters"]),
    "--version": ("program", ["--version"]),
    "devices name": ("change", ["devices", "name", TABLET, "tablet"]),
    "wan": ("wan", ["wan", "show"]),
    "wan clear": ("change", ["wan", "clear"]),
    "record write": ("change", ["record", "write", "ct-timeout", "300"]),
    "record read": ("record-ct-timeout", ["record", "read", "ct-timeout"]),
    "record wan": ("record-wan-service", ["record", "read", "wan-service", "/ztcfg/wan.dat"]),
}
# They end with 3 where the gateway is not as it should be, as this one without a packet filter.
LOOKING = {"check", "doctor"}
# What they write is text for other programs.
WITHOUT_JSON = {"completion", "help", "metrics"}


def faults(name, value):
    return [f"{error.json_path}: {error.message}" for error in Draft202012Validator(SCHEMAS[name]).iter_errors(value)]


class Outputs(Gateway):
    def connect(self):
        """Gives the gateway a default route, in the network of this sandbox."""
        for line in ("link show wan3", "link add wan3 type bridge", "link set wan3 up",
                     "addr add 203.0.113.1/24 dev wan3", "route add default via 203.0.113.2"):
            done = subprocess.run(["ip", *line.split()], capture_output=True, check=False)
            if done.returncode == 0 and "show" in line:
                return

    def outputs(self):
        """(command, schema, output) of every run."""
        self.store(firewall=True)
        self.connect()
        for command, (schema, *runs) in (RUNS | MORE_RUNS).items():
            for arguments in runs:
                outcome = self.l3ctl("--json", *arguments, stdin=PORTAL)
                self.assertLess(outcome.status, 4 if command in LOOKING else 3, outcome.err)
                self.assertNotEqual(outcome.out, "", f"{arguments}: {outcome.err}")
                yield command, schema, json.loads(outcome.out)

    def test_every_output_is_as_its_schema_says(self):
        checked = set()
        for command, schema, output in self.outputs():
            with self.subTest(command):
                self.assertEqual(faults(schema, output), [])
                checked.add(schema)
        self.assertEqual(set(SCHEMAS) - checked, {"error"}, "no run writes what these describe")

    def test_a_schema_notices_what_is_new_or_gone(self):
        for command, schema, output in self.outputs():
            with self.subTest(command):
                self.assertNotEqual(faults(schema, output | {"new": 1}), [])
                for key in SCHEMAS[schema].get("required", []):
                    gone = {name: value for name, value in output.items() if name != key}
                    self.assertNotEqual(faults(schema, gone), [], key)

    def test_failures_are_as_the_schemas_say(self):
        self.store(firewall=True)
        self.refuse("iptables -A forward_ext_captiveportal  -d 203.0.113.2 -j ACCEPT",
                    "iptables -A forward_ext_captiveportal -d 203.0.113.2 -j ACCEPT")
        output = json.loads(self.apply(PORTAL, "--json").out)
        self.assertNotEqual(output["failed_rules"], [])
        self.assertEqual(faults("apply", output), [])

    def test_errors_are_as_their_schema_says(self):
        self.store(firewall=True)
        wrong = '{"firewall": 1,\n "vpn_pass_through": 2}'
        for arguments, error, messages in (
                (["apply", "-"], "nothing was changed", 2), (["diff", "-"], "nothing was changed", 2),
                (["apply", "/tmp/none.json"], "/tmp/none.json: No such file or directory; nothing was changed", 0),
                (["show", "acl", "nothing"], 'SECTION: "nothing" is not one of ', 0), (["level", "--colour"], '"--colour" is no option', 0),
                (["confirm"], "no confirmation is pending; nothing was changed", 0),
                (["completion", "bash"], "completion: there is no result as JSON", 0)):
            outcome = self.l3ctl(*arguments, "--json", stdin=wrong)
            output = json.loads(outcome.out)
            self.assertEqual(faults("error", output), [])
            self.assertTrue(output["error"].startswith(error), output)
            self.assertEqual(len(output["messages"]), messages, output)
            # The same words as people read.
            self.assertEqual(outcome.err.splitlines(), [f"l3ctl: {text}" for text in [*output["messages"], output["error"]]])
            self.assertNotEqual(outcome.status, 0)
            self.assertEqual(self.l3ctl(*arguments, stdin=wrong).err, outcome.err if arguments[0] != "completion" else "")

    def test_no_command_is_left_out(self):
        listed = re.search(r"^Subcommands:\n(.*?)\n\n", self.l3ctl("--help").out, re.MULTILINE | re.DOTALL)
        commands = set(re.findall(r"^  ([a-z0-9-]+) ", listed.group(1), re.MULTILINE))
        self.assertGreater(len(commands), 20)
        known = set(RUNS) | {name.split()[0] for name in MORE_RUNS} | WITHOUT_JSON
        self.assertEqual(commands - known, set(), "describe their --json in schema/ and run them here")

    def test_the_schemas_themselves(self):
        for name, schema in SCHEMAS.items():
            with self.subTest(name):
                Draft202012Validator.check_schema(schema)
                self.assertEqual(schema["$id"], "urn:l3-advance:schema:" + name)
                self.assertEqual(schema["$schema"], "https://json-schema.org/draft/2020-12/schema")


# Values at each place of the settings; the schema and l3ctl have to agree about every one of them.
ADDRESSES = ["1.2.3.4", "any", "0.0.0.0", "0.1.2.3", "255.255.255.255", "256.1.1.1", "1.2.3", "01.2.3.4", "1.2.3.4.5",
             "1.2.3.4 ", "", "ANY", 1, None, "1.2.3.4;reboot"]
PLACES = {
    "ip_filter.rules[0].source": ADDRESSES,
    "ip_filter.rules[0].second_destination": ADDRESSES,
    "ip_filter.rules[0].direction": ["upstream", "downstream", "up", "", 0],
    "ip_filter.rules[0].protocol": ["all", "tcp", "TCP", "sctp", 6],
    "ip_filter.rules[0].source_ports": ["any", "0", "1", "65535", "65536", "0-0", "0-9", "9-0", "1-65535", "1-", "-1",
                                        "01", "1 - 2", "70000", 80, "1-65536", "59999", "60000", "65499", "65529"],
    "ip_filter.rules[0].index": [0, 4294967295, 4294967296, -1, 1.5, "1", True],
    "ip_filter.upstream": ["black-list", "white-list", "grey-list", 1],
    "ip_filter.enabled": [True, False, 1, "true", None],
    "ip_filter.rules": [[], {}, None, [None]],
    "ip6_filter.rules[0].source": ["fd00::1", "any", "1.2.3.4", "fd00", "g::1", "", "::ffff:1.2.3.4", 6],
    "url_filter.entries[0].host": ["a.example", ".a", "a.", "..a", "a..b", "-a", "a-", "a-b", "a_b", "", ".", "a" * 31,
                                   "a" * 32, "A.b", "a b", "é", "a\nb"],
    "url_filter.entries[0].active": ["all day", "00:00-24:00", "24:00-00:00", "8:00-9:00", "08:00-24:01", "23:59-00:00",
                                     "08:60-09:00", "08:00", "08:00-25:00", ""],
    "url_filter.mode": ["black-list", "white-list", ""],
    "mac_filter.devices[0].mac": ["02:00:00:00:00:0a", "02:00:00:00:00:0A", "02-00-00-00-00-0a", "02:00:00:00:00", "tablet",
                                   "00:00:00:00:00:00", "00:00:00:00:00:01", "10:00:00:00:00:00", "02000000000A",
                                   "02-00:00-00-00-0a", "01-00-00-00-00-0a", "010000000000", "000000000000", "a b", "-a",
                                   "1.2", "a" * 64, "a:b", ""],
    "mac6_filter.devices[0].reserved": ["", "00", "0", "0g", "00" * 6, "00" * 7, 0],
    "dhcp_filter.devices[0]": ["02:00:00:00:00:01", "00:00:00:00:00:00", {"mac": "00:00:00:00:00:00", "flag": 1}, {"mac": "02:00:00:00:00:01"}, {}, "02", 1,
                               {"mac": "02:00:00:00:00:01", "flag": 4294967296}, {"mac": "02:00:00:00:00:01", "x": 1},
                               {"mac": "02:00:00:00:00:01", "reserved": "00" * 11}],
    "acl.entries[0].sources": [*ADDRESSES, "1.2.3.4-1.2.9.9", "1.2.3.4-1.2.3.4", "1.2.3.4-", "any-any", "0.0.0.0-0.0.0.9"],
    "acl.entries[0].service": ["all", "web", "ftp", "snmp", "telnet", "ping", "ssh", 0],
    "acl.entries[0].from": ["lan", "wan", "other"],
    "captive_portal.destinations[0]": ["1.2.3.4", "1.2.3.0/24", "1.2.3.0/33", "1.2.3.0/", "0.0.0.0/0", "any",
                                       "example.com", {"destination": "1.2.3.4"}, {}, {"enabled": False}],
    "route_qos.rules": ["", "01", "0", "xy", "00" * 244, "00" * 245],
    "security_level": ["off", "low", "high", "medium", 1, None],
    "firewall": [{"enabled": False}, {}, True, {"enabled": True, "x": 1}],
    "vpn_pass_through": [True, 0, None],
    "colour": [1],
}  # fmt: skip


def placed(path, value):
    """A whole document, good but for this value."""
    document = {name: copy.deepcopy(EVERYTHING[name]) for name in EVERYTHING if name == path.split(".")[0]}
    *parents, last = [int(step[1:-1]) if step.startswith("[") else step for step in re.findall(r"\w+|\[\d+\]", path)]
    at = document
    for step in parents:
        at = at[step]
    at[last] = value
    return document


class SettingsSchema(Gateway):
    def setUp(self):
        super().setUp()
        Path("/etc/ethers").write_text(TABLET + " tablet\n", encoding="ascii")

    def assert_agreement(self, document):
        self.store()
        outcome = self.l3ctl("diff", "-", stdin=json.dumps(document))
        found = faults("settings", document)
        self.assertEqual(outcome.status == 1, found != [], f"{document}\n{outcome.err}{found}")
        return outcome.status != 1

    def test_values(self):
        taken = refused = 0
        for path, values in PLACES.items():
            for value in values:
                with self.subTest(path=path, value=value):
                    good = self.assert_agreement(placed(path, value))
                    taken, refused = taken + good, refused + (not good)
        self.assertGreater(min(taken, refused), 50)

    def test_how_many_entries_there_may_be(self):
        for path, most in {"ip_filter.rules": 50, "ip6_filter.rules": 50, "url_filter.entries": 50, "mac_filter.devices": 10,
                           "mac6_filter.devices": 10, "dhcp_filter.devices": 10, "acl.entries": 16,
                           "captive_portal.destinations": 32}.items():
            section, name = path.split(".")
            entry = EVERYTHING[section][name][0]
            with self.subTest(path):
                self.assertTrue(self.assert_agreement(placed(path, [entry] * most)))
                self.assertFalse(self.assert_agreement(placed(path, [entry] * (most + 1))))

    def test_every_key_that_is_needed(self):
        for section, value in EVERYTHING.items():
            lists = [value] if isinstance(value, dict) else []
            lists += [entry for entries in (lists and value.values()) if isinstance(entries, list) for entry in entries[:1]
                      if isinstance(entry, dict)]
            for index, place in enumerate(lists):
                for key in place:
                    document = {section: copy.deepcopy(value)}
                    inner = next((v for v in document[section].values() if isinstance(v, list)), None) if index else None
                    del (inner[0] if index else document[section])[key]
                    with self.subTest(section=section, key=key):
                        self.assert_agreement(document)

    def test_what_is_wider_than_the_schema_can_say_is_refused_by_l3ctl(self):
        for path, value in {"acl.entries[0].sources": "1.2.3.4-1.3.0.0", "ip_filter.rules[0].source_ports": "9-8",
                            "mac_filter.devices[0].mac": "of-nobody"}.items():
            document = placed(path, value)
            self.assertEqual(faults("settings", document), [])
            self.assertEqual(self.l3ctl("diff", "-", stdin=json.dumps(document)).status, 1)

    def test_samples_documents_and_exports(self):
        documents = [json.loads(path.read_text(encoding="utf-8")) for path in (ROOT / "examples").glob("*.json")]
        text = (ROOT / "docs/settings.md").read_text(encoding="utf-8")
        documents += [json.loads(block) for block in re.findall(r"^```json\n(.*?)^```", text, re.MULTILINE | re.DOTALL)]
        self.assertGreater(len(documents), 8)
        documents += [RandomSettings(seed).settings() for seed in range(20)]
        for document in [EVERYTHING, *documents]:
            self.assertEqual(faults("settings", document), [])
        for seed in range(3):
            self.assertEqual(self.apply(json.dumps(RandomSettings(seed).settings())).status, 0)
            self.assertEqual(faults("settings", json.loads(self.l3ctl("export").out)), [])
        self.assertTrue(CONFIGURATION.exists())


if __name__ == "__main__":
    unittest.main()
