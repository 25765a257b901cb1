"""Settings through the console: read, planned, applied, confirmed and taken back."""
import base64
import json
import unittest

from console import Client, ConsoleTest, until
from gateway import CONFIGURATION

DEVICE = {"mac_filter": {"enabled": True, "mode": "black-list", "devices": [{"mac": "02:00:00:00:00:0a", "active": "all day"}]}}


class Changes(ConsoleTest):
    def test_settings_have_an_etag(self):
        first = self.client.get("settings")
        self.assertEqual(first.status, 200)
        self.assertEqual(self.client.get("settings", If_None_Match=first.headers["ETag"]).status, 304)
        self.assertEqual(self.client.apply(DEVICE).status, 200)
        second = self.client.get("settings")
        self.assertNotEqual(first.headers["ETag"], second.headers["ETag"])
        self.assertEqual(second.json["mac_filter"]["devices"], DEVICE["mac_filter"]["devices"])
        self.assert_problem(self.client.apply({"mac_filter": {"enabled": False}}, etag=first.headers["ETag"]), 412, "settings_changed")
        self.assert_problem(self.client.post("apply", DEVICE), 428, "if_match_required")
        self.assertEqual(self.client.get("settings").json, second.json)
        self.assertEqual(self.client.post("apply", {"vpn_pass_through": True}, If_Match="*").status, 200)

    def test_a_change_elsewhere_is_noticed(self):
        etag = self.client.get("settings").headers["ETag"]
        self.assertEqual(self.apply('{"vpn_pass_through": true}').status, 0)
        self.assert_problem(self.client.apply(DEVICE, etag=etag), 412, "settings_changed")

    def test_plan_changes_nothing(self):
        answer = self.client.post("plan", DEVICE)
        self.assertEqual(answer.status, 200, answer)
        self.assertIn("fields", answer.json)
        self.assertNotEqual(answer.json["fields"], [])
        self.assertEqual(self.client.get("settings").json["mac_filter"]["devices"], [])

    def test_wrong_settings_are_named_by_line_path_and_value(self):
        text = '{\n "mac_filter": {\n  "enabled": 1}, "colour": 7\n}'
        for path in ("plan", "apply"):
            answer = self.client.apply(text, path=path)
            errors = self.assert_problem(answer, 422, "settings_invalid").json["errors"]
            self.assertEqual([(one["line"], one["path"], one["value"]) for one in errors],
                             [(3, "mac_filter.enabled", 1), (3, "colour", 7)])  # fmt: skip
            self.assertIn("must be true or false", errors[0]["message"])
        self.assertEqual(self.client.post("plan", '{"a":').json["errors"][0]["line"], 1)
        self.assertEqual(self.client.post("plan", '{"vpn_pass_through": true, "vpn_pass_through": true}').status, 422)
        devices = [{"mac": f"02:00:00:00:00:{number:02x}"} for number in range(11)]
        answer = self.client.post("plan", {"mac_filter": {"enabled": True, "mode": "black-list", "devices": devices}})
        self.assertEqual(self.assert_problem(answer, 422, "settings_invalid").json["errors"][0]["path"], "mac_filter.devices")

    def test_confirmation_is_for_the_session_that_applied(self):
        other = Client()
        other.log_in()
        answer = self.client.apply(DEVICE, "apply?confirm=60")
        self.assertEqual(answer.status, 202, answer)
        self.assertEqual(answer.json["confirm_within"], 60)
        change = {"id": answer.json["id"]}
        confirmation = self.client.get("status").json["confirmation"]
        self.assertEqual((confirmation["state"], confirmation["id"]), ("waiting", change["id"]))
        self.assert_problem(other.apply({"vpn_pass_through": True}), 409, "confirmation_pending")
        for body in ({}, change):
            self.assert_problem(other.post("confirm", body), 403, "not_yours")
            self.assert_problem(other.post("extend?confirm=60", body), 403, "not_yours")
        self.assert_problem(self.client.post("confirm", {"id": "0123456789abcdef"}), 403, "not_yours")
        for wrong in ([], {"id": 1}, {"id": ""}, {"id": change["id"], "more": "x"}, "x"):
            self.assert_problem(self.client.post("confirm", wrong), 422, "body")
        self.assertEqual(self.client.post("confirm", change).json["id"], change["id"])
        self.assertIsNone(self.client.get("status").json["confirmation"])
        self.assertEqual(self.client.get("settings").json["mac_filter"]["enabled"], True)
        self.assert_problem(self.client.post("confirm"), 409, "nothing_pending")

    def test_another_change_than_that_of_the_session_is_not_confirmed(self):
        self.assertEqual(self.client.apply(DEVICE, "apply?confirm=60").status, 202)
        self.assertEqual(self.l3ctl("confirm").status, 0)
        self.assertEqual(self.apply('{"vpn_pass_through": true}', "--confirm", "60").status, 0)
        for path in ("confirm", "extend?confirm=60"):
            self.assertIn("is pending", self.assert_problem(self.client.post(path), 409, "nothing_pending").json["detail"])
        self.assertIsNotNone(self.client.get("status").json["confirmation"])
        self.assert_problem(self.client.post("revert", {"id": "0123456789abcdef"}), 409, "nothing_pending")
        self.assertEqual(self.client.post("revert").status, 200)

    def test_the_time_for_a_confirmation_is_extended(self):
        self.assert_problem(self.client.post("extend?confirm=60"), 403, "not_yours")
        self.assertEqual(self.client.apply(DEVICE, "apply?confirm=20").status, 202)
        self.assertEqual(self.client.post("extend?confirm=600").json["confirm_within"], 600)
        self.assertGreater(self.client.get("status").json["confirmation"]["seconds_left"], 500)
        for seconds in ("", "0", "3601", "x", "60%20--revert"):
            self.assert_problem(self.client.post(f"extend?confirm={seconds}"), 422, "confirm_seconds")
        self.assert_problem(self.client.post("extend"), 422, "confirm_seconds")
        self.assertEqual(self.client.post("confirm").status, 200)
        self.assert_problem(self.client.post("extend?confirm=60"), 409, "nothing_pending")

    def test_history_and_undo(self):
        self.assertEqual(self.client.get("history").json["changes"], [])
        program = Client()
        program.token = self.client.post("tokens", {"name": "job", "scope": "apply"}).json["token"]
        first = self.client.apply(DEVICE).json["id"]
        second = program.apply({"vpn_pass_through": True}).json["id"]
        changes = self.client.get("history").json["changes"]
        self.assertEqual([(one["id"], one["who"], one["origin"]) for one in changes],
                         [(second, "token job", "console"), (first, "session from 127.0.0.1", "console")])  # fmt: skip
        self.assertEqual([field["path"] for field in changes[0]["fields"]], ["vpn_pass_through"])
        answer = self.client.post("undo?confirm=60", {"id": first})
        self.assertEqual((answer.status, answer.json["undone"]), (202, first), answer)
        settings = self.client.get("settings").json
        self.assertEqual((settings["vpn_pass_through"], settings["mac_filter"]["devices"]), (False, []))
        self.assertEqual(self.client.post("confirm", {"id": answer.json["id"]}).status, 200)
        self.assertEqual(self.client.post("undo", {"id": answer.json["id"]}).status, 200)
        self.assertTrue(self.client.get("settings").json["vpn_pass_through"])
        self.assert_problem(self.client.post("undo", {"id": "0123456789abcdef"}), 422, "refused")
        for wrong in ({}, {"id": ""}, {"id": "1"}, {"id": "--help"}, {"id": 1}, []):
            self.assert_problem(self.client.post("undo", wrong), 422, "body")
        self.assert_problem(self.client.post("undo?confirm=0", {"id": first}), 422, "confirm_seconds")

    def test_any_session_may_take_a_change_back(self):
        other = Client()
        other.log_in()
        self.assertEqual(self.client.apply(DEVICE, "apply?confirm=60").status, 202)
        self.assert_problem(other.post("revert", {"id": "x"}), 422, "body")
        self.assertEqual(other.post("revert", {"id": self.client.get("status").json["confirmation"]["id"]}).status, 200)
        self.assertEqual(self.client.get("settings").json["mac_filter"]["devices"], [])
        self.assert_problem(other.post("revert"), 409, "nothing_pending")

    def test_without_a_confirmation_the_old_settings_come_back(self):
        self.assertEqual(self.client.apply(DEVICE, "apply?confirm=1").status, 202)
        self.assertTrue(until(lambda: self.client.get("settings").json["mac_filter"]["devices"] == []))

    def test_seconds_out_of_bounds(self):
        for seconds in ("0", "3601", "x", "1;id", "-5", "%31"):
            self.assert_problem(self.client.apply(DEVICE, f"apply?confirm={seconds}"), 422, "confirm_seconds")
        self.assertEqual(self.client.get("settings").json["mac_filter"]["devices"], [])

    def test_a_refused_rule(self):
        self.refuse("iptables -A forward_ext_mac -i br0 -m mac --mac-source 02:00:00:00:00:0a"
                    " -m time --timestart 0:0 --timestop 23:59 -j DROP")  # fmt: skip
        settings = {"firewall": {"enabled": True}, **DEVICE}
        answer = self.client.apply(settings)
        self.refuse()
        self.assertIn("mac_filter", self.assert_problem(answer, 422, "rule_refused").json["failed_rules"][0]["setting"])
        self.assertEqual(self.client.get("settings").json["mac_filter"]["devices"], [])

    def test_backup_and_restore(self):
        before = CONFIGURATION.read_bytes()
        backup = self.client.get("backup").json
        self.assertEqual(base64.b64decode(backup["backup"]), before)
        self.client.apply(DEVICE)
        self.assertEqual(self.client.post("restore", backup).status, 200)
        self.assertEqual(self.client.get("settings").json["mac_filter"]["devices"], [])
        for wrong in ({"backup": ""}, {"backup": "!"}, {"backup": 1}, {}, [], {"backup": base64.b64encode(b"x" * 70000).decode()}):
            self.assert_problem(self.client.post("restore", wrong), 422, "body")
        answer = self.client.post("restore", {"backup": base64.b64encode(b"not a backup").decode()})
        self.assertGreaterEqual(answer.status, 409, answer)
        self.assertEqual(self.client.get("settings").json["mac_filter"]["devices"], [])

    def test_explain(self):
        packet = {"from": "lan", "to": "wan", "protocol": "tcp", "source": "192.168.1.10", "destination": "203.0.113.2", "destination_port": 443}
        self.assertEqual(self.client.post("explain", packet).json["outcome"], "accepted")
        self.assertEqual(self.client.post("explain", json.dumps(packet, indent=1)).status, 200)
        self.assertEqual(self.client.post("explain", {**packet, "from": "mars"}).status, 422)
        for wrong in ("[]", "x", '{"a": {}}', '{"a": [1]}', json.dumps({"a": "x" * 5000})):
            self.assert_problem(self.client.post("explain", wrong), 422, "body")

    def test_devices_and_those_that_are_blocked(self):
        self.assertEqual(self.client.get("devices").json["others"]["ipv4"]["outcome"], "accepted")
        self.assertEqual(self.client.get("blocked").json["devices"], [])
        self.assertEqual(self.client.apply({"firewall": {"enabled": True}, **DEVICE}).status, 200)
        for path in ("devices", "blocked"):
            [device] = self.client.get(path).json["devices"]
            self.assertEqual(device["mac"], "02:00:00:00:00:0a")
            self.assertEqual(device["settings"]["ipv4"]["decided_by"], "mac_filter.devices[0]")

    def test_explain_a_device(self):
        def ask(**body):
            return self.client.post("explain", {"device": "02:00:00:00:00:0a", **body})

        draft = {"firewall": {"enabled": True}, **DEVICE}
        self.assertEqual(ask().json["outcome"], "accepted")
        self.assertTrue(ask().json["day"])
        self.assertEqual(ask(settings=draft).json["decided_by"], "mac_filter.devices[0]")
        for destination in ("203.0.113.2", "example.com:80", "[2001:db8::1]:443"):
            self.assertEqual(ask(destination=destination).json["outcome"], "accepted")
            drafted = ask(destination=destination, settings=draft).json
            # The filter of hardware addresses is one of IPv4.
            outcome = "accepted" if "[" in destination else "dropped"
            self.assertEqual((drafted["outcome"], drafted["device"]["mac"]), (outcome, "02:00:00:00:00:0a"))
            self.assertNotIn("day", drafted)
        # Nothing of the draft is kept.
        self.assertEqual(ask().json["outcome"], "accepted")
        errors = self.assert_problem(ask(settings={"mac_filter": {"enabled": 1}}), 422, "settings_invalid").json["errors"]
        self.assertEqual([(one["path"], one["value"]) for one in errors], [("mac_filter.enabled", 1)])
        self.assert_problem(ask(settings=[]), 422, "settings_invalid")
        self.assertIn("HOST", self.assert_problem(ask(destination="x:y:z"), 422, "refused").json["detail"])
        self.assertIn("DEVICE", self.assert_problem(ask(device="no-such"), 422, "refused").json["detail"])
        for wrong in ({"device": "--help"}, {"device": "a b"}, {"device": ""}, {"device": 1}, {"device": "x" * 65}, {"more": "x"},
                      {"destination": 1}, {"destination": ""}, {"destination": "-x"}, {"destination": "a b"}, {"destination": "a" * 300}):
            self.assert_problem(ask(**wrong), 422, "body")


if __name__ == "__main__":
    unittest.main()
