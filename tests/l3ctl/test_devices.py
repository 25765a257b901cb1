"""l3ctl devices, blocked, and the names of devices: sources, merging, hostile texts, /etc/ethers."""
import json
import os
import subprocess
import unittest

from gateway import L3CTL, Outcome
from home import CAMERA, ETHERS, LEASES, NEIGHBOURS, PHONE, TABLET, Home, lease, neighbour, span

BLOCK = '{"firewall": {"enabled": true}, "mac_filter": {"enabled": true, "devices": [{"mac": "%s", "active": "%s"}]}}'


class Sources(Home):
    def test_sources_are_merged_by_hardware_address(self):
        self.usual()
        devices, notes = self.devices()
        self.assertEqual(notes, [])
        self.assertEqual(list(devices), [PHONE, TABLET, CAMERA])
        tablet = devices[TABLET]
        self.assertEqual((tablet["name"], tablet["given_name"], tablet["own_name"]), ("tablet", "tablet", "android-77"))
        self.assertEqual((tablet["ipv4"], tablet["ipv6"]), (["192.168.1.20"], ["fd00:1::20", "fe80::20"]))
        self.assertEqual([device["locally_administered"] for device in devices.values()], [True, True, False])
        self.assertRegex(tablet["last_seen"], r"^20\d\d-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
        self.assertEqual((devices[PHONE]["name"], devices[CAMERA]["name"]), ("Pias-Phone", None))

    def test_as_text(self):
        self.usual()
        lines = self.l3ctl("devices").out.splitlines()
        self.assertEqual(lines[0].split(), ["name", "MAC", "addresses", "last", "seen", "settings"])
        self.assertRegex(lines[2], r"^  tablet +02:00:00:00:01:20 \(randomised\)  192\.168\.1\.20, fd00:1::20, fe80::20  "
                                   r"\d+ s ago +open$")
        self.assertRegex(lines[3], r"^  - +00:1b:21:00:00:07 +192\.168\.1\.7 +\d+ s ago +open$")

    def test_a_device_by_ipv6_alone(self):
        self.neighbours(neighbour(PHONE, "fd00:1::21"))
        devices, _ = self.devices()
        self.assertEqual((devices[PHONE]["ipv4"], devices[PHONE]["ipv6"]), ([], ["fd00:1::21"]))
        self.assertEqual(self.l3ctl("mac-filter", "add", "fd00:1:0::21").status, 0)
        self.assertEqual(self.stored_macs("mac6_filter"), [PHONE])

    def test_a_lease_that_is_over_names_its_device_and_has_no_address(self):
        LEASES.write_text(lease(PHONE, "192.168.1.21", "phone", end=1700000000) + lease(TABLET, "192.168.1.21", "tablet", end=43200))
        devices, _ = self.devices()
        self.assertEqual((devices[PHONE]["name"], devices[PHONE]["ipv4"]), ("phone", []))
        self.assertEqual(devices[TABLET]["ipv4"], ["192.168.1.21"])

    def test_lease_files_are_configurable(self):
        LEASES.write_text(lease(PHONE, "192.168.1.21", "phone"))
        one = "/tmp/one.leases"
        with open(one, "w", encoding="ascii") as file:
            file.write(lease(TABLET, "192.168.1.20", "tablet") + "duid 00:01\n17 fd00::1 phone 00:01\n")
        done = subprocess.run([L3CTL, "--json", "devices"], capture_output=True, check=False,
                              env={**self.environment(), "L3CTL_LEASES": f"/tmp/none:{one}"})
        answer = json.loads(done.stdout)
        self.assertEqual([device["name"] for device in answer["devices"]], ["tablet"])
        self.assertEqual(answer["notes"], [])

    def test_damaged_sources_are_noted_and_the_rest_is_shown(self):
        LEASES.write_bytes(b"\0\xff\n" + lease(TABLET, "192.168.1.20", "tablet").encode() + b"x" * 5000 + b" y z\n1 2 3 4\n")
        NEIGHBOURS.write_text('[{"dst": 7, "lladdr": "02:00:00:00:01:21"}, 8, {"dst": "192.168.1.9", "state": ["FAILED"]}, {"dst"')
        ETHERS.mkdir()
        devices, notes = self.devices()
        self.assertEqual([device["name"] for device in devices.values()], ["tablet"])
        self.assertEqual(notes, ["the neighbour table was not read: this ip writes no JSON",
                                 "/tmp/dhcp.leases: 3 lines are no leases",
                                 "/etc/ethers: is a directory, not a regular file"])
        ETHERS.rmdir()
        NEIGHBOURS.write_text('[{"dst": 7, "lladdr": "02:00:00:00:01:21"}, 8, {"dst": "192.168.1.9", "state": ["FAILED"]}]')
        self.assertEqual(list(self.devices()[0]), [TABLET])

    def test_a_huge_lease_file_is_read_in_part(self):
        with open(LEASES, "w", encoding="ascii") as file:
            for number in range(30000):
                file.write(lease(f"02:00:00:01:{number >> 8:02x}:{number & 255:02x}", "192.168.1.20", "n"))
        devices, notes = self.devices()
        self.assertGreater(len(devices), 10000)
        self.assertEqual(notes, ["/tmp/dhcp.leases: only its first MiB was read"])

    def test_a_pipe_for_a_lease_file_is_not_waited_for(self):
        os.mkfifo(LEASES)
        self.assertIn("pipe", " ".join(self.devices()[1]))

    def test_without_ip(self):
        self.usual()
        hidden = self.hide_ip()
        done = Outcome(subprocess.run([*hidden, L3CTL, "--json", "devices"], capture_output=True, check=False,
                                      env=self.environment()))
        answer = json.loads(done.out)
        self.assertEqual([device["name"] for device in answer["devices"]], ["Pias-Phone", "tablet"])
        self.assertRegex(answer["notes"][0], "^the neighbour table was not read: ip is not in /tmp/tools, ")

    def test_ip_that_fails(self):
        (NEIGHBOURS.parent / "tools/ip").write_text("#!/bin/sh\necho 'Cannot find device \"br0\"' >&2\nexit 1\n")
        self.assertEqual(self.devices()[1], ['the neighbour table was not read: ip ends with 1: Cannot find device "br0"'])


class Hostile(Home):
    def test_names_of_devices_are_escaped_everywhere(self):
        name = b"\x1b[31mred\xe2\x80\xae\xff$(reboot)`id`"
        LEASES.write_bytes(lease(PHONE, "192.168.1.21").encode().replace(b" * ", b" " + name + b" "))
        text = self.l3ctl("devices")
        self.assertIn(r"\x1b[31mred\u202e\xff$(reboot)`id`", text.out)
        as_json = self.l3ctl("--json", "devices").out
        for output in (text.out, text.err, as_json):
            self.assertNotRegex(output, "[\x1b\x7f-\x9f\u202e]")
        self.assertTrue(json.loads(as_json)["devices"][0]["own_name"].startswith("\x1b[31mred\u202e"))
        found = self.l3ctl("mac-filter", "add", "192.168.1.21")
        self.assertIn(r'note: "192.168.1.21" is 02:00:00:00:01:21 (\x1b[31mred\u202e', found.err)
        # No record and no command line has it.
        self.assertEqual(self.stored_macs(), [PHONE])
        self.assertNotIn("reboot", " ".join(self.commands()))
        self.assertEqual(self.l3ctl("mac-filter", "delete", name).status, 2)

    def test_a_name_that_looks_like_an_address_is_none(self):
        for name in (TABLET, TABLET.replace(":", "-"), "020000000120", "192.168.1.20", "fd00::20", "3"):
            with self.subTest(name):
                self.neighbours()
                LEASES.write_text(lease(PHONE, "192.168.1.21", name))
                outcome = self.l3ctl("mac-filter", "--ipv4", "add", name)
                self.assertEqual(self.stored_macs(), [TABLET] if outcome.status == 0 else [])
                self.l3ctl("mac-filter", "clear")

    def test_a_device_cannot_take_a_name_that_people_gave(self):
        self.usual()
        LEASES.write_text(lease(PHONE, "192.168.1.21", "TABLET"))
        outcome = self.l3ctl("mac-filter", "--ipv4", "add", "Tablet")
        self.assertEqual((outcome.status, self.stored_macs()), (0, [TABLET]))


class Words(Home):
    def test_every_way_to_write_a_hardware_address(self):
        for text in ("02-00-00-00-01-2F", "02000000012f", "02:00:00:00:01:2F"):
            with self.subTest(text):
                self.assertEqual(self.l3ctl("mac-filter", "--ipv4", "add", text).err.count("is 02"), 0)
                self.assertEqual(self.stored_macs(), ["02:00:00:00:01:2f"])
                self.assertEqual(self.l3ctl("mac-filter", "delete", text.upper()).status, 0)
        self.assertEqual(self.apply('{"dhcp_filter": {"enabled": true, "devices": ["02-00-00-00-01-2F", "02000000013F"]}}').status, 0)
        self.assertEqual(json.loads(self.l3ctl("export").out)["dhcp_filter"]["devices"],
                         ["02:00:00:00:01:2f", "02:00:00:00:01:3f"])
        self.assertFalse(self.asked(), "sources are read for what is no hardware address alone")
        for text in ("02-00:00-00-01-2f", "02:00:00:00:01", "0200000001", "02:00:00:00:01:2g"):
            outcome = self.l3ctl("mac-filter", "add", text)
            self.assertEqual((outcome.status, self.stored_macs()), (2, []), text)
            self.assertIn(f'mac-filter: "{text}" is not allowed; it must be ', outcome.err)
        for text in ("00-00-00-00-00-00", "ffffffffffff"):
            outcome = self.l3ctl("mac-filter", "add", text)
            self.assertEqual((outcome.status, self.stored_macs()), (2, []), text)
            self.assertIn("mac_filter.devices[0].mac: ", outcome.err)

    def test_a_name_an_address_and_what_they_stand_for(self):
        self.usual()
        for word, mac, beside in (("tablet", TABLET, "by /etc/ethers"), ("android-77", TABLET, "192.168.1.20, fd00:1::20, fe80::20"),
                                  ("pias-phone", PHONE, "192.168.1.21"), ("192.168.1.7", CAMERA, None),
                                  ("FD00:1::20", TABLET, "tablet")):
            with self.subTest(word):
                outcome = self.l3ctl("dhcp-filter", "add", word)
                shown = mac + (f" ({beside})" if beside else "")
                self.assertIn(f'l3ctl: note: "{word}" is {shown}\n', outcome.err)
                self.assertEqual(json.loads(self.l3ctl("export").out)["dhcp_filter"]["devices"], [mac])
                self.assertEqual(self.l3ctl("dhcp-filter", "delete", word).out, "dhcp-filter: deleted 1 entry\n")

    def test_an_ambiguous_name_changes_nothing(self):
        LEASES.write_text(lease(TABLET, "192.168.1.20", "phone") + lease(PHONE, "192.168.1.21", "Phone"))
        for arguments in (("add", "phone"), ("delete", "phone")):
            outcome = self.l3ctl("mac-filter", *arguments)
            self.assertEqual(outcome.status, 2)
            self.assertIn(f'"phone" stands for 2: {PHONE} (192.168.1.21), {TABLET} (192.168.1.20); nothing was changed',
                          outcome.err)
        self.assert_untouched()

    def test_an_unknown_name_says_what_could_not_be_read(self):
        NEIGHBOURS.write_text("no JSON")
        outcome = self.l3ctl("mac-filter", "add", "tablet")
        self.assertEqual(outcome.status, 2)
        self.assertIn("none is known by this one (the neighbour table was not read: this ip writes no JSON)", outcome.err)
        self.assert_untouched()

    def test_a_settings_file_takes_names_that_people_gave_alone(self):
        self.usual()
        outcome = self.apply(BLOCK % ("tablet", "all day"))
        self.assertEqual((outcome.status, self.stored_macs()), (0, [TABLET]))
        self.assertEqual(outcome.err.count(f'note: "tablet" is {TABLET} (by /etc/ethers)'), 1)
        self.assertFalse(self.asked())
        for word in ("pias-phone", "192.168.1.21"):
            outcome = self.apply(BLOCK % (word, "all day"))
            self.assertEqual((outcome.status, self.stored_macs()), (2, [TABLET]))
            self.assertIn(f'mac_filter.devices[0].mac: "{word}" is not allowed; it must be ', outcome.err)
        ETHERS.write_text(f"{TABLET} tablet\n{PHONE} tablet\n")
        outcome = self.apply(BLOCK % ("tablet", "all day"))
        self.assertEqual((outcome.status, self.stored_macs()), (2, [TABLET]))
        self.assertIn(f'"tablet" stands for 2: {TABLET} (by /etc/ethers), {PHONE} (by /etc/ethers)', outcome.err)


class Lists(Home):
    def test_lists_show_the_names_that_people_gave(self):
        ETHERS.write_text(f"{TABLET} tablet\n")
        self.apply('{"mac_filter": {"enabled": true, "devices": [{"mac": "tablet"}, {"mac": "%s"}]}, '
                   '"dhcp_filter": {"enabled": true, "devices": ["tablet"]}}' % PHONE)
        for arguments, name in ((("mac-filter", "--ipv4", "list"), "all day  tablet"), (("show", "dhcp_filter"), f"{TABLET}  tablet")):
            self.assertIn(name + "\n", self.l3ctl(*arguments).out)
        self.assertNotIn("tablet", self.l3ctl("export").out)
        ETHERS.unlink()
        ETHERS.mkdir()
        self.assertEqual(self.l3ctl("show").status, 0)
        self.assertFalse(self.asked())


class Naming(Home):
    TEXT = "# the house\n\n02:0:0:0:1:20\ttablet  # Tom's\n192.168.1.5 junk\n00:1b:21:00:00:07 camera"

    def test_naming_keeps_every_other_line(self):
        ETHERS.write_text(self.TEXT)
        ETHERS.chmod(0o640)
        self.assert_outcome(self.l3ctl("devices", "name", TABLET, "toms-tablet"), 0,
                            f"devices: {TABLET} is named toms-tablet\n")
        self.assertEqual(ETHERS.read_text(), self.TEXT.replace("tablet  #", "toms-tablet  #") + "\n")
        self.assertEqual(ETHERS.stat().st_mode & 0o7777, 0o640)
        self.l3ctl("devices", "name", "02-00-00-00-01-21", "phone")
        self.assertTrue(ETHERS.read_text().endswith(f"camera\n{PHONE} phone\n"))
        self.assert_outcome(self.l3ctl("devices", "name", "toms-tablet", "--remove"), 0,
                            f"devices: {TABLET} has no name any more\n",
                            f'l3ctl: note: "toms-tablet" is {TABLET} (by /etc/ethers)\n')
        self.assertEqual(ETHERS.read_text(), f"# the house\n\n192.168.1.5 junk\n00:1b:21:00:00:07 camera\n{PHONE} phone\n")

    def test_a_first_name_makes_the_file(self):
        answer = json.loads(self.l3ctl("--json", "devices", "name", TABLET, "tablet").out)
        self.assertEqual(answer["done"], f"devices: {TABLET} is named tablet")
        self.assertEqual((ETHERS.read_text(), ETHERS.stat().st_mode & 0o7777), (f"{TABLET} tablet\n", 0o644))
        self.assertEqual(os.listdir("/ztcfg"), [])

    def test_what_is_refused_changes_nothing(self):
        ETHERS.write_text(self.TEXT)
        for arguments, message in (
                ((TABLET, "camera"), '"camera" is the name of 00:1b:21:00:00:07 in /etc/ethers; nothing was changed'),
                ((TABLET, "a b"), 'NAME: "a b" is not allowed'), ((TABLET, "-x"), 'NAME: "-x" is not allowed'),
                ((TABLET, PHONE), f'NAME: "{PHONE}" is not allowed'), ((TABLET, "10.0.0.1"), 'NAME: "10.0.0.1" is not allowed'),
                ((TABLET, "7"), 'NAME: "7" is not allowed'), ((TABLET, "020000000120"), 'NAME: "020000000120" is not allowed'),
                ((TABLET, "n" * 64), "is not allowed"), ((TABLET, ""), "NAME"), ((TABLET,), "either NAME or --remove"),
                ((TABLET, "x", "--remove"), "either NAME or --remove"), (("nobody", "x"), 'DEVICE: "nobody" is not allowed'),
                (("ff:ff:ff:ff:ff:ff", "x"), "broadcast")):
            with self.subTest(arguments):
                outcome = self.l3ctl("devices", "name", "--", *arguments) if "--remove" not in arguments else \
                    self.l3ctl("devices", "name", *arguments)
                self.assertEqual((outcome.status, outcome.out), (2, ""), outcome.err)
                self.assertIn(message, outcome.err)
                self.assertEqual(ETHERS.read_text(), self.TEXT)

    def test_removing_what_has_no_name(self):
        self.assert_outcome(self.l3ctl("devices", "name", TABLET, "--remove"), 0, f"devices: {TABLET} had no name\n")
        self.assertFalse(ETHERS.exists())


class Blocked(Home):
    def test_a_device_that_is_blocked_now(self):
        self.usual()
        now = span(start=-60, end=120)
        end = now.split("-")[1]
        self.apply(BLOCK % (TABLET, now))
        blocked = self.l3ctl("blocked")
        self.assertEqual((blocked.status, len(blocked.out.splitlines())), (0, 2), blocked.err)
        self.assertRegex(blocked.out.splitlines()[1], r"^  tablet .*  IPv4 blocked by mac_filter\.devices\[0\] until "
                                                      + end + " UTC; IPv6 open$")
        answer = json.loads(self.l3ctl("--json", "blocked").out)
        self.assertEqual([device["name"] for device in answer["devices"]], ["tablet"])
        state = answer["devices"][0]["settings"]["ipv4"]
        self.assertEqual((state["outcome"], state["decided_by"]), ("dropped", "mac_filter.devices[0]"))
        self.assertEqual(state["until"][11:16], end)
        self.assertEqual(state["next"], {"outcome": "accepted", "decided_by": None})
        self.assertEqual(answer["others"]["ipv4"]["outcome"], "accepted")

    def test_both_families_in_one_phrase(self):
        self.usual()
        self.l3ctl("firewall", "on")
        for verb in (("on",), ("add", "tablet")):
            self.assertEqual(self.l3ctl("mac-filter", *verb).status, 0)
        self.assertRegex(self.l3ctl("blocked").out,
                         r"blocked by mac_filter\.devices\[0\], mac6_filter\.devices\[0\]\n$")

    def test_one_that_will_be_blocked(self):
        self.usual()
        later = span(start=60, end=120)
        self.apply(BLOCK % (TABLET, later))
        self.assert_outcome(self.l3ctl("blocked"), 0, "no device is blocked\n")
        state = self.devices()[0][TABLET]["settings"]["ipv4"]
        self.assertEqual((state["outcome"], state["next"]),
                         ("accepted", {"outcome": "dropped", "decided_by": "mac_filter.devices[0]"}))
        self.assertEqual(state["until"][11:16], later.split("-")[0])
        self.assertIn(f"IPv4 open until {later.split('-')[0]} UTC, then blocked by mac_filter.devices[0]; IPv6 open",
                      self.l3ctl("devices").out)

    def test_a_white_list_shuts_out_all_others(self):
        self.usual()
        self.apply('{"firewall": {"enabled": true}, "mac_filter": {"enabled": true, "mode": "white-list", "devices": '
                   '[{"mac": "tablet"}]}}')
        answer = json.loads(self.l3ctl("--json", "blocked").out)
        self.assertEqual([device["mac"] for device in answer["devices"]], [PHONE, CAMERA])
        self.assertEqual(answer["others"]["ipv4"]["decided_by"], "mac_filter.mode")
        self.assertRegex(self.l3ctl("blocked").out, r"any other +- +- +IPv4 blocked by mac_filter.mode; IPv6 open\n$")

    def test_a_rule_by_address_and_the_dhcp_filter(self):
        self.usual()
        self.apply('{"firewall": {"enabled": true}, "ip_filter": {"enabled": true, "rules": [{"direction": "upstream", '
                   '"protocol": "all", "source": "192.168.1.21"}]}, "dhcp_filter": {"enabled": true, "devices": ["%s"]}}' % CAMERA)
        out = self.l3ctl("blocked").out
        self.assertRegex(out, r"Pias-Phone .* IPv4 blocked by ip_filter\.rules\[0\]; IPv6 open\n")
        self.assertRegex(out, r"00:1b:21:00:00:07 .* open; no DHCP by dhcp_filter\.devices\[0\]\n")

    def test_a_listed_device_that_is_away(self):
        self.apply(BLOCK % (TABLET, "all day"))
        self.assertEqual([device["mac"] for device in json.loads(self.l3ctl("--json", "blocked").out)["devices"]], [TABLET])

    def test_settings_that_cannot_be_explained_leave_the_list(self):
        self.usual()
        self.store(firewall=True, w2412=7)
        self.l3ctl("firewall", "on")
        devices, _ = self.devices()
        self.assertEqual(len(devices), 3)


if __name__ == "__main__":
    unittest.main()
