"""A gateway whose packet filter answers what a test has it answer: rules as iptables-save prints them."""
import re
from pathlib import Path

from gateway import Gateway

DATA = Path(__file__).parent.parent / "data"
SETTINGS = (DATA / "rules-settings.json").read_text()

FRESH4 = """*filter
:INPUT ACCEPT [0:0]
:FORWARD ACCEPT [7:420]
:OUTPUT ACCEPT [0:0]
:forward_ext_bad_tcp - [0:0]
:forward_ext_captiveportal - [0:0]
:forward_ext_ds_ip - [0:0]
:forward_ext_ip - [0:0]
:forward_ext_mac - [0:0]
:forward_ext_url - [0:0]
:forward_ext_us_ip - [0:0]
:input_ext_access_ctrl - [0:0]
:input_ext_acl - [0:0]
:input_ext_dhcp - [0:0]
:input_ext_ds_acl - [0:0]
:input_ext_local_access - [0:0]
:input_ext_local_access_ex - [0:0]
:input_ext_us_acl - [0:0]
[1:60] -A INPUT -j input_ext_local_access
[0:0] -A INPUT -p tcp -m tcp --dport 80 -j input_ext_acl
[0:0] -A INPUT -p tcp -m tcp --dport 21 -j input_ext_acl
[0:0] -A INPUT -p udp -m udp --dport 161 -j input_ext_acl
[0:0] -A INPUT -p tcp -m tcp --dport 23 -j input_ext_acl
[0:0] -A INPUT -p icmp -j input_ext_acl
[0:0] -A INPUT -i br0 -p udp -m udp --dport 67 -j input_ext_dhcp
[0:0] -A FORWARD -p tcp -j forward_ext_bad_tcp
[0:0] -A FORWARD -j forward_ext_ip
[0:0] -A FORWARD -j forward_ext_url
[0:0] -A FORWARD -j forward_ext_mac
[0:0] -A FORWARD -i br0 -p tcp -m tcp --dport 80 -j forward_ext_captiveportal
[0:0] -A forward_ext_ip -i br0 -j forward_ext_us_ip
[0:0] -A forward_ext_ip -i wan3 -j forward_ext_ds_ip
[0:0] -A forward_ext_url -i br0 -p udp -m udp --dport 53 -m string --hex-string "|076578616d706c6503636f6d|" --algo bm \
-m time --timestart 08:00:00 --timestop 21:30:00 --datestop 2038-01-19T03:14:07 -j DROP
[0:0] -A input_ext_acl -i br0 -j input_ext_us_acl
[0:0] -A input_ext_acl -i wan3 -j input_ext_ds_acl
COMMIT
"""
FRESH6 = """*filter
:INPUT ACCEPT [0:0]
:FORWARD ACCEPT [0:0]
:OUTPUT ACCEPT [0:0]
:forward_ext_ds_ip - [0:0]
:forward_ext_ip - [0:0]
:forward_ext_mac - [0:0]
:forward_ext_us_ip - [0:0]
[0:0] -A FORWARD -j forward_ext_ip
[0:0] -A FORWARD -j forward_ext_mac
COMMIT
"""
ONE_NAME = """{"firewall": {"enabled": true},
 "url_filter": {"enabled": true, "mode": "black-list", "entries": [{"host": "example.com", "active": "08:00-21:30"}]}}"""


def squeezed(text):
    return re.sub(r" {2,}", "  ", text)


class Rules(Gateway):
    def setUp(self):
        super().setUp()
        self.live(FRESH4, FRESH6)

    def settings(self, text=ONE_NAME):
        self.assertEqual(self.apply(text).status, 0)
        self.commands()

    def changed(self, old, new, text=FRESH4):
        self.assertIn(old, text)
        self.live(text.replace(old, new))
