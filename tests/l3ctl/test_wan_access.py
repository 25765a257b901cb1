"""The Internet WAN, and what may reach the gateway's own services."""
import json
import subprocess
import unittest

from gateway import Gateway


class Wan(Gateway):
    def setUp(self):
        super().setUp()
        self.store()
        for command in (["link", "add", "wan3", "type", "bridge"], ["addr", "add", "203.0.113.1/24", "dev", "wan3"],
                        ["link", "set", "wan3", "up"], ["route", "add", "default", "via", "203.0.113.2"]):
            subprocess.run(["/usr/sbin/ip", *command], check=True)
        self.addCleanup(subprocess.run, ["/usr/sbin/ip", "link", "del", "wan3"], check=True)

    CLEAR = ["iptables -t filter -F input_ext_local_access_ex", "iptables -t filter -F forward_ext_ip",
             "ip6tables -t filter -F forward_ext_ip", "iptables -t filter -F input_ext_acl"]

    def dispatch(self, name):
        return ["iptables -A forward_ext_ip -i br0 -j forward_ext_us_ip",
                f"iptables -A forward_ext_ip -i {name} -j forward_ext_ds_ip",
                "ip6tables -A forward_ext_ip -i br0 -j forward_ext_us_ip",
                f"ip6tables -A forward_ext_ip -i {name} -j forward_ext_ds_ip",
                "iptables -A input_ext_acl -i br0 -j input_ext_us_acl",
                f"iptables -A input_ext_acl -i {name} -j input_ext_ds_acl"]

    def test_show(self):
        self.assert_outcome(self.l3ctl("wan", "show"), 0, "wan3\n")
        self.assertEqual(self.l3ctl("wan", "show", "--json").out, '{\n  "internet_wan": "wan3"\n}\n')
        subprocess.run(["/usr/sbin/ip", "route", "del", "default"], check=True)
        outcome = self.l3ctl("wan", "show")
        self.assertEqual((outcome.status, outcome.out), (1, ""))
        self.assertTrue(outcome.err.endswith("l3ctl: the platform knows no Internet WAN\n"))

    def test_update_clears_first(self):
        outcome = self.l3ctl("wan", "update", "wan4")
        self.assertEqual((outcome.status, outcome.out), (0, "wan: wan4\n"))
        self.assertEqual(self.commands(), self.CLEAR + self.dispatch("wan4"))

    def test_update_takes_any_name_that_an_interface_can_have(self):
        for name in ("ppp0.100", "nas0_1.10", "fifteen_charsss"):
            outcome = self.l3ctl("wan", "update", name)
            self.assertEqual((outcome.status, outcome.out), (0, f"wan: {name}\n"))
            self.assertEqual(self.commands(), self.CLEAR + self.dispatch(name))

    def test_clear(self):
        outcome = self.l3ctl("wan", "clear")
        self.assertEqual((outcome.status, outcome.out), (0, "wan: cleared\n"))
        self.assertEqual(self.commands(), self.CLEAR)

    def test_only_interface_names_reach_the_shell(self):
        for name in ("", "sixteen_chars_xx", "a;b", "a b", "$(x)", "`x`", "a|b", "a&b", "a>b", "-j", ".", "..", "a/b", "a'b",
                     'a"b', "a\nb", "é"):
            outcome = self.l3ctl("wan", "update", name)
            self.assertEqual((outcome.status, outcome.out), (2, ""), name)
        self.assertEqual(self.commands(), [])


class LongWanName(Gateway):
    """The platform's getIfName() cannot hand the name to the library."""

    DROP = "iptables -I input_ext_local_access_ex -i ppp0.100 -j DROP"

    def setUp(self):
        super().setUp()
        self.store()
        for command in (["link", "add", "ppp0.100", "type", "bridge"], ["link", "set", "ppp0.100", "up"],
                        ["addr", "add", "203.0.113.1/24", "dev", "ppp0.100"],
                        ["route", "add", "default", "via", "203.0.113.2"]):
            subprocess.run(["/usr/sbin/ip", *command], check=True)
        self.addCleanup(subprocess.run, ["/usr/sbin/ip", "link", "del", "ppp0.100"], check=True)

    def bound(self):
        """How often the commands bind each chain, and drop what comes from the WAN."""
        commands = self.commands()
        return [commands.count(line) for line in (
            "iptables -A forward_ext_ip -i ppp0.100 -j forward_ext_ds_ip",
            "ip6tables -A forward_ext_ip -i ppp0.100 -j forward_ext_ds_ip",
            "iptables -A input_ext_acl -i ppp0.100 -j input_ext_ds_acl", self.DROP)]

    def test_show_and_status_name_it_whole(self):
        outcome = self.l3ctl("wan", "show")
        self.assertEqual((outcome.status, outcome.out), (0, "ppp0.100\n"))
        self.assertEqual(self.l3ctl("wan", "show", "--json").out, '{\n  "internet_wan": "ppp0.100"\n}\n')
        self.assertEqual(json.loads(self.l3ctl("status", "--json").out)["internet_wan"], "ppp0.100")

    def test_switching_on_binds_the_rules_to_it(self):
        self.assertEqual(self.l3ctl("port-scan", "on").status, 0)
        self.assertEqual(self.bound(), [0, 0, 0, 0], "the firewall is off")
        self.assertEqual(self.l3ctl("firewall", "on").status, 0)
        self.assertEqual(self.bound(), [1, 1, 1, 1])
        self.assertEqual(self.l3ctl("port-scan", "off").status, 0)
        self.assertEqual(self.bound(), [0, 0, 0, 0])
        self.assertEqual(self.l3ctl("port-scan", "on").status, 0)
        self.assertEqual(self.bound(), [1, 1, 1, 1])
        self.assertEqual(self.l3ctl("firewall", "off").status, 0)
        self.assertEqual(self.bound(), [0, 0, 0, 0])
        self.assertEqual(self.l3ctl("level", "high").status, 0)
        self.assertEqual(self.bound(), [1, 1, 1, 1])

    def test_an_apply_binds_the_rules_to_it(self):
        wanted = json.dumps({"firewall": {"enabled": True}, "port_scan_protection": True})
        self.assertEqual(self.l3ctl("apply", "-", stdin=wanted).status, 0)
        self.assertEqual(self.bound()[3], 1)


class Access(Gateway):
    HOOK_OFF = "iptables -D INPUT -j input_ext_access_ctrl"
    HOOK_ON = "iptables -I INPUT -j input_ext_access_ctrl"

    def rule(self, letter, port):
        return f"iptables -{letter} input_ext_access_ctrl -p tcp --dport {port} -j DROP"

    def test_telnet(self):
        before = [self.HOOK_OFF, self.rule("D", 23), self.rule("D", 26)]
        self.refuse(*before)
        self.assert_outcome(self.l3ctl("access", "telnet", "block"), 0, "access: telnet blocked\n")
        self.assertEqual(self.commands(), before + [self.HOOK_ON, self.rule("A", 23), self.rule("A", 26)])
        self.assert_outcome(self.l3ctl("access", "telnet", "allow"), 0, "access: telnet allowed\n")
        self.assertEqual(self.commands(), before + [self.HOOK_ON])
        self.refuse(self.rule("A", 26))
        self.assertEqual(self.l3ctl("access", "telnet", "block").status, 3)

    def test_web(self):
        self.assert_outcome(self.l3ctl("access", "web", "block", "--port", "8080"), 0,
                            "access: web at port 8080 blocked\n")
        self.assertEqual(self.commands(), [self.HOOK_OFF, self.rule("D", 8080), self.HOOK_ON, self.rule("A", 8080)])
        self.assert_outcome(self.l3ctl("access", "web", "allow"), 0, "access: web at port 80 allowed\n")
        self.assertEqual(self.commands(), [self.HOOK_OFF, self.rule("D", 80), self.HOOK_ON])
        for port in ("0", "65536", "-1", "80;id", "x", "80 "):
            self.assertEqual(self.l3ctl("access", "web", "block", "--port", port).status, 2, port)
        self.assertEqual(self.commands(), [])

    def test_page_jump(self):
        tail = "PREROUTING -i br0 -s 192.168.1.0/24 ! -d 192.168.1.1 -p tcp --dport 80 -j DNAT --to 192.168.1.5"
        self.assert_outcome(self.l3ctl("page-jump", "add", "192.168.1.0/24", "192.168.1.5"), 0,
                            "page-jump: added\n")
        self.assertEqual(self.commands(), [f"iptables -t nat -A {tail}"])
        self.assert_outcome(self.l3ctl("page-jump", "remove", "192.168.1.0/24", "192.168.1.5"), 0,
                            "page-jump: removed\n")
        self.assertEqual(self.commands(), [f"iptables -t nat -D {tail}"])
        self.refuse(f"iptables -t nat -D {tail}")
        self.assertEqual(self.l3ctl("page-jump", "remove", "192.168.1.0/24", "192.168.1.5").status, 3)

    def test_only_addresses_reach_the_shell(self):
        for bad in ("", "any", "192.168.1.1;id", "$(id)", "`id`", "192.168.1.1 -j ACCEPT", "example.com",
                    "192.168.1.1\nid", "192.168.1.1|sh", "192.168.1.1&", "192.168.1.1>x", "::1"):
            self.assertEqual(self.l3ctl("page-jump", "add", bad, "192.168.1.5").status, 2, bad)
            self.assertEqual(self.l3ctl("page-jump", "add", "192.168.1.0/24", bad).status, 2, bad)
        self.assertEqual(self.l3ctl("page-jump", "add", "192.168.1.0/24", "192.168.1.0/24").status, 2)
        self.assert_untouched()


if __name__ == "__main__":
    unittest.main()
