"""The kernel and `l3ctl explain` decide alike about random packets under random settings.

The two know nothing of each other: one is given the command lines, the other what the settings mean.
L3LAB_SEED=N replaces the default seed.
"""

import collections
import json
import os

from l3lab import bulk, device, rules
from lab_case import LabCase
from random_settings import Random, packet, settings

_ROUNDS, _PACKETS = 34, 100
_UNBOUND_ROUNDS = 6
_LEAST = 2000
_SEED = int(os.environ.get("L3LAB_SEED", "20"))

# Every feature must have decided some packet, or agreement proves nothing about it.
_DECIDERS = {
    "dropped": ["port_scan_protection", "ip_filter.rules", "ip_filter.upstream", "ip_filter.downstream",
                "ip6_filter.rules", "ip6_filter.upstream", "ip6_filter.downstream", "url_filter.entries",
                "url_filter.mode", "mac_filter.devices", "mac_filter.mode", "mac6_filter.devices", "mac6_filter.mode",
                "captive_portal.destinations", "ipsec_pass_through", "acl.entries", "dhcp_filter.devices",
                "dhcp_filter.mode"],
    "accepted": ["", "ip_filter.rules", "ip6_filter.rules", "url_filter.entries", "mac_filter.devices",
                 "mac6_filter.devices", "captive_portal.destinations", "acl.entries", "dhcp_filter.devices"],
}  # fmt: skip


def _explain(packets) -> list[dict]:
    """One verdict each; spans keep off the present minute, so it does not matter when exactly."""
    path = "/tmp/packets.json"
    with open(path, "w", encoding="utf-8") as file:
        file.writelines(json.dumps(words) + "\n" for words in packets)
    answers = device.l3ctl("explain", "--batch", path).stdout.splitlines()
    return [json.loads(answer) for answer in answers]


class Differential(LabCase):
    def setUp(self):
        super().setUp()
        self._prober = bulk.BulkProber()
        self.addCleanup(self._prober.close)

    def test_the_kernel_and_the_meaning_of_the_settings_agree(self):
        rng = Random(_SEED)
        decided = {"dropped": collections.Counter(), "accepted": collections.Counter()}
        self._meet_the_neighbours()
        for number in range(_ROUNDS):
            LabCase.setUp(self)
            wanted = settings(rng)
            device.apply(wanted)
            rules.forget_connections()
            with self.subTest(round=number, seed=_SEED):
                self._round(rng, wanted, decided)
        for outcome, deciders in _DECIDERS.items():
            for decider in deciders:
                self.assertGreater(decided[outcome][decider], 0, f"{decider}: {outcome} nothing")
        self.assertGreaterEqual(sum(sum(counts.values()) for counts in decided.values()), _LEAST)

    def test_they_agree_while_the_rules_are_bound_to_no_wan_or_to_another(self):
        rng = Random(_SEED)
        self._meet_the_neighbours()
        for words, passed_by in ((["clear"], "bound to no Internet WAN"),
                                 (["update", "wan9"], "bound to wan9, which is not the Internet WAN")):
            met, decided = set(), {"dropped": collections.Counter(), "accepted": collections.Counter()}
            for number in range(_UNBOUND_ROUNDS):
                LabCase.setUp(self)
                wanted = settings(rng) | {"firewall": {"enabled": True}, "port_scan_protection": number % 2 == 0}
                device.apply(wanted)
                device.l3ctl("wan", *words)
                rules.forget_connections()
                with self.subTest(round=number, seed=_SEED, wan=words):
                    for verdict in self._round(rng, wanted, decided):
                        met.update(step["setting"] for step in verdict["passed"] if step["what"] == passed_by)
            self.assertEqual({"ip_filter", "ip6_filter", "acl", "port_scan_protection"} - met, set(), words)
            self.assertGreater(decided["dropped"].total(), 0)

    def _meet_the_neighbours(self):
        """A host whose hardware address is not known yet would lose packets of a batch."""
        for source, target in (("lan", "wan"), ("tablet", "other")):
            for six in ("", "6"):
                self.assert_all_pass("at first", [f"ping{six} from {source} to {target}"])

    def _round(self, rng, wanted, decided):
        batch, packets = [], []
        for own_port in rng.sample(range(6000, 7000), _PACKETS):
            host, target, words = packet(rng, own_port)
            mac = words.get("mac", "02:00:00:00:02:01")
            batch.append(bulk.sending(self._prober, words, host, target, mac))
            packets.append(words)
        verdicts = _explain(packets)
        self.assertEqual(len(verdicts), len(packets))
        expected = {i for i, verdict in enumerate(verdicts) if verdict["outcome"] == "accepted"}
        arrived = self._prober.send(batch, expected)
        wrong = []
        for i, verdict in enumerate(verdicts):
            outcome = "accepted" if i in arrived else "dropped"
            if verdict["outcome"] not in decided:
                continue  # How many resets pass depends on the clock.
            decided[outcome][(verdict["decided_by"] or "").split("[")[0]] += 1
            if outcome != verdict["outcome"]:
                wrong.append(f"{outcome}: {json.dumps(packets[i])}\n  explained: {json.dumps(verdict)}")
        self.assertEqual(wrong, [], "\n".join([*wrong[:5], json.dumps(wanted)]))
        return verdicts
