"""What a terminal would act on never reaches it: control characters, bidirectional controls and bytes that are no text
stand escaped in whatever a command prints, wherever it has them from."""
import json
import os
import subprocess
import unittest
from pathlib import Path

from gateway import CONFIGURATION, FW, L3CTL, configuration, word
from live import FRESH4, FRESH6, Rules

# What must not be printed: C0, DEL and C1; Arabic letter mark, the marks, embeddings, overrides and isolates of both
# directions; line and paragraph separator.
CONTROLS = [chr(code) for code in (*range(1, 0x20), *range(0x7f, 0xa0))]
BIDIRECTIONAL = [chr(code) for code in (0x61c, 0x200e, 0x200f, *range(0x202a, 0x202f), *range(0x2066, 0x206a))]
SEPARATORS = ["\u2028", "\u2029"]
FORBIDDEN = frozenset(["\0", *CONTROLS, *BIDIRECTIONAL, *SEPARATORS])

# No UTF-8: lone bytes, among them all of C1, overlong forms, a surrogate, what lies behind Unicode, and cut sequences.
INVALID = [*(bytes([code]) for code in (*range(0x80, 0xa0), 0xbf, 0xc0, 0xc2, 0xe2, 0xf0, 0xf5, 0xff)), b"\xc0\x80",
           b"\xc1\xbf", b"\xe0\x80\x80", b"\xed\xa0\x80", b"\xf0\x80\x80\x80", b"\xf4\x90\x80\x80", b"\xe2\x80",
           b"\xf0\x9f\x98"]
VALID = "".join([*CONTROLS, *BIDIRECTIONAL, *SEPARATORS])
PLAIN = "aü€😀"
# Everything in one text; the letters keep the broken sequences apart.
HOSTILE = VALID.encode() + b"".join(b"z" + bad for bad in INVALID) + PLAIN.encode()

SIGNS = ["\\x1b", "\\x7f", "\\u0080", "\\u009b", "\\u009f", "\\u061c", "\\u202e", "\\u2066", "\\u2028", "\\x80", "\\x9b",
         "\\xff", PLAIN]


def missing_signs(text):
    return [sign for sign in SIGNS if sign not in text]


def packed(size):
    """The hostile sequences in texts of at most so many bytes."""
    texts = [b""]
    for one in [*(c.encode() for c in VALID), *(b"z" + bad + b"z" for bad in INVALID), PLAIN.encode()]:
        if len(texts[-1]) + len(one) > size:
            texts.append(b"")
        texts[-1] += one
    return texts


def portal(texts):
    """A configuration whose captive portal has these destinations."""
    data = bytearray(configuration(True))
    start = FW + 5388
    data[start:start + 4] = word(len(texts))
    for i, text in enumerate(texts):
        entry = start + 4 + 24 * i
        data[entry:entry + 24] = word(1) + text.ljust(20, b"\0")
    return bytes(data)


def names(texts):
    """A configuration whose URL filter has these host names."""
    data = bytearray(configuration(True))
    start = FW + 2416
    data[start:start + 4] = word(len(texts))
    data[start + 2208:start + 2212] = word(1)
    for i, text in enumerate(texts):
        entry = start + 4 + 44 * i
        data[entry:entry + 44] = word(1) + word(0) + text.ljust(32, b"\0") + bytes([0, 23, 0, 59])
    return bytes(data)


class Escaped(Rules):
    way = ()

    def assert_clean(self, data, what):
        try:
            text = data.decode()
        except UnicodeDecodeError as error:
            self.fail(f"{what!r}: {error}")
        found = sorted({f"U+{ord(c):04X}" for c in text if c in FORBIDDEN and c != "\n"})
        self.assertEqual(found, [], f"{what!r}: {text[:2000]!r}")
        return text

    def told(self, *words, stdin=b"", status=None):
        """What a command prints, the text for people and as JSON; both are clean. Returns (out, err, json)."""
        texts = []
        for form in ((), ("--json",)):
            done = subprocess.run([L3CTL, *form, *words], input=stdin, capture_output=True, env=self.environment(),
                                  timeout=60, check=False)
            self.assertIn(done.returncode, (0, 1, 2, 3, 4, 5) if status is None else (status,), (words, done.stderr))
            what = " ".join([*form, *words])[:60]
            texts.append((self.assert_clean(done.stdout, what), self.assert_clean(done.stderr, what)))
        if texts[1][0]:
            texts.append(json.loads(texts[1][0]))
        return texts[0][0], texts[0][1], texts[-1]


class Stored(Escaped):
    def test_readers_of_hostile_destinations(self):
        CONFIGURATION.write_bytes(portal(packed(19)))
        out, _, told = self.told("show")
        # Bytes that are no text are marks in settings, which are JSON.
        self.assertEqual([sign for sign in missing_signs(out) if not sign.startswith("\\x")], [])
        self.assertIn("\\x1b", out)
        stored = "".join(told["captive_portal"]["destinations"])
        self.assertEqual([c for c in VALID + PLAIN if c not in stored], [])
        for words in (["status"], ["rules"], ["check"], ["inspect"], ["inspect", "--all"], ["doctor"],
                      ["captive-portal", "list"], ["explain", "--from", "lan", "--to", "wan", "--protocol", "tcp", "--source",
                       "192.168.1.2", "--destination", "203.0.113.2", "--destination-port", "80"]):
            self.told(*words)
        done = subprocess.run([L3CTL, "export"], capture_output=True, env=self.environment(), check=False)
        exported = json.loads(self.assert_clean(done.stdout, "export"))
        self.assertEqual(exported["captive_portal"], told["captive_portal"])
        self.assert_clean(done.stderr, "export")

    def test_changes_and_plans_on_hostile_destinations(self):
        for words, stdin in ((["captive-portal", "delete", "0"], b""), (["captive-portal", "on"], b""),
                             (["firewall", "off"], b""), (["plan", "-"], b'{"firewall": {"enabled": true}}'),
                             (["diff", "-"], b'{"captive_portal": {"enabled": false, "destinations": []}}'),
                             (["apply", "-"], b'{"vpn_pass_through": true}'), (["init"], b""), (["restore-rules"], b"")):
            for one in packed(19):
                CONFIGURATION.write_bytes(portal([one, b"203.0.113.2"]))
                self.told(*words, stdin=stdin)

    def test_a_backup_with_hostile_destinations(self):
        for one in packed(19):
            CONFIGURATION.write_bytes(configuration())
            _, err, _ = self.told("restore", "-", stdin=portal([one]))
            self.assertIn("captive_portal.destinations[0]", err)
            self.told("inspect", "-", stdin=portal([one]))
            self.told("restore", "--force", "-", stdin=portal([one]))

    def test_hostile_host_names(self):
        stored = names(packed(30))
        CONFIGURATION.write_bytes(stored)
        for words, stdin in ((["show"], b""), (["url-filter", "list"], b""), (["export"], b""), (["inspect"], b""),
                             (["rules"], b""), (["check"], b""), (["doctor"], b""), (["status"], b""),
                             (["diff", "-"], b'{"url_filter": {"enabled": true, "entries": []}}'),
                             (["plan", "-"], b'{"url_filter": {"enabled": true, "entries": []}}'),
                             (["url-filter", "add", "a.example"], b""), (["url-filter", "delete", "1"], b""),
                             (["--one-by-one", "firewall", "off"], b""), (["--one-by-one", "firewall", "on"], b"")):
            CONFIGURATION.write_bytes(stored)
            self.told(*words, stdin=stdin)

    def test_rules_with_hostile_names_that_are_refused(self):
        self.hook("iptables", b"printf '%s\\n' \"" + HOSTILE.replace(b"$", b"").replace(
            b'"', b"").replace(b"`", b"").replace(b"\n", b"") + b"\" >&2\nexit 1\n")
        for one in packed(30):
            CONFIGURATION.write_bytes(names([one]))
            _, err, _ = self.told("--force", "--one-by-one", "firewall", "on")
            self.assertIn(" ended with 1: ", err)

    def test_a_pending_file_with_hostile_bytes(self):
        for text in (HOSTILE, b'{"boot": "' + HOSTILE[31:] + b'", "timer": 1, "seconds": 1, "deadline": 1, "old_settings": {}}'):
            CONFIGURATION.write_bytes(configuration())
            Path("/ztcfg/l3ctl.pending").write_bytes(text)
            for words in (["status"], ["doctor"], ["confirm"], ["confirm", "--revert"], ["init"]):
                self.told(*words)

    def test_names_of_files_beside_the_stored_one(self):
        CONFIGURATION.write_bytes(configuration()[:9000])
        copy = b"/ztcfg/" + HOSTILE.replace(b"/", b"")[:200]
        with open(copy, "wb") as file:
            file.write(configuration())
        out, _, told = self.told("doctor", status=3)
        os.unlink(copy)
        self.assertIn("\\x1b", out)
        self.assertIn("\x1b", json.dumps(told, ensure_ascii=False).replace("\\u001b", "\x1b"))


class Platform(Escaped):
    def test_what_the_packet_filter_tells(self):
        CONFIGURATION.write_bytes(configuration(True))
        comment = HOSTILE.replace(b"\n", b"").replace(b'"', b"")
        text = FRESH4.encode().replace(b"-A FORWARD -p tcp -j forward_ext_bad_tcp", b"-A FORWARD -p tcp -m comment --comment \""
                                       + comment + b'" -j forward_ext_bad_tcp\n[0:0] -A FORWARD -i "' + comment + b'" -j DROP')
        text = text.replace(b"-A forward_ext_ip -i wan3", b'-A forward_ext_ip -i "wan' + comment + b'"')
        text = text.replace(b"[0:0] -A input_ext_acl -i wan3 -j", b'[0:0] -A input_ext_acl -m comment --comment "'
                            + comment + b'" -i wan3 -j')
        for name, rules in (("iptables-save", text), ("ip6tables-save", FRESH6.encode())):
            Path("/tmp/saved-" + name).write_bytes(rules)
        for words in (["rules"], ["check"], ["status"], ["doctor"], ["rules", "--svg", "/tmp/rules.svg"],
                      ["explain", "--from", "wan", "--to", "lan", "--protocol", "tcp", "--source", "203.0.113.2",
                       "--destination", "192.168.1.2", "--destination-port", "80"]):
            self.told(*words)
        self.assertEqual(missing_signs(self.told("rules")[0]), [])
        self.assert_clean(Path("/tmp/rules.svg").read_bytes(), "svg")

    def test_what_tools_say_when_they_fail(self):
        said = HOSTILE.replace(b"\n", b"").replace(b"'", b"")
        for name in ("iptables", "ip6tables", "iptables-save", "ip6tables-save", "iptables-restore", "ip6tables-restore"):
            self.hook(name, b"printf '%s\\n' '" + said + b"'\nprintf '%s\\n' '" + said + b"' >&2\nexit 1\n")
        for words in (["init"], ["--one-by-one", "init"], ["firewall", "on"], ["--one-by-one", "firewall", "on"], ["rules"],
                      ["check"], ["status"], ["doctor"], ["restore-rules"], ["wan", "update", "wan3"],
                      ["explain", "--from", "lan", "--to", "gateway", "--protocol", "icmp", "--source", "192.168.1.2"]):
            CONFIGURATION.write_bytes(configuration())
            self.told(*words)

    def test_versions_that_programs_registered(self):
        state = Path("/run/l3_advance")
        state.mkdir(exist_ok=True)
        for name in ("versions", "log_level", "vpn_pass_through", "vpn_driver", "route_qos"):
            (state / name).write_bytes(HOSTILE)
        for words in (["version"], ["status"], ["qos", "show"], ["vpn", "status"], ["doctor"]):
            self.told(*words)


class Typed(Escaped):
    def test_words(self):
        CONFIGURATION.write_bytes(configuration())
        word_ = os.fsdecode(HOSTILE)
        commands = [
            [word_], ["--" + word_], ["show", word_], ["export", "--section", word_], ["level", word_], ["firewall", word_],
            ["portal", word_], ["ip-filter", word_], ["ip-filter", "add", word_], ["ip-filter", "add", word_ + "=" + word_],
            ["ip-filter", "add", "direction=" + word_], ["ip-filter", "add", "source=" + word_],
            ["ip-filter", "delete", word_], ["ip-filter", "upstream", word_], ["acl", "add", word_],
            ["acl", "add", "start=" + word_], ["acl", "delete", word_], ["url-filter", "add", word_],
            ["url-filter", "add", "a.example", "active=" + word_], ["url-filter", "delete", word_], ["url-filter", "mode", word_],
            ["mac-filter", "add", word_], ["mac-filter", "delete", word_], ["dhcp-filter", "add", word_],
            ["dhcp-filter", "delete", word_], ["captive-portal", "add", word_], ["captive-portal", "delete", word_],
            ["port-scan", word_], ["ipsec", word_], ["vpn", word_], ["qos", word_], ["wan", "update", word_], ["wan", word_],
            ["access", word_], ["access", "add", word_], ["page-jump", word_], ["page-jump", "add", word_, word_],
            ["page-jump", "on", word_], ["record", word_], ["record", "read", "wan-service", word_],
            ["record", "read", "wan-service", "/tmp/no/" + word_], ["record", "write", "wan-service", word_, "-"],
            ["record", "write", "ct-timeout", word_], ["completion", word_], ["rules", word_], ["rules", "--svg", "/tmp/no/" + word_],
            ["check", word_], ["inspect", word_], ["inspect", "/tmp/no/" + word_], ["backup", "/tmp/no/" + word_],
            ["restore", word_], ["restore", "/tmp/no/" + word_], ["doctor", word_], ["apply", word_],
            ["apply", "/tmp/no/" + word_], ["plan", word_], ["diff", word_], ["apply", "-", "--section", word_],
            ["apply", "-", "--confirm", word_], ["--lock-timeout", word_, "show"], ["confirm", word_],
            ["explain", "--batch", word_], ["explain", "--settings", word_, "--from", "lan", "--to", "gateway", "--protocol",
             "icmp", "--source", "192.168.1.2"]]
        for option in ("from", "to", "protocol", "source", "destination", "source-port", "destination-port", "tcp-flags",
                       "mac", "dns-name", "time"):
            commands.append(["explain", *(w for name, value in {
                "from": "lan", "to": "wan", "protocol": "tcp", "source": "192.168.1.2", "destination": "203.0.113.2",
                "destination-port": "80", option: word_}.items() for w in ("--" + name, value))])
        for words in commands:
            with self.subTest(" ".join(words)[:40]):
                self.told(*words, stdin=b"{}")

    def test_a_word_is_shown_escaped(self):
        CONFIGURATION.write_bytes(configuration())
        for words in (["mac-filter", "delete"], ["inspect"], []):
            self.assertEqual(missing_signs(self.told(*words, os.fsdecode(HOSTILE))[1]), [], words)

    def test_a_file_with_a_hostile_name_is_written_and_read(self):
        CONFIGURATION.write_bytes(configuration())
        name = os.fsdecode(b"/tmp/" + HOSTILE.replace(b"/", b"")[:100])
        for words in (["backup", name], ["inspect", name], ["restore", name], ["rules", "--svg", name + "s"]):
            self.told(*words)
        for ending in ("", "s"):
            os.unlink(name + ending)

    def test_settings_texts(self):
        CONFIGURATION.write_bytes(configuration())
        plain = "".join(c for c in VALID if c not in "\"\\").encode()
        texts = []
        for one in (plain, HOSTILE, json.dumps(VALID)[1:-1].encode()):
            texts += [one, b'"' + one + b'"', b'{"' + one + b'": 1}', b'{"acl": {"' + one + b'": 1}}',
                      b'{"security_level": "' + one + b'"}', b'{"url_filter": {"enabled": true, "mode": "black-list", "entries": '
                      b'[{"host": "' + one + b'"}]}}', b'{"captive_portal": {"enabled": true, "destinations": ["' + one + b'"]}}',
                      b'{"mac_filter": {"enabled": true, "mode": "' + one + b'", "entries": [{"mac": "' + one + b'"}]}}',
                      b'{"ip_filter": {"rules": [{"source": "' + one + b'", "protocol": "' + one + b'"}]}}']
        for text in texts:
            for words in (["apply", "-"], ["plan", "-"], ["diff", "-"]):
                self.told(*words, stdin=text)
            self.told("explain", "--settings", "-", "--from", "lan", "--to", "gateway", "--protocol", "icmp", "--source",
                      "192.168.1.2", stdin=text)
        for key in ("from", "source", "protocol", "mac", "dns_name", "time", "unknown"):
            for one in (HOSTILE, json.dumps(VALID)[1:-1].encode()):
                self.told("explain", "--batch", "-", stdin=b'{"from": "lan", "' + key.encode() + b'": "' + one.replace(b"\n", b"")
                          + b'", "' + one.replace(b"\n", b"") + b'": 1}\n')


if __name__ == "__main__":
    unittest.main()
