"""A gateway whose tests choose what time it is."""
import json
import os
from pathlib import Path

from gateway import L3CTL, Gateway

FAKE_CLOCK = Path(L3CTL).parent / "tests/l3ctl/libfake_clock.so"
ZONE_FILE = Path("/ztcfg/l3ctl.time_zone")
# In 2026: the 15th of January and of July at 12:00 UTC; Berlin is at +01:00, and then at +02:00.
WINTER, SUMMER = 1768478400, 1784116800


class ClockCase(Gateway):
    moment = WINTER
    way = ()

    def environment(self):
        return {**super().environment(), "LD_PRELOAD": str(FAKE_CLOCK), "FAKE_TIME": str(self.moment),
                "ASAN_OPTIONS": "verify_asan_link_order=0:" + os.environ.get("ASAN_OPTIONS", "")}

    def done(self, *arguments, stdin=b"", status=0):
        """Runs l3ctl, which has to end so; returns its standard output."""
        outcome = self.l3ctl(*arguments, stdin=stdin)
        self.assertEqual(outcome.status, status, outcome.err)
        return outcome.out

    def set(self, settings):
        self.done("apply", "-", stdin=json.dumps(settings))

    def export(self, *options):
        return json.loads(self.done("export", *options))

    def spans(self, *options):
        """The spans of all lists, in their order."""
        every = self.export(*options)
        return [entry["active"] for section, key in (("url_filter", "entries"), ("mac_filter", "devices"),
                                                     ("mac6_filter", "devices")) for entry in every[section][key]]

    @staticmethod
    def rules():
        """The rules of both families as the packet filter has them, by their chains."""
        return {path.name: "\n".join(sorted(path.read_text().splitlines(), key=lambda rule: rule.split()[1]))
                for path in sorted(Path("/tmp").glob("rules.ip*tables.filter"))}
