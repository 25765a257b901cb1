"""Effects of the rules that may surprise, where no other test covers them."""

from l3lab import device, hosts, rules
from l3lab.rules import Rule
from lab_case import LabCase

_URL, _MAC = "forward_ext_url", "forward_ext_mac"


class Spans(LabCase):
    def test_a_span_that_ends_where_it_starts_is_the_whole_day(self):
        device.apply(
            {
                "mac_filter": {
                    "enabled": True,
                    "devices": [
                        {"mac": "02:00:00:00:00:07", "active": "00:00-00:00"},
                        {"mac": "02:00:00:00:00:08", "active": "12:00-12:00"},
                    ],
                }
            }
        )
        for mac in ("02:00:00:00:00:07", "02:00:00:00:00:08"):
            self.assert_stopped(f"udp frame from {mac} to wan port 5000", Rule(_MAC, f"MAC {mac}"))

    def test_the_day_ends_with_the_first_second_of_its_last_minute(self):
        device.apply(
            {"mac_filter": {"enabled": True, "devices": [{"mac": hosts.LAN.mac, "active": "00:01-24:00"}]}}
        )
        self.assertIn("TIME from 00:01:00 to 23:59:00 UTC", rules.chain(_MAC)[0].text)


class RefusedNames(LabCase):
    def test_one_empty_name_switches_the_whole_list_off(self):
        query = "dns query for example.com from lan to wan"
        listed = {"enabled": True, "entries": [{"host": "example.com"}, {"host": "example.org"}]}
        device.apply({"url_filter": listed})
        self.assert_stopped(query, Rule(_URL, "DROP"))
        # l3ctl refuses such a name; another program of the device may still have stored it.
        files = device.stored_files()
        self.assertEqual(files["l3_advance.dat"].count(b"example.org"), 1)
        files["l3_advance.dat"] = files["l3_advance.dat"].replace(b"example.org", bytes(11))
        device.put_files(files)
        device.l3ctl("--force", "apply", settings={"firewall": {"enabled": False}})
        path = "/tmp/on.json"
        with open(path, "w", encoding="utf-8") as file:
            file.write('{"firewall": {"enabled": true}}')
        self.assertNotEqual(device.l3ctl("--force", "apply", path, check=False).returncode, 0)
        self.assertEqual(rules.chain(_URL), [])
        self.assert_all_pass("refused", [query])
