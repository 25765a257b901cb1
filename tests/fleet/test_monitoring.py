"""What watches gateways: alerts and a dashboard over metrics that l3ctl writes, and the timer that has it write them."""

import json
import os
import re
import stat
import subprocess
import tempfile
import unittest
from pathlib import Path

MONITORING = Path(__file__).resolve().parents[2] / "fleet/monitoring"
RULES = MONITORING / "l3_advance.rules.yml"
# What l3ctl does not write: node_exporter says it of every textfile.
OTHERS = {"node_textfile_mtime_seconds"}


def metrics_written():
    """The names of all samples, of a gateway that has some entries."""
    subprocess.run([os.environ["L3CTL"], "init"], capture_output=True, check=True)
    settings = {"firewall": {"enabled": True}, "mac_filter": {
        "enabled": True, "mode": "white-list", "devices": [{"mac": "02:00:00:00:00:07"}]}}  # fmt: skip
    command = [os.environ["L3CTL"], "apply", "-", "--confirm", "60"]
    subprocess.run(command, input=json.dumps(settings).encode(), capture_output=True, check=True)
    text = subprocess.run([os.environ["L3CTL"], "metrics"], capture_output=True, text=True, check=True).stdout
    subprocess.run([os.environ["L3CTL"], "confirm"], capture_output=True, check=True)
    return set(re.findall(r"^(\w+)[{ ]", text, re.MULTILINE))


def metrics_in(expressions):
    """The metrics that they name; a label's value is none."""
    return {name for text in expressions for name in re.findall(r"\b(?:l3|node)_\w+", re.sub(r'"[^"]*"', "", text))}


def promtool(*words, **more):
    return subprocess.run(["promtool", *map(str, words)], capture_output=True, text=True, check=False, **more)


class Monitoring(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.known = metrics_written() | OTHERS
        cls.dashboard = json.loads((MONITORING / "dashboard.json").read_text(encoding="utf-8"))

    def test_alerts_are_five_sound_rules(self):
        done = promtool("check", "rules", RULES)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("5 rules found", done.stdout)

    def test_each_alert_fires_when_it_should_and_not_otherwise(self):
        done = promtool("test", "rules", "l3_advance.rules.test.yml", cwd=MONITORING)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        tried = re.findall(r"alertname: (\w+)", (MONITORING / "l3_advance.rules.test.yml").read_text(encoding="utf-8"))
        self.assertEqual(set(tried), set(re.findall(r"alert: (\w+)", RULES.read_text(encoding="utf-8"))))

    def test_alerts_use_metrics_that_are_written(self):
        expressions = re.findall(r"expr: (.*)", RULES.read_text(encoding="utf-8"))
        self.assertEqual(metrics_in(expressions) - self.known, set())

    def test_the_dashboard_asks_sound_questions_about_metrics_that_are_written(self):
        asked = [target["expr"] for panel in self.dashboard["panels"] for target in panel["targets"]]
        self.assertGreater(len(asked), 5)
        self.assertEqual(metrics_in(asked) - self.known, set())
        # promtool reads expressions in rules alone; Grafana puts its variables in place.
        plain = [text.replace("$__rate_interval", "1m").replace("$instance", ".*") for text in asked]
        rules = {"groups": [{"name": "panels", "rules": [
            {"record": f"panel:{number}", "expr": text} for number, text in enumerate(plain)]}]}  # fmt: skip
        with tempfile.NamedTemporaryFile("w", suffix=".yml", encoding="utf-8") as file:
            json.dump(rules, file)
            file.flush()
            done = promtool("check", "rules", file.name)
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_panels_do_not_overlap(self):
        taken = set()
        for panel in self.dashboard["panels"]:
            place = panel["gridPos"]
            cells = {(x, y) for x in range(place["x"], place["x"] + place["w"])
                     for y in range(place["y"], place["y"] + place["h"])}  # fmt: skip
            self.assertEqual(taken & cells, set(), panel["title"])
            self.assertLessEqual(place["x"] + place["w"], 24)
            taken |= cells
        self.assertEqual(len({panel["id"] for panel in self.dashboard["panels"]}), len(self.dashboard["panels"]))

    def test_the_service_writes_a_whole_file_that_all_may_read(self):
        service = (MONITORING / "l3ctl-metrics.service").read_text(encoding="utf-8")
        words = re.search(r"^ExecStart=(.*)$", service, re.MULTILINE)[1].split()
        self.assertEqual(words[0], "/usr/sbin/l3ctl")
        file = Path("/tmp") / Path(words[-1]).name
        self.assertEqual(file.suffix, ".prom")
        file.write_text("# what was before\n", encoding="utf-8")
        subprocess.run([os.environ["L3CTL"], *words[1:-1], file], check=True)
        self.assertEqual(stat.S_IMODE(file.stat().st_mode), 0o644)
        self.assertEqual(promtool("check", "metrics", input=file.read_text(encoding="utf-8")).returncode, 0)
        self.assertEqual([path.name for path in Path("/tmp").glob("*l3_advance*")], [file.name])

    def test_where_nothing_can_be_read_the_file_stays(self):
        file = Path("/tmp/stays.prom")
        file.write_text("# what was before\n", encoding="utf-8")
        broken = Path("/tmp/broken/iptables-save")
        broken.parent.mkdir()
        broken.write_text("#!/bin/sh\nexit 1\n", encoding="utf-8")
        broken.chmod(0o755)
        done = subprocess.run([os.environ["L3CTL"], "metrics", "--output", file], env={"PATH": "/tmp/broken"},
                              capture_output=True, check=False)  # fmt: skip
        self.assertEqual(done.returncode, 1)
        self.assertEqual(file.read_text(encoding="utf-8"), "# what was before\n")


if __name__ == "__main__":
    unittest.main()
