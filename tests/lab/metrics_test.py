"""l3ctl metrics against the kernel: what it counts is what was sent."""

import subprocess

from l3lab import device, hosts, probe_grammar, rules
from l3lab.prober import STOP_TIMEOUT
from lab_case import LabCase, prober
from prometheus_client.parser import text_string_to_metric_families

_PHONE = "02:00:00:00:00:07"
_SETTINGS = {
    "url_filter": {"enabled": True, "entries": [{"host": "example.com"}, {"host": "example.org"}]},
    "mac_filter": {"enabled": True, "devices": [{"mac": _PHONE}]},
    "mac6_filter": {"enabled": True, "devices": [{"mac": _PHONE}]},
    "ip_filter": {"enabled": True, "rules": [
        {"direction": "upstream", "protocol": "tcp", "source": hosts.TABLET.v4, "destination_ports": "25"},
        {"direction": "downstream", "protocol": "udp", "destination_ports": "5001-5002"}]},
    "acl": {"enabled": True, "entries": [{"service": "web", "from": "lan", "sources": "192.168.1.3-192.168.1.10"}]},
}  # fmt: skip
# A probe, how often it is sent, and the series that it counts.
_SENT = [
    ("dns query for example.com from lan to wan", 3, "url_filter", "example.com", "ipv4", "drop"),
    ("dns query for example.org from tablet to wan", 2, "url_filter", "example.org", "ipv4", "drop"),
    (f"udp frame from {_PHONE} to wan port 5000", 4, "mac_filter", _PHONE, "ipv4", "drop"),
    (f"udp6 frame from {_PHONE} to wan port 5000", 1, "mac6_filter", _PHONE, "ipv6", "drop"),
    ("udp from wan to lan port 5001", 2, "ip_filter", "direction=downstream protocol=udp destination_ports=5001-5002",
     "ipv4", "drop"),
    ("tcp flags SYN from tablet to wan port 25", 2, "ip_filter",
     f"direction=upstream protocol=tcp source={hosts.TABLET.v4} destination_ports=25", "ipv4", "drop"),
    # A SYN would make a listener answer, and the client's own kernel add a RST.
    ("tcp flags RST from lan to gateway port 80", 1, "acl",
     "service=web from=lan sources=192.168.1.3-192.168.1.10", "ipv4", "accept"),
]  # fmt: skip


def samples():
    text = device.l3ctl("metrics").stdout
    subprocess.run(["promtool", "check", "metrics"], input=text, text=True, check=True)
    return {
        (sample.name, tuple(sample.labels.values())): sample.value
        for family in text_string_to_metric_families(text)
        for sample in family.samples
    }


class Counters(LabCase):
    def test_counters_are_the_packets_sent(self):
        device.apply(_SETTINGS)
        rules.forget_connections()
        before = samples()
        self.assertEqual(sum(value for (name, _), value in before.items() if name == "l3_entry_packets_total"), 0)
        for probe, times, *_ in _SENT:
            for _ in range(times):
                probe_grammar.send(prober(), probe, timeout=STOP_TIMEOUT)
        after = samples()
        counted = {labels: value for (name, labels), value in after.items() if name == "l3_entry_packets_total" and value}
        self.assertEqual(counted, {tuple(labels): times for _, times, *labels in _SENT})
        for _, times, *labels in _SENT:
            self.assertGreaterEqual(after["l3_entry_bytes_total", tuple(labels)], 28 * times)

    def test_what_no_entry_owns_goes_by_section(self):
        device.apply({"mac_filter": {"enabled": True, "mode": "white-list", "devices": [{"mac": hosts.LAN.mac}]}})
        for _ in range(3):
            probe_grammar.send(prober(), f"udp frame from {_PHONE} to wan port 5000", timeout=STOP_TIMEOUT)
        self.assertEqual(samples()["l3_section_packets_total", ("mac_filter", "ipv4", "drop")], 3)

    def test_drift_and_findings_of_the_kernel(self):
        device.apply(_SETTINGS)
        start = samples()
        self.assertEqual([start["l3_rules_drift", (kind,)] for kind in ("missing", "extra", "moved")], [0, 0, 0])
        rules.run("iptables", "-D", "forward_ext_mac", "1")
        self.assertEqual(samples()["l3_rules_drift", ("missing",)], 1)
        self.assertEqual(samples()["l3_doctor_findings", ("problem",)], 1)
