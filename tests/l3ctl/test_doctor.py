"""l3ctl doctor: every finding is provoked, reported, and gone after its remedy."""
import fcntl
import json
import os
import signal
import unittest
from pathlib import Path

from gateway import CONFIGURATION
from live import FRESH6, Rules
from test_schema import faults

# What doctor tries in the kernel is not noted.
TRIED = """[ "$1" != --version ] || exec echo "$name v1.8.9 (%s)"
case "$*" in *"%s"*) exit 2 ;; *) exit 0 ;; esac
"""


class Examined(Rules):
    """A healthy gateway, and the findings of doctor."""

    def setUp(self):
        super().setUp()
        for name in ("iptables", "ip6tables", "iptables-restore", "ip6tables-restore"):
            self.tool(name)
        self.settings()

    def tool(self, name, backend="legacy", refused="nothing is refused"):
        self.hook(name, TRIED % (backend, refused))

    def findings(self):
        outcome = self.l3ctl("doctor", "--json")
        told = json.loads(outcome.out)
        self.assertEqual(faults("doctor", told), [])
        bad = [finding for finding in told["findings"] if finding["state"] == "problem"]
        self.assertEqual((outcome.status, told["healthy"]), (3 if bad else 0, not bad))
        return told["findings"]

    def ills(self, about, state="problem"):
        return [finding["finding"] for finding in self.findings()
                if finding["about"] == about and finding["state"] == state]

    def assert_only_problem(self, about, text):
        problems = [finding for finding in self.findings() if finding["state"] == "problem"]
        self.assertEqual([finding["about"] for finding in problems], [about], problems)
        self.assertIn(text, problems[0]["finding"])
        self.assertTrue(problems[0]["advice"])


class Doctor(Examined):
    def test_a_healthy_gateway(self):
        states = {finding["about"]: finding["state"] for finding in self.findings()}
        # The sandbox has no network, and so no Internet.
        self.assertEqual(states.pop("Internet WAN"), "warning")
        self.assertEqual(states.pop("/ztcfg/firewall6.conf", "ok"), "ok")
        self.assertEqual(set(states.values()), {"ok"}, states)
        text = self.l3ctl("doctor").out
        self.assertIn("ok       tools                  all six are iptables v1.8.9 (legacy)\n", text)
        self.assertIn("ok       rules                  follow the settings\n", text)

    def test_it_changes_nothing(self):
        before = {path: path.read_bytes() for path in Path("/ztcfg").iterdir()}
        self.commands()
        self.l3ctl("doctor")
        asked = [line for line in self.commands() if not line.endswith(" --version")]
        self.assertEqual(asked, ["iptables-save -c -t filter", "ip6tables-save -c -t filter"])
        self.assertEqual({path: path.read_bytes() for path in Path("/ztcfg").iterdir()}, before)

    def test_tools_of_two_backends(self):
        self.tool("ip6tables", "nf_tables")
        self.assert_only_problem("tools", "not all tools are v1.8.9 (legacy): ip6tables v1.8.9 (nf_tables)")

    def test_a_kernel_without_a_match(self):
        self.tool("iptables", refused="-m string")
        self.assert_only_problem("kernel", "refuses rules of the kinds string")
        self.tool("iptables")
        self.tool("ip6tables", refused="-m time")
        self.assert_only_problem("kernel", "refuses rules of the kinds time of IPv6")

    def test_a_file_that_others_may_write(self):
        CONFIGURATION.chmod(0o622)
        self.assert_only_problem(str(CONFIGURATION), "can be written by others than its owner")

    def test_a_configuration_that_is_no_file(self):
        CONFIGURATION.unlink()
        CONFIGURATION.mkdir()
        self.assertEqual(self.ills(str(CONFIGURATION)), ["is a directory, not a regular file"])
        self.assertEqual(self.ills("configuration"), [])

    def test_what_a_start_takes_over_belongs_to_root_alone(self):
        for path, mode, healthy in (("/ztcfg", 0o777, 0o755), ("/ztcfg", 0o775, 0o755), ("/ztcfg", 0o1777, 0o755),
                                    ("/ztcfg/firewall.conf", 0o666, 0o600), ("/ztcfg/firewall6.conf", 0o620, 0o600)):
            Path(path).chmod(mode)
            self.assert_only_problem(path, "can be written by others than its owner")
            advice = next(finding["advice"] for finding in self.findings() if finding["state"] == "problem")
            self.assertTrue(advice.startswith(f"chmod {healthy:o} {path}; "), advice)
            Path(path).chmod(healthy)
            self.assertEqual(self.ills(path), [])

    def test_saved_rules_that_are_no_file(self):
        Path("/ztcfg/firewall.conf").unlink()
        Path("/ztcfg/firewall.conf").mkdir()
        self.assert_only_problem("/ztcfg/firewall.conf", "is a directory, not a regular file")

    def test_a_confirmation_whose_timer_is_gone(self):
        self.assertEqual(self.apply('{"vpn_pass_through": true}', "--confirm", "3600").status, 0)
        self.assertEqual(self.ills("confirmation", "warning"), ["is pending; without it the old settings are restored"])
        os.kill(json.loads(Path("/ztcfg/l3ctl.pending").read_text())["timer"], signal.SIGKILL)
        with open("/run/l3ctl.timer", "rb") as timer:
            fcntl.flock(timer, fcntl.LOCK_SH)
        self.assert_only_problem("confirmation", "the timer that restores the old settings is gone")
        self.assertEqual(self.l3ctl("confirm").status, 0)
        self.assertEqual([finding for finding in self.findings() if finding["about"] == "confirmation"], [])
        Path("/ztcfg/l3ctl.pending").write_text("{")
        self.assert_only_problem("confirmation", "/ztcfg/l3ctl.pending is damaged")

    def test_torn_and_implausible_configurations_and_the_copy_to_use(self):
        whole = CONFIGURATION.read_bytes()
        CONFIGURATION.write_bytes(whole[:9000])
        torn = next(finding for finding in self.findings() if finding["about"] == "configuration")
        self.assertIn("short: 9000 of 15019 bytes", torn["finding"])
        self.assertEqual(self.ills("backup", "warning"), ["there is none in /ztcfg"])
        Path("/ztcfg/yesterday.dat").write_bytes(whole)
        Path("/ztcfg/noise.dat").write_bytes(os.urandom(15019))
        os.utime("/ztcfg/yesterday.dat", (1700000000, 1700000000))
        copy = next(finding for finding in self.findings() if finding["about"] == "backup")
        self.assertEqual((copy["finding"], copy["advice"]), ("/ztcfg/yesterday.dat of 2023-11-14 22:13 UTC is whole",
                                                             '"l3ctl restore /ztcfg/yesterday.dat"'))
        # The temporary file of a killed writer is not taken for a backup.
        Path("/ztcfg/l3_advance.dat.next").write_bytes(whole)
        Path("/ztcfg/yesterday.dat.x1Y2z3.next").write_bytes(whole)
        self.assertIn(copy, self.findings())
        self.store(firewall=True, w0=1, w12=42)
        self.assertTrue(any("42" in ill for ill in self.ills("configuration")))

    def test_findings_about_noise_are_limited(self):
        CONFIGURATION.write_bytes(bytes(range(256)) * 58 + bytes(171))
        ills = self.ills("configuration")
        self.assertEqual(len([ill for ill in ills if not ill.startswith("is of a machine")]), 6)
        self.assertRegex(ills[-1], "^and [0-9]+ more$")

    def test_saved_rules(self):
        Path("/ztcfg/firewall.conf").write_text("*filter\n:INPUT ACCEPT [0:0]\n")
        self.assert_only_problem("/ztcfg/firewall.conf", "is cut short")
        Path("/ztcfg/firewall.conf").unlink()
        self.assertEqual(len(self.ills("/ztcfg/firewall.conf", "warning")), 1)

    def test_a_migration_that_is_pending(self):
        Path("/ztcfg/v1_to_v2.flag").touch()
        self.assertEqual(len(self.ills("/ztcfg/v1_to_v2.flag", "warning")), 1)

    def test_a_clock_that_is_not_in_utc(self):
        here = self.environment
        self.environment = lambda: here() | {"TZ": "XYZ-9"}
        self.assertEqual(self.ills("clock", "warning"), ["runs at UTC+0900, and time spans are in UTC"])
        self.settings('{"url_filter": {"enabled": false, "entries": []}}')
        self.assertEqual(self.ills("clock", "warning"), [])

    def test_rules_that_match_nothing(self):
        self.settings("""{"ip6_filter": {"enabled": true, "rules": [
            {"direction": "upstream", "protocol": "tcp", "destination_ports": "80"}]}}""")
        self.assertIn("ip6_filter.rules[0].source: is open, so this rule matches no packet: an IPv6 rule needs both addresses",
                      self.ills("settings", "warning"))

    def test_drift(self):
        self.changed("COMMIT", "[0:0] -A forward_ext_mac -j ACCEPT\nCOMMIT")
        self.assert_only_problem("rules", "differ from the settings in 1 place: IPv4 forward_ext_mac: extra: ACCEPT")
        for change, advice in (
                (("-i wan3 -j forward_ext_ds_ip", "-i wan9 -j forward_ext_ds_ip"), '"l3ctl wan update'),
                (("COMMIT", "[0:0] -A FORWARD -j forward_ext_ip\nCOMMIT"), '"l3ctl init --again"'),
                (("COMMIT", "[0:0] -A FORWARD -p udp -m udp --sport 500 --dport 500 -j DROP\nCOMMIT"),
                 '"l3ctl ipsec off", then "l3ctl ipsec on"'),
                (("COMMIT", "[0:0] -A input_ext_dhcp -j DROP\nCOMMIT"),
                 '"l3ctl dhcp-filter on", then "l3ctl dhcp-filter off"'),
                (("COMMIT", "[0:0] -A forward_ext_mac -j ACCEPT\nCOMMIT"), '"l3ctl firewall on"')):
            self.changed(*change)
            drift = next(finding for finding in self.findings() if finding["about"] == "rules")
            self.assertTrue(drift["advice"].startswith(advice) and drift["advice"].endswith('; "l3ctl check" lists all'), drift)
        self.live("", FRESH6)
        self.assert_only_problem("rules", "IPv4: none of the gateway's chains is there")
        self.hook("iptables-save", '[ "$1" = --version ] || exit 4')
        self.assert_only_problem("rules", "iptables-save ended with 4")

    def test_advice_stands_under_its_finding(self):
        CONFIGURATION.chmod(0o622)
        lines = self.l3ctl("doctor").out.splitlines()
        at = next(number for number, line in enumerate(lines) if line.startswith("problem  "))
        self.assertTrue(lines[at + 1].lstrip().startswith("to do: chmod 600 /ztcfg/l3_advance.dat"), lines[at + 1])
        self.assertEqual(lines[at + 1].index("to do"), lines[at].index("can be written"))


del Rules

if __name__ == "__main__":
    unittest.main()
