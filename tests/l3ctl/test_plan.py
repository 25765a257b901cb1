"""l3ctl plan and diff: what apply would do, and that it is what apply does."""
import json
import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, Gateway, configuration

ROOT = Path(__file__).resolve().parents[2]
sys.path += [str(ROOT / "lab"), str(ROOT / "tests/lab")]

from random_settings import Random, settings  # noqa: E402  (found through the line above)

ROUNDS = 120 if os.environ.get("L3_TEST_FULL") else 12
SEED = int(os.environ.get("L3_TEST_SEED", "11"))

URLS = ('{"url_filter": {"enabled": true, "entries": [{"host": "a.example"}, {"host": "b.example"},'
        ' {"host": "c.example"}]}}')


def files():
    """All that is stored, with its times."""
    return {str(path): (path.read_bytes(), path.stat().st_mtime_ns)
            for folder in ("/ztcfg", "/run") for path in Path(folder).rglob("*") if path.is_file()}


def without(*capabilities):
    """The beginning of a command that takes these from what it runs."""
    dropped = ",".join("-" + name for name in capabilities)
    return ["setpriv", "--inh-caps=" + dropped, "--bounding-set=" + dropped]


class Plan(Gateway):
    def plan(self, text, *options):
        return self.l3ctl("plan", "-", *options, stdin=text)

    def test_what_would_be_done(self):
        self.store(firewall=True)
        self.stand(["-A forward_ext_captiveportal -j DROP"])
        self.assert_outcome(self.plan('{"captive_portal": {"enabled": true, "destinations": ["203.0.113.2"]}, '
                                      '"vpn_pass_through": true}'), 2, """\
Fields:
vpn_pass_through: false -> true
captive_portal.enabled: false -> true
+ captive_portal.destinations[0]: "203.0.113.2"
Lines and platform calls, in order:
grm_l3_advance_set_vpn_pass_through(0)
gpon_l3_control_vpn_pass_through(47, 1)
grm_l3_advance_set_vpn_pass_through(1)
iptables -t filter -F forward_ext_captiveportal
iptables -A forward_ext_captiveportal  -d 203.0.113.2 -j ACCEPT
iptables -A forward_ext_captiveportal -j DROP
iptables-save -t filter >/ztcfg/firewall.conf
Edited in the kernel:
IPv4 forward_ext_captiveportal: 1 rule kept, 1 added
Bytes of /ztcfg/l3_advance.dat:
17: 30 -> 31
5419: 00 -> 01
5423: 00 -> 01
5427: 0000000000000000000000 -> 3230332e302e3131332e32
6191: 00 -> 01
""")

    def test_nothing_to_do(self):
        self.store(firewall=True)
        self.assert_outcome(self.plan('{"firewall": {"enabled": true}}'), 0, "nothing to do\n")
        outcome = self.plan('{"firewall": {"enabled": true}}', "--json")
        self.assertEqual((outcome.status, json.loads(outcome.out)), (0, {"fields": [], "steps": [], "rules": [], "bytes": [], "messages": []}))

    def test_a_first_apply_would_create_the_file(self):
        outcome = self.plan("{}")
        self.assert_outcome(outcome, 2, "Bytes of /ztcfg/l3_advance.dat:\n"
                                        "0: (none) -> 76706e5f706173735f7468726f756768... (15019 bytes)\n")
        self.assert_untouched()

    def test_bytes_that_no_terminal_shows(self):
        self.store(firewall=True)
        self.assertIn(r'--string "\x01a\x07example"', self.plan(URLS).out)
        lines = [step["line"] for step in json.loads(self.plan(URLS, "--json").out)["steps"]]
        self.assertIn('--string "\x01a\x07example"', lines[1])

    def test_only_one_section(self):
        self.store(firewall=True)
        text = json.dumps(json.loads(URLS) | {"firewall": {"enabled": False}})
        fields = json.loads(self.plan(text, "--json", "--section", "firewall").out)["fields"]
        self.assertEqual(fields, [{"path": "firewall.enabled", "old": True, "new": False}])

    def test_plan_is_what_apply_does(self):
        rng = Random(SEED)
        stored = []
        for number in range(ROUNDS):
            with self.subTest(round=number, seed=SEED):
                text = json.dumps(self.random_text(rng))
                stored.append(self.check_plan_against_apply(text))
        self.assertGreater(sum(stored), ROUNDS * 10, "hardly a line was compared")

    def test_apply_ends_in_the_rules_that_the_planned_lines_make(self):
        rng = Random(SEED + 1)
        self.way = ()
        self.stand()
        compared = 0
        for number in range(ROUNDS):
            with self.subTest(round=number, seed=SEED + 1):
                wanted = self.random_text(rng)
                # The length byte of a label may be a line feed, which the fake tool takes for the end of a rule.
                wanted.pop("url_filter", None)
                text = json.dumps(wanted)
                plan = json.loads(self.plan(text, "--json").out)
                before = self.all_rules()
                self.assertEqual(self.apply(text).status, 0)
                made = self.all_rules()
                for tool, rules in zip(("iptables", "ip6tables"), before):
                    Path(f"/tmp/rules.{tool}.filter").write_text("".join(rules), encoding="latin-1")
                self.run_lines(plan)
                self.assertEqual([self.by_chain(rules) for rules in made], [self.by_chain(rules) for rules in self.all_rules()])
                self.check_rules(plan, before, made)
                compared += sum(len(rules) for rules in made)
        self.assertGreater(compared, ROUNDS * 8, "hardly a rule was compared")

    def all_rules(self):
        return [Path(f"/tmp/rules.{tool}.filter").read_text(encoding="latin-1").splitlines(keepends=True)
                for tool in ("iptables", "ip6tables")]

    def check_rules(self, plan, before, made):
        """The plan counts what is kept, added and removed in each chain."""
        for change in plan["rules"]:
            family = 0 if change["family"] == "IPv4" else 1
            start = f"-A {change['chain']} "
            old, new = (sum(rule.startswith(start) for rule in state[family]) for state in (before, made))
            self.assertEqual((change["kept"] + change["removed"], change["kept"] + change["added"]), (old, new), change)

    def by_chain(self, lines):
        """The rules of each chain, in one spelling: a restore quotes words, and has match strings in hexadecimal, for they may hold
        a line feed."""
        text = re.sub(r"--hex-string \|([0-9a-f]*)\|", lambda found: "--string " + bytes.fromhex(found[1]).decode("latin1"),
                      "".join(lines))
        rules = re.split(r"\n(?=-A )", text)
        # In the order of each chain.
        return sorted((rule.replace('"', "").rstrip("\n") for rule in rules if rule), key=lambda rule: rule.split(" ")[1])

    def random_text(self, rng):
        """Some sections of random settings, and the two that only the platform sees."""
        whole = settings(rng) | {
            "vpn_pass_through": rng.chance(50),
            "route_qos": {"enabled": rng.chance(50), "rules": f"{rng.randrange(256):02x}"},
        }
        return {name: value for name, value in whole.items() if rng.chance(60)}

    def check_plan_against_apply(self, text):
        """Returns how many lines were compared."""
        before = files()
        fields_before = json.loads(self.l3ctl("diff", "-", "--json", stdin=text).out)["fields"]
        planned = self.plan(text, "--json")
        self.assertEqual((files(), self.commands()), (before, []), "a plan changes nothing")
        plan = json.loads(planned.out)
        self.assertEqual(planned.status, 2 if plan["steps"] or plan["bytes"] else 0, planned.err)
        old = CONFIGURATION.read_bytes() if CONFIGURATION.exists() else b""

        self.assertEqual(self.apply(text, *self.one_by_one()).status, 0)
        applied = self.commands()
        self.assertEqual(self.run_lines(plan), applied)
        self.assertEqual(self.changed(old, plan["bytes"]), CONFIGURATION.read_bytes())
        self.check_calls(plan)
        self.assertEqual(plan["fields"], fields_before)
        again = self.plan(text, "--json")
        nothing = {"fields": [], "steps": [], "rules": [], "bytes": []}
        self.assertEqual((again.status, {**json.loads(again.out), **nothing}), (0, json.loads(again.out)))
        return len(applied)

    def one_by_one(self):
        return ["--one-by-one"] if "--one-by-one" in self.l3ctl("--help").out else []

    def run_lines(self, plan):
        """What the tools see when a shell is given the planned lines."""
        for step in plan["steps"]:
            if "line" in step:
                subprocess.run(["/bin/sh", "-c", step["line"]], env=self.environment(), check=True)
        return self.commands()

    def changed(self, old, changes):
        data = bytearray(old)
        for change in changes:
            start, new = change["offset"], bytes.fromhex(change["new"])
            self.assertEqual(data[start:start + len(new)].hex(), change["old"])
            data[start:start + len(new)] = new
        return bytes(data)

    def check_calls(self, plan):
        """The platform holds what the last call of each kind told it."""
        told = dict(step["call"].rstrip(")").split("(") for step in plan["steps"] if "call" in step)
        state = Path("/run/l3_advance")
        if "grm_l3_advance_set_vpn_pass_through" in told:
            self.assertEqual((state / "vpn_pass_through").read_text(),
                             told["grm_l3_advance_set_vpn_pass_through"] + "\n")
        if "gpon_l3_set_qos_cfg" in told:
            self.assertEqual((state / "route_qos").read_bytes().rstrip(b"\0").hex(), told["gpon_l3_set_qos_cfg"])


class PlanNeeds(Gateway):
    """What a plan needs, and its errors where that is missing."""

    def run_plan(self, *before):
        with open("/tmp/wanted.json", "w", encoding="ascii") as file:
            file.write('{"ipsec_pass_through": false}')
        done = subprocess.run([*before, L3CTL, "plan", "/tmp/wanted.json"], capture_output=True,
                              env=self.environment(), check=False)
        return done.returncode, done.stdout.decode(), done.stderr.decode()

    def test_a_user_namespace_does_where_one_is_not_root(self):
        self.store()
        as_root = self.run_plan()
        self.assertEqual(as_root[0], 2)
        self.assertEqual(self.run_plan(*without("sys_admin")), as_root)

    def test_without_either(self):
        self.store()
        # A process in a changed root gets no user namespace.
        os.makedirs("/tmp/root", exist_ok=True)
        done = subprocess.run(
            ["unshare", "--mount", "sh", "-c",
             f'mount --rbind / /tmp/root && exec {" ".join(without("sys_admin"))} chroot /tmp/root "$@"',
             "sh", L3CTL, "plan", "-"], input=b"{}", capture_output=True, env=self.environment(), check=False)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (
            1, b"", b"l3ctl: a plan needs a private mount, which takes root or user namespaces: "
                    b"Operation not permitted\n"))

    def test_a_configuration_that_cannot_be_read(self):
        self.store()
        CONFIGURATION.chmod(0)
        status, out, err = self.run_plan(*without("dac_override", "dac_read_search"))
        self.assertEqual((status, out, err),
                         (1, "", "l3ctl: a plan needs to read every file: /ztcfg/l3_advance.dat: cannot be read: Permission denied\n"))

    def test_wrong_settings_are_an_error_and_no_change(self):
        outcome = self.l3ctl("plan", "-", stdin='{"firewall": 1}')
        self.assert_outcome(outcome, 1, "", "l3ctl: standard input:1: firewall: 1 is not allowed; it must be an "
                                            "object\nl3ctl: nothing was changed\n")
        self.assert_untouched()

    def test_a_wrong_command_line_too(self):
        self.assertEqual([self.l3ctl(*words).status for words in (
            ["plan"], ["diff"], ["plan", "/tmp/none.json"], ["diff", "-", "--section", "none"],
            ["diff", "-", "--section", "acl"])], [1, 1, 1, 1, 1])


class Diff(Gateway):
    def diff(self, text, *options):
        return self.l3ctl("diff", "-", *options, stdin=text)

    def test_nothing_differs(self):
        self.store(firewall=True)
        self.assert_outcome(self.diff('{"firewall": {"enabled": true}}'), 0)

    def test_without_a_file_the_defaults_are_compared(self):
        self.assert_outcome(self.diff('{"firewall": {"enabled": true}}'), 2, "firewall.enabled: false -> true\n",
                            "l3ctl: /ztcfg/l3_advance.dat does not exist yet; these are its defaults\n")
        self.assert_untouched()

    def entries(self, *hosts, **more):
        return json.dumps({"url_filter": {"enabled": True, "entries": [
            {"host": host + ".example", **more.get(host, {})} for host in hosts]}})

    def test_entries_of_a_list(self):
        self.store()
        self.apply(self.entries("a", "b", "c"))
        def entry(sign, index, host):
            return f'{sign} url_filter.entries[{index}]: {{"host":"{host}.example","active":"all day"}}\n'

        cases = {
            "one in front": (self.entries("x", "a", "b", "c"), entry("+", 0, "x")),
            "one less": (self.entries("a", "c"), entry("-", 1, "b")),
            "one changed": (self.entries("a", "b", "c", b={"active": "08:00-09:00"}),
                            'url_filter.entries[1].active: "all day" -> "08:00-09:00"\n'),
            "another order": (self.entries("b", "a", "c"), entry("-", 0, "a") + entry("+", 1, "a")),
            "one for two": (self.entries("a", "x"), entry("-", 1, "b") + entry("-", 2, "c") + entry("+", 1, "x")),
            "none": (self.entries(), entry("-", 0, "a") + entry("-", 1, "b") + entry("-", 2, "c")),
        }  # fmt: skip
        for name, (text, lines) in cases.items():
            with self.subTest(name):
                self.assert_outcome(self.diff(text), 2, lines)

    def test_a_security_level_is_its_switches(self):
        self.store()
        self.assert_outcome(self.diff('{"security_level": "high"}'), 2,
                            "firewall.enabled: false -> true\nport_scan_protection: false -> true\n")

    def test_bytes_that_no_field_shows_are_told(self):
        # Behind the last entry of the list, where a device has left something.
        self.store()
        self.apply(self.entries("a"))
        data = bytearray(CONFIGURATION.read_bytes())
        place = data.index(b"a.example")
        data[place + 40] = 1
        CONFIGURATION.write_bytes(data)
        outcome = self.diff(self.entries("a"))
        self.assertEqual((outcome.status, outcome.out), (2, "url_filter: stored bytes that no field shows\n"))
        self.assertTrue(outcome.err.startswith("l3ctl: warning: /ztcfg/l3_advance.dat is torn "), outcome.err)

    def test_as_json(self):
        self.store()
        outcome = self.diff('{"dhcp_filter": {"enabled": false, "devices": ["02:00:00:00:00:01"]}}', "--json")
        self.assertEqual((outcome.status, json.loads(outcome.out)), (2, {"fields": [
            {"path": "dhcp_filter.devices[0]", "old": None, "new": "02:00:00:00:00:01"}]}))


class Sections(Gateway):
    def test_apply_sets_only_the_sections_that_are_asked_for(self):
        self.store(firewall=True)
        text = json.dumps(json.loads(URLS) | {"firewall": {"enabled": False}, "ipsec_pass_through": False})
        self.assert_outcome(self.apply(text, "--section", "url_filter", "--section", "ipsec_pass_through"), 0,
                            "applied: ipsec_pass_through, url_filter; unchanged: nothing\n")
        self.assertEqual(CONFIGURATION.read_bytes()[19:31], b"fire_wall=1\n")

    def test_a_section_that_is_not_there(self):
        self.assert_outcome(self.apply(URLS, "--section", "acl"), 2, "",
                            "l3ctl: standard input: there is no section acl; nothing was changed\n")
        self.assert_untouched()

    def test_the_rest_of_the_file_is_checked_all_the_same(self):
        self.store()
        text = json.dumps(json.loads(URLS) | {"firewall": 1})
        self.assertEqual(self.apply(text, "--section", "url_filter").status, 2)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_export_writes_only_the_sections_that_are_asked_for(self):
        self.store(firewall=True)
        self.assert_outcome(self.l3ctl("export", "--section", "firewall", "--section", "ipsec_pass_through"), 0,
                            '{\n  "firewall": {\n    "enabled": true\n  },\n  "ipsec_pass_through": true\n}\n')


if __name__ == "__main__":
    unittest.main()
