"""l3ctl metrics: what monitors read, lint and parse, and what each number says."""
import json
import re
import subprocess

from prometheus_client.openmetrics.parser import text_string_to_metric_families as parse_openmetrics
from prometheus_client.parser import text_string_to_metric_families as parse_prometheus

from gateway import CONFIGURATION, L3CTL
from live import FRESH4, FRESH6, Rules
from test_escape import names, packed, portal
from test_round_trip import EVERYTHING

NAME_RULE = next(line for line in FRESH4.splitlines() if "--hex-string" in line)
MAC_RULE = "[%d:%d] -A forward_ext_mac -i br0 -m mac --mac-source 02:00:00:00:00:07 -m time --timestart %s --timestop %s " \
    "--datestop 2038-01-19T03:14:07 -j DROP"


class Metrics(Rules):
    def samples(self, *options):
        """What promtool finds nothing to say about, as {(name, labels): value}; no series comes twice."""
        done = self.l3ctl("metrics", *options)
        self.assertEqual(done.status, 0, done.err)
        if options:
            families = parse_openmetrics(done.out)
        else:
            lint = subprocess.run(["promtool", "check", "metrics"], input=done.out, capture_output=True, text=True,
                                  check=False)
            self.assertEqual((lint.returncode, lint.stdout, lint.stderr), (0, "", ""))
            families = parse_prometheus(done.out)
        found = [((sample.name, tuple(sample.labels.items())), sample.value)
                 for family in families for sample in family.samples]  # fmt: skip
        self.assertEqual(len(found), len(dict(found)))
        self.assertEqual(len(found), sum(not line.startswith("#") for line in done.out.splitlines()))
        return dict(found)

    def value(self, samples, name, **labels):
        return samples[name, tuple(labels.items())]


class Numbers(Metrics):
    def test_a_fresh_gateway(self):
        self.live(re.sub(r".*(--hex-string|wan3).*\n", "", FRESH4), FRESH6)
        samples = self.samples()
        self.assertEqual(self.value(samples, "l3_switch_enabled", switch="firewall"), 0)
        self.assertEqual(self.value(samples, "l3_list_entries", section="url_filter"), 0)
        self.assertEqual(self.value(samples, "l3_list_entries_max", section="url_filter"), 50)
        self.assertEqual(self.value(samples, "l3_confirmation_pending"), 0)
        self.assertNotIn(("l3_settings_changed_timestamp_seconds", ()), samples)
        self.assertEqual([key for key in samples if key[0].startswith("l3_entry")], [])
        version = json.loads(self.l3ctl("--json", "--version").out)["l3ctl"]
        self.assertEqual(self.value(samples, "l3_build_info", version=version), 1)

    def test_packets_and_bytes_go_by_what_the_entry_is_about(self):
        self.settings()
        self.live(FRESH4.replace(NAME_RULE, NAME_RULE.replace("[0:0]", "[12:840]")))
        labels = {"section": "url_filter", "entry": "example.com", "family": "ipv4", "action": "drop"}
        for options in ((), ("--openmetrics",)):
            samples = self.samples(*options)
            self.assertEqual(self.value(samples, "l3_entry_packets_total", **labels), 12)
            self.assertEqual(self.value(samples, "l3_entry_bytes_total", **labels), 840)

    def test_a_counter_beyond_32_bits_is_told_whole(self):
        self.settings()
        self.live(FRESH4.replace(NAME_RULE, NAME_RULE.replace("[0:0]", "[18446744073709551615:5]")))
        self.assertIn('action="drop"} 18446744073709551615\n', self.l3ctl("metrics").out)

    def test_several_spans_of_one_device_are_added_up(self):
        devices = [{"mac": "02:00:00:00:00:07", "active": span} for span in ("01:00-02:00", "03:00-04:00")]
        self.settings(json.dumps({"firewall": {"enabled": True}, "mac_filter": {"enabled": True, "devices": devices}}))
        rules = [MAC_RULE % (3, 180, "01:00:00", "02:00:00"), MAC_RULE % (4, 240, "03:00:00", "04:00:00")]
        self.live(FRESH4.replace(NAME_RULE, "\n".join(rules)))
        samples = self.samples()
        labels = {"section": "mac_filter", "entry": "02:00:00:00:00:07", "family": "ipv4", "action": "drop"}
        self.assertEqual(self.value(samples, "l3_entry_packets_total", **labels), 7)
        self.assertEqual(self.value(samples, "l3_entry_bytes_total", **labels), 420)
        self.assertEqual(self.value(samples, "l3_list_entries", section="mac_filter"), 2)

    def test_a_neighbour_that_leaves_takes_no_history_along(self):
        hosts_before = [{"host": "first.example"}, {"host": "example.com", "active": "08:00-21:30"}]
        text = {"firewall": {"enabled": True}, "url_filter": {"enabled": True, "entries": hosts_before}}
        labels = {"section": "url_filter", "entry": "example.com", "family": "ipv4", "action": "drop"}
        self.live(FRESH4.replace(NAME_RULE, NAME_RULE.replace("[0:0]", "[12:840]")))
        for entries in (hosts_before, hosts_before[1:]):
            text["url_filter"]["entries"] = entries
            self.settings(json.dumps(text))
            self.assertEqual(self.value(self.samples(), "l3_entry_packets_total", **labels), 12)

    def test_drift_is_what_check_tells(self):
        self.settings()
        self.live(FRESH4.replace(NAME_RULE + "\n", ""))
        samples = self.samples()
        told = [one["state"] for one in json.loads(self.l3ctl("--json", "check").out)["drift"]]
        self.assertIn("missing", told)
        for kind in ("missing", "extra", "moved"):
            self.assertEqual(self.value(samples, "l3_rules_drift", kind=kind), told.count(kind))

    def test_findings_are_those_of_doctor(self):
        self.settings()
        self.live(FRESH4.replace(NAME_RULE + "\n", ""))
        states = [one["state"] for one in json.loads(self.l3ctl("--json", "doctor").out)["findings"]]
        self.assertIn("problem", states)
        samples = self.samples()
        for severity in ("warning", "problem"):
            self.assertEqual(self.value(samples, "l3_doctor_findings", severity=severity), states.count(severity))

    def test_a_pending_confirmation_and_its_deadline(self):
        self.assertEqual(self.apply('{"vpn_pass_through": true}', "--confirm", "300").status, 0)
        samples = self.samples()
        self.assertEqual(self.value(samples, "l3_confirmation_pending"), 1)
        changed = self.value(samples, "l3_settings_changed_timestamp_seconds")
        deadline = self.value(samples, "l3_confirmation_deadline_timestamp_seconds")
        self.assertTrue(280 <= deadline - changed <= 310, deadline - changed)
        self.l3ctl("confirm")
        self.assertEqual(self.value(self.samples(), "l3_confirmation_pending"), 0)

    def test_an_entry_is_active_while_all_of_it_is(self):
        entries = [{"host": "always.example"}, {"host": "disabled.example", "enabled": False}]
        for firewall, enabled, active in ((True, True, 1), (True, False, 0), (False, True, 0)):
            self.settings(json.dumps({"firewall": {"enabled": firewall},
                                      "url_filter": {"enabled": enabled, "entries": entries}}))  # fmt: skip
            samples = self.samples()
            for host, expected in (("always.example", active), ("disabled.example", 0)):
                self.assertEqual(self.value(samples, "l3_entry_active", section="url_filter", entry=host), expected)


class Bounds(Metrics):
    def test_every_list_full(self):
        text = {
            "firewall": {"enabled": True},
            "ip_filter": {"enabled": True, "rules": [
                {"direction": "upstream", "protocol": "udp", "destination_ports": str(1000 + i)} for i in range(50)]},
            "ip6_filter": {"enabled": True, "rules": [
                {"direction": "upstream", "protocol": "udp", "source": f"fd00::{i + 1:x}"} for i in range(50)]},
            "url_filter": {"enabled": True, "entries": [{"host": f"host{i}.example"} for i in range(50)]},
            **{section: {"enabled": True, "devices": [{"mac": f"02:00:00:00:00:{i:02x}"} for i in range(1, 11)]}
               for section in ("mac_filter", "mac6_filter", "dhcp_filter")},
            "acl": {"enabled": True, "entries": [
                {"service": "web", "from": "wan", "sources": f"192.0.2.{i + 1}"} for i in range(16)]},
            "captive_portal": {"enabled": True, "destinations": [f"198.51.100.{i + 1}" for i in range(32)]},
        }  # fmt: skip
        self.settings(json.dumps(text))
        samples = self.samples()
        self.assertEqual(sum(name == "l3_entry_active" for name, _ in samples), 228)
        for section, capacity in (("acl", 16), ("captive_portal", 32), ("ip6_filter", 50)):
            self.assertEqual(self.value(samples, "l3_list_entries_max", section=section), capacity)
        self.assertLess(len(samples), 1000)

    def test_the_openmetrics_parser_reads_everything(self):
        self.settings(json.dumps(EVERYTHING))
        plain, opened = self.samples(), self.samples("--openmetrics")
        self.assertEqual(plain.keys(), opened.keys())
        self.assertTrue(self.l3ctl("metrics", "--openmetrics").out.endswith("\n# EOF\n"))


class Hostile(Metrics):
    def assert_harmless(self, data, section, count):
        CONFIGURATION.write_bytes(data)
        done = subprocess.run([L3CTL, "-q", "metrics"], capture_output=True, env=self.environment(), timeout=60, check=True)
        parsed = {(sample.name, tuple(sample.labels.items()))
                  for family in parse_prometheus(done.stdout.decode()) for sample in family.samples}  # fmt: skip
        labels = [dict(labels)["entry"] for name, labels in parsed if name == "l3_entry_active"]
        self.assertGreater(len(labels), 0)
        self.assertLessEqual(len(labels), count)
        for label in labels:
            self.assertNotRegex(label, "[\x00-\x1f\x7f-\x9f\u202a-\u202e\u2066-\u2069]")
        lint = subprocess.run(["promtool", "check", "metrics"], input=done.stdout, capture_output=True, check=False)
        self.assertEqual((lint.returncode, lint.stdout, lint.stderr), (0, b"", b""))
        self.assertIn(f'l3_list_entries{{section="{section}"}} {count}\n'.encode(), done.stdout)

    def test_stored_destinations(self):
        texts = packed(19)
        for some in (texts[:32], texts[32:64], [b'a"b\\', b"x\ny", b'"} 1', b"\\"]):
            if some:
                self.assert_harmless(portal(some), "captive_portal", len(some))

    def test_stored_host_names(self):
        texts = packed(31)
        for some in (texts[:50], [b'a"b\\', b"x\ny", b'"} 1\nl3_evil 1', b"\\n", b"\\"]):
            self.assert_harmless(names(some), "url_filter", len(some))


class Refusals(Metrics):
    def test_no_number_where_the_packet_filter_cannot_be_read(self):
        self.live("*filter\n:INPUT ACCEPT [0:0]\n")
        done = self.l3ctl("metrics")
        self.assertEqual((done.status, done.out), (1, ""))
        self.assertEqual(done.err.splitlines()[-1], "l3ctl: iptables-save stopped in the middle of its answer")

    def test_no_json(self):
        done = self.l3ctl("--json", "metrics")
        self.assertEqual((done.status, json.loads(done.out)["error"]), (2, "metrics: there is no result as JSON"))

    def test_nothing_is_changed(self):
        self.settings()
        before = CONFIGURATION.read_bytes()
        self.samples()
        self.assertEqual(CONFIGURATION.read_bytes(), before)
