"""The collection against gateways over ssh: each change confirmed over a new connection, or rolled back."""

import json
import os
import signal
import unittest

import controller
import gateways
from controller import play, run, task
from gateways import wait_until

COUNT = 50 if os.environ.get("L3_TEST_FULL") else 3
# The management comes in by the Internet WAN, which port-scan protection keeps out.
LOCK_OUT = {"firewall": {"enabled": True}, "port_scan_protection": True}
RESTORE_TIMEOUT = 20
SHORT = 5  # seconds for a confirmation that does not come


def names(*hosts):
    return {"url_filter": {"enabled": True, "entries": [{"host": host, "active": "08:00-21:30"} for host in hosts]}}


class Fleet(unittest.TestCase):
    daemon = gateways.DROPBEAR
    count = COUNT
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.fleet = cls.enterClassContext(gateways.Fleet(cls.count, cls.daemon))
        controller.prepare(cls.fleet)
        cls.start = [gateway.stored() for gateway in cls.fleet.gateways]

    def setUp(self):
        self.gateways = self.fleet.gateways
        for gateway in self.gateways:
            gateway.end_troubles()
            gateway.l3ctl("url-filter", "clear")
            gateway.l3ctl("url-filter", "off")
            gateway.starts()
        self.before = self.stored()

    def stored(self):
        return [gateway.stored() for gateway in self.gateways]

    def hosts(self):
        """The names that each gateway filters."""
        filters = [json.loads(one.l3ctl("show", "url_filter", "--json").stdout)["url_filter"] for one in self.gateways]
        return [[entry["host"] for entry in one["entries"]] for one in filters]

    def pending(self):
        """The gateways where a change waits for its confirmation."""
        return [gateway for gateway in self.gateways if (gateway.place / "ztcfg/l3ctl.pending").exists()]

    def starts(self):
        return [len(gateway.starts()) for gateway in self.gateways]

    def starts_so_far(self, command):
        return [(gateway.place / "starts").read_text(encoding="utf-8").count(command) for gateway in self.gateways]

    def assert_all(self, results, state, count=None, **values):
        """One result for each gateway, alike."""
        wanted = self.gateways[:count]
        self.assertEqual(sorted((one.host, one.state) for one in results), sorted((one.name, state) for one in wanted), results)
        for one in results:
            self.assertEqual({name: one[name] for name in values}, values, one)

    def assert_nothing_changed(self):
        self.assertEqual(self.pending(), [])
        self.assertEqual([file["l3_advance.dat"] for file in self.stored()], [file["l3_advance.dat"] for file in self.before])


class Changes(Fleet):
    def test_a_change_is_confirmed_and_a_second_run_changes_nothing(self):
        wanted = names("example.com")
        self.assert_all(run(play(task("settings", config=wanted))), "CHANGED", changed=True, confirmed=True)
        self.assertEqual(self.hosts(), [["example.com"]] * self.count)
        self.assertEqual(self.pending(), [])
        for gateway in self.gateways:
            self.assertEqual(json.loads(gateway.l3ctl("history", "1", "--json").stdout)["changes"][0]["who"], "ansible")
        self.starts()
        before = self.stored()
        for options in ([], ["--diff"], ["--check"]):
            self.assert_all(run(play(task("settings", config=wanted)), *options), "SUCCESS", changed=False)
            self.assertEqual(self.starts(), [1] * self.count)
        self.assertEqual(self.stored(), before)

    def test_check_mode_writes_nothing_and_diff_mode_shows_fields(self):
        results = run(play(task("settings", config=names("example.com"))), "--check", "--diff")
        shown = 'url_filter.enabled: false -> true\nurl_filter.entries[0]: nothing -> ' \
            '{"host": "example.com", "active": "08:00-21:30"}\n'
        self.assert_all(results, "CHANGED", changed=True)
        self.assertEqual(results.text.count(shown), self.count, results.text)
        self.assertEqual(self.stored(), self.before)

    def test_one_wrong_field_changes_no_gateway(self):
        wrong = ((names("example.com", "-.example"), "url_filter.entries[1].host"),
                 ({"url_filter": {"enabled": True, "mode": "grey-list"}}, "url_filter"),
                 ({"urlfilter": {}}, "urlfilter"))  # fmt: skip
        results = run(play(*({**task("settings", config=wanted), "ignore_errors": True} for wanted, _ in wrong)))
        self.assertEqual(len(results), len(wrong) * self.count)
        for place, (_, said) in enumerate(wrong):
            for one in results[place * self.count:(place + 1) * self.count]:
                self.assertEqual(one.state, "FAILED", one)
                self.assertIn(said, one["msg"])
        self.assert_nothing_changed()


class Unreachable(Fleet):
    def test_a_setting_that_blocks_ssh_is_rolled_back(self):
        results = run(play(task("settings", config=LOCK_OUT, confirm_timeout=SHORT)), ANSIBLE_TIMEOUT="2")
        self.assert_all(results, "FAILED", changed=False, reverted=True)
        self.assert_nothing_changed()

    def test_a_killed_controller_leaves_nothing_unconfirmed(self):
        for gateway in self.gateways:
            gateway.trouble("hold")
        process = controller.start(play(task("settings", config=names("example.com"), confirm_timeout=SHORT)))
        wait_until(lambda: len(self.pending()) == self.count, "not every gateway has the change", 180)
        os.killpg(process.pid, signal.SIGKILL)
        process.communicate()
        wait_until(lambda: self.pending() == [], "not every gateway rolls back", 180)
        self.assert_nothing_changed()

    def test_a_gateway_that_loses_power_in_between_starts_with_the_old_settings(self):
        victim = self.gateways[0]
        victim.trouble("hold")
        process = controller.start(play(task("settings", config=names("example.com"), confirm_timeout=300)))
        wait_until(lambda: victim in self.pending(), "the gateway has not got the change", 180)
        victim.cut_power()
        victim.end_troubles()
        victim.start()
        victim.wait()
        text, _ = process.communicate(timeout=300)
        states = {one.host: one.state for one in controller.results_of(text)}
        self.assertEqual(states.pop(victim.name), "FAILED", text)
        self.assertEqual(set(states.values()), {"CHANGED"})
        self.assertEqual(self.hosts(), [[]] + [["example.com"]] * (self.count - 1))
        self.assertEqual(self.pending(), [])

    def test_two_controllers_at_once(self):
        for gateway in self.gateways:
            gateway.trouble("hold")
        first = controller.start(play(task("settings", config=names("first.example"), confirm_timeout=300)))
        wait_until(lambda: len(self.pending()) == self.count, "not every gateway has the change", 180)
        hasty = run(play(task("settings", config=names("hasty.example"), busy_timeout=0)))
        self.assert_all(hasty, "FAILED", rc=5)
        self.assertIn("confirm", hasty[0]["msg"])
        second = controller.start(play(task("settings", config=names("patient.example"), confirm_timeout=300)), name="2.json")
        wait_until(lambda: all(count > 2 for count in self.starts_so_far("apply")), "the second does not try", 180)
        for gateway in self.gateways:
            gateway.end_troubles()
        for process in (first, second):
            text, _ = process.communicate(timeout=300)
            self.assert_all(controller.results_of(text), "CHANGED", confirmed=True)
        self.assertEqual(self.hosts(), [["patient.example"]] * self.count)


class Trouble(Fleet):
    """What goes wrong on the way, another thing on each gateway: the task fails with the gateway's own words, and
    nothing stays unconfirmed."""

    count = 3

    def change(self, *options, **more):
        results = run(play(task("settings", config=names("example.com"), confirm_timeout=20)), *options, **more)
        by_host = {one.host: one for one in results}
        self.assertEqual(self.pending(), [])
        return [by_host[gateway.name] for gateway in self.gateways]

    def console(self, gateway, script):
        gateways.run(*gateway.inside(), "sh", "-c", script, check=False)

    def test_what_the_gateway_refuses(self):
        rootless, bare, full = self.gateways
        rootless.trouble("no_root")
        self.console(bare, "mv /usr/local/sbin/l3ctl /usr/local/sbin/elsewhere")
        self.console(full, "mount -t tmpfs -o size=40k none /ztcfg && cp /fleet/ztcfg/* /ztcfg; cat /dev/zero >/ztcfg/full")
        try:
            results = self.change()
        finally:
            self.console(bare, "mv /usr/local/sbin/elsewhere /usr/local/sbin/l3ctl")
            self.console(full, "umount /ztcfg")
        for one, said in zip(results, ("must be root", "there is no l3ctl on the gateway", "No space left"), strict=True):
            self.assertEqual(one.state, "FAILED")
            self.assertIn(said, one["msg"])
        self.assert_nothing_changed()

    def test_a_connection_that_is_cut(self):
        steps = ("apply before", "apply after", "confirm before")
        for gateway, step in zip(self.gateways, steps, strict=True):
            gateway.trouble("cut_at", step)
        results = self.change()
        self.assertEqual([one.state for one in results], ["FAILED", "FAILED", "CHANGED"], results)
        self.assertEqual([one["reverted"] for one in results], [True, True, None])
        self.assertEqual(self.hosts(), [[], [], ["example.com"]])

    def test_an_answer_that_is_lost(self):
        early, late, cut = self.gateways
        early.trouble("cut_answer", "apply")
        late.trouble("cut_at", "confirm after")
        cut.trouble("cut_answer", "confirm")
        results = self.change()
        self.assertEqual([one.state for one in results], ["FAILED", "CHANGED", "CHANGED"], results)
        self.assertIn("cut short", results[0]["msg"])
        self.assertEqual(self.hosts(), [[], ["example.com"], ["example.com"]])
        # A plan is no change, and half of it no plan.
        early.trouble("cut_answer", "diff")
        self.assertEqual([one.state for one in self.change("--check")], ["FAILED", "SUCCESS", "SUCCESS"])

    def test_unknown_host_keys(self):
        nothing = controller.SSH_ARGS.replace(str(gateways.KNOWN_HOSTS), "/dev/null")
        for one in self.change(ANSIBLE_SSH_ARGS=nothing, ANSIBLE_SSH_CONTROL_PATH_DIR=str(gateways.PLACE / "new")):
            self.assertEqual(one.state, "UNREACHABLE")
            self.assertIn("Host key verification failed", one["msg"])
        self.assertEqual(self.starts(), [0] * self.count)
        self.assert_nothing_changed()


class Modules(Fleet):
    count = 3

    def results(self, *tasks):
        """What the tasks return on the first gateway."""
        return [one for one in run(play(*tasks)) if one.host == self.gateways[0].name]

    def test_entries(self):
        entry = {"host": "one.example", "active": "20:00-22:00"}
        added, again, changed, gone, absent = self.results(
            task("entry", list="url_filter", entry=entry),
            task("entry", list="url_filter", entry=entry),
            task("entry", list="url_filter", entry={**entry, "active": "21:00-22:00"}),
            task("entry", list="url_filter", entry={"host": "one.example"}, state="absent"),
            task("entry", list="url_filter", entry={"host": "one.example"}, state="absent"),
        )
        for one, state in ((added, True), (again, False), (changed, True), (gone, True), (absent, False)):
            self.assertEqual((one.state, one["changed"]), ("CHANGED" if state else "SUCCESS", state), one)
        self.assertTrue(added["confirmed"])
        self.assertEqual(self.hosts(), [[]] * self.count)
        # Read and write, or read alone where there is nothing to do; and a confirmation for each change.
        self.assertEqual(self.starts(), [3 + 1 + 3 + 3 + 1] * self.count)

    def test_entries_of_lists_that_are_addresses_alone(self):
        device = {"mac": "02:00:00:00:00:AB"}
        results = self.results(
            task("entry", list="dhcp_filter", entry=device),
            task("entry", list="dhcp_filter", entry={"mac": "02:00:00:00:00:ab"}),
            task("entry", list="dhcp_filter", entry=device, state="absent"),
            task("entry", list="captive_portal", entry={"destination": "192.0.2.1", "enabled": False}),
            task("entry", list="captive_portal", entry={"destination": "192.0.2.1"}, state="absent"),
        )
        self.assertEqual([one["changed"] for one in results], [True, False, True, True, True], results)

    def test_a_wrong_entry_changes_nothing(self):
        wrong = (({"hosts": "x"}, "hosts"), ({"active": "all day"}, "host"), ({"host": "-"}, "url_filter.entries[0].host"))
        results = self.results(*({**task("entry", list="url_filter", entry=entry), "ignore_errors": True} for entry, _ in wrong))
        for one, (_, said) in zip(results, wrong, strict=True):
            self.assertEqual(one.state, "FAILED")
            self.assertIn(said, one["msg"])
        self.assert_nothing_changed()

    def test_info_reads_and_changes_nothing(self):
        one, = self.results(task("info", gather=["version", "settings", "status", "rules", "check", "doctor"]))
        self.assertEqual(one.state, "SUCCESS")
        told = one["l3"]
        self.assertFalse(told["settings"]["url_filter"]["enabled"])
        self.assertTrue(told["doctor"]["healthy"], told["doctor"])
        self.assertTrue(told["check"]["follows"])
        self.assertEqual(told["status"]["internet_wan"], "wan3")
        self.assertRegex(told["version"]["l3ctl"], r"^\d+\.")
        self.assert_nothing_changed()

    def test_backup_and_restore(self):
        file = str(gateways.PLACE / "{{ inventory_hostname }}.dat")
        kept, again, _, put_back, same = self.results(
            task("backup", dest=file), task("backup", dest=file), task("settings", config=names("example.com")),
            task("restore", src=file, confirm_timeout=RESTORE_TIMEOUT), task("restore", src=file, confirm_timeout=RESTORE_TIMEOUT),
        )  # fmt: skip
        self.assertEqual([one["changed"] for one in (kept, again, put_back, same)], [True, False, True, False])
        for gateway in self.gateways:
            self.assertEqual((gateways.PLACE / f"{gateway.name}.dat").read_bytes(), gateway.stored()["l3_advance.dat"])
        self.assert_nothing_changed()


class Playbooks(Fleet):
    def variables(self, **values):
        return ["-e", json.dumps(values)]

    def test_a_rollout_reaches_all_and_reports(self):
        report = gateways.PLACE / "report"
        report.mkdir(exist_ok=True)
        options = self.variables(rollout_settings=names("example.com"), rollout_report=str(report))
        run("l3_advance.gateway.rollout", *options)
        self.assertEqual(self.hosts(), [["example.com"]] * self.count)
        for gateway in self.gateways:
            told = json.loads((report / f"{gateway.name}.json").read_text(encoding="utf-8"))
            self.assertTrue(told["change"]["confirmed"])
            self.assertTrue(told["health"]["l3"]["doctor"]["healthy"])

    def test_a_rollout_stops_at_the_first_gateway(self):
        self.gateways[0].trouble("cut_at", "apply before")
        results = run("l3_advance.gateway.rollout", *self.variables(rollout_settings=names("example.com")))
        self.assertEqual([one.host for one in results if one.state == "FAILED"], [self.gateways[0].name])
        self.assert_nothing_changed()
        # Version and plan, nothing else.
        self.assertEqual(self.starts()[1:], [2] * (self.count - 1))

    def test_a_rollout_of_wrong_settings_or_for_another_version_stops_before_any_change(self):
        for more, starts in (({"rollout_settings": names("-")}, 2),
                             ({"rollout_settings": names("example.com"), "rollout_versions": ["11"]}, 1)):  # fmt: skip
            results = run("l3_advance.gateway.rollout", *self.variables(**more))
            self.assertEqual(sum(one.state == "FAILED" for one in results), self.count)
            self.assertEqual(self.starts(), [starts] * self.count)
        self.assert_nothing_changed()

    def test_bedtime(self):
        other, device = ({"mac": f"02:00:00:00:00:0{number}", "active": "20:30-06:00"} for number in (1, 2))
        for gateway in self.gateways:
            gateway.l3ctl("mac-filter", "add", other["mac"])
        options = self.variables(bedtime_devices=[device])
        for changed in (True, False):
            results = run("l3_advance.gateway.bedtime", *options)
            self.assertEqual([one["changed"] for one in results if "applied" in one.values or "unchanged" in one.values],
                             [changed] * self.count)  # fmt: skip
        for gateway in self.gateways:
            told = json.loads(gateway.l3ctl("export").stdout)
            for section in ("mac_filter", "mac6_filter"):
                self.assertEqual([one["mac"] for one in told[section]["devices"]], [other["mac"], device["mac"]])
            self.assertTrue(told["firewall"]["enabled"] and told["mac_filter"]["enabled"])


class OpenSsh(Fleet):
    daemon = gateways.OPENSSH
    count = 1

    def test_a_change_and_a_lock_out(self):
        self.assert_all(run(play(task("settings", config=names("example.com")))), "CHANGED", confirmed=True)
        results = run(play(task("settings", config=LOCK_OUT, confirm_timeout=SHORT)), ANSIBLE_TIMEOUT="2")
        self.assert_all(results, "FAILED", changed=False, reverted=True)
        self.assertEqual(self.pending(), [])


if __name__ == "__main__":
    unittest.main()
