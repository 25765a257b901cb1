"""The URL filter: host names that LAN clients look up, by their DNS queries. IPv4 alone."""

from l3lab import clock, device, rules
from l3lab.rules import Rule
from lab_case import LabCase

_CHAIN = "forward_ext_url"


def _filter(*entries, mode="black-list"):
    return {"url_filter": {"enabled": True, "mode": mode, "entries": list(entries)}}


def _host(name, active="all day"):
    return {"host": name, "active": active}


def _query(name, ends="from lan to wan", family=""):
    return f"dns{family} query for {name} {ends}"


class UrlFilter(LabCase):
    def test_a_black_list_stops_the_name_and_its_subdomains(self):
        self.prove(
            _filter(_host("example.com")),
            stopped={
                _query("example.com"): Rule(_CHAIN, "DROP"),
                _query("www.example.com"): Rule(_CHAIN, "DROP"),
                _query("example.com", "from tablet to other"): Rule(_CHAIN, "DROP"),
            },
            passing=[_query("example.org"), _query("myexample.com"), _query("com")],
        )

    def test_labels_of_every_awkward_length(self):
        names = (
            "ninechars.net",  # the length byte is a tab
            "tencharact.net",  # a line feed
            "thirteenchars.org",  # a carriage return
            "twenty-seven-characters-bee.se",
            "thirty-one-characters-in-label0",  # one label that fills the field
            "a.b.c.d.e",
        )
        for name in names:
            with self.subTest(name):
                self.prove(
                    _filter(_host(name)),
                    stopped={_query(name): Rule(_CHAIN, "DROP")},
                    passing=[_query("other.example")],
                )

    def test_a_white_list_answers_for_nothing_else(self):
        self.prove(
            _filter(_host("example.com"), _host("tencharact.net"), mode="white-list"),
            accepted={
                _query("example.com"): Rule(_CHAIN, "ACCEPT"),
                _query("www.tencharact.net"): Rule(_CHAIN, "ACCEPT"),
            },
            stopped={_query("example.org"): Rule(_CHAIN, "DROP 17")},
            passing=["tcp from lan to wan port 53", "udp from lan to wan port 54"],
        )

    def test_a_black_list_rests_outside_its_span(self):
        for beside in (clock.before_now(), clock.after_now()):
            with self.subTest(beside):
                self.prove(
                    _filter(_host("example.com", clock.around_now()), _host("example.org", beside)),
                    stopped={_query("example.com"): Rule(_CHAIN, "DROP")},
                    passing=[_query("example.org")],
                )

    def test_a_white_listed_name_is_refused_outside_its_span(self):
        for beside in (clock.before_now(), clock.after_now()):
            with self.subTest(beside):
                self.prove(
                    _filter(
                        _host("example.com", clock.around_now()),
                        _host("example.org", beside),
                        mode="white-list",
                    ),
                    accepted={_query("example.com"): Rule(_CHAIN, "ACCEPT")},
                    stopped={_query("example.org"): Rule(_CHAIN, "DROP 17")},
                )

    def test_what_gets_past_it(self):
        self.prove(
            _filter(_host("example.com")),
            stopped={_query("example.com"): Rule(_CHAIN, "DROP")},
            passing=[
                _query("Example.com"),
                _query("EXAMPLE.COM"),
                _query("example.com", family="6"),
                _query("example.com", "from lan to gateway"),
                _query("example.com", "from wan to lan"),
                "tcp from lan to wan port 53",
            ],
        )

    def test_a_name_that_merely_begins_like_a_listed_one_is_stopped_too(self):
        self.prove(
            _filter(_host("example.com")),
            stopped={_query("example.com.evil.org"): Rule(_CHAIN, "DROP")},
        )

    def test_a_disabled_entry_stops_nothing(self):
        device.apply(_filter({**_host("example.com"), "enabled": False}))
        self.assert_rules_are_those_of_the_start()
        self.assert_all_pass("disabled", [_query("example.com")])

    def test_emptying_a_white_list_leaves_every_look_up_refused(self):
        device.apply(_filter(_host("example.com"), mode="white-list"))
        self.assert_accepted(_query("example.com"), Rule(_CHAIN, "ACCEPT"))
        device.l3ctl("url-filter", "clear")
        self.assert_stopped(_query("example.com"), Rule(_CHAIN, "DROP"))
        self.assertEqual(len(rules.chain(_CHAIN)), 1)
