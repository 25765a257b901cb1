"""What docs/settings.md shows of l3ctl's answers is what l3ctl answers."""
import os
import re
import unittest
from pathlib import Path

from gateway import Gateway

PAGE = (Path(__file__).resolve().parents[2] / "docs" / "settings.md").read_text(encoding="utf-8")
BLOCKS = re.findall(r"^```\n(.*?)^```$", PAGE, re.MULTILINE | re.DOTALL)

FAULTY = """{
  "ip_filter": {
    "enabled": true,
    "rules": [
      {"direction": "upstream", "protocol": "tcp",
       "source_ports": "70000"}]}}
"""
STORED = """{
  "ip_filter": {"enabled": true, "rules": [
    {"direction": "upstream", "protocol": "udp", "destination_ports": "53"},
    {"direction": "upstream", "protocol": "tcp", "destination_ports": "%s"}]},
  "url_filter": {"enabled": true, "entries": [%s]},
  "mac_filter": {"enabled": true, "devices": [{"mac": "02:00:00:00:01:20"}, {"mac": "02:00:00:00:01:21"}%s]}}
"""


class SettingsPage(Gateway):
    def the_block_with(self, text):
        blocks = [block for block in BLOCKS if text in block]
        self.assertEqual(len(blocks), 1, text)
        return blocks[0]

    def test_the_fault_that_is_told(self):
        os.chdir("/tmp")
        Path("home.json").write_text(FAULTY, encoding="ascii")
        self.assert_outcome(self.l3ctl("apply", "home.json"), 2, "", self.the_block_with("home.json:6"))

    def test_the_lines_of_a_diff(self):
        self.assertEqual(self.apply(STORED % ("80", '{"host": "games.example.com"}', "")).status, 0)
        wanted = STORED % ("443", "", ', {"mac": "02:00:00:00:01:22", "active": "20:30-24:00"}')
        outcome = self.l3ctl("diff", "-", stdin=wanted)
        self.assertEqual((outcome.status, outcome.out), (2, self.the_block_with(" -> ")))


if __name__ == "__main__":
    unittest.main()
