"""What was asked for, what a run measured, and whether it holds."""

import statistics

from l3bench import instructions, timing

BASELINE = 1.02
UNCHANGED = 2000
RULE, RULE6 = 12000, 35000
APPLY = {"legacy": 0.15, "nft": 0.5}
ONE_SETTING = 10.0
APPLY_ALL = "apply home.json"
EACH_FILTER = "apply it with one entry of each filter changed"
ONE_PORT = "apply it with one port changed"
EACH_BESIDE_ONE = 2.0
# Medians of the transaction beside one that flushes and fills its chains, and beside the baseline.
ADD_ONE, ANY_CASE = 0.45, 1.03
CHANGE_50 = {"legacy": 0.05, "nft": 0.13}


def _beside_baseline(results):
    for backend in ("legacy", "nft"):
        if results.get(backend, {}).get("cases"):
            found = timing.pooled(results[backend]["cases"].values())
            yield (f"library beside the baseline, {backend}", f"at most {BASELINE}",
                   f"{found['ratio']:.4f} ({found['low']:.4f} to {found['high']:.4f})",
                   found["ratio"] <= BASELINE)  # fmt: skip


def _counts(results):
    calls = results["instructions"]
    unchanged = {name: call for name, call in calls.items() if name.endswith(" unchanged")}
    most = max(call["process"] for call in unchanged.values())
    work = sum(call["commands"] + call["file calls"] for call in unchanged.values())
    yield ("an unchanged set", f"no command, no file, under {UNCHANGED:,} instructions",
           f"{work} commands and file calls, at most {most:,}", work == 0 and most < UNCHANGED)  # fmt: skip
    costs = instructions.per_rule(calls)
    six = costs.pop("ip6_filter")
    dearest = max(costs, key=costs.get)
    yield ("a rule beside its command", f"at most {RULE:,} instructions", f"at most {costs[dearest]:,} ({dearest})",
           costs[dearest] <= RULE)  # fmt: skip
    yield ("a rule of the IPv6 IP filter", f"at most {RULE6:,} instructions", f"{six:,}", six <= RULE6)


def slowest_setting(results):
    """The name of the changed setting that takes longest on the legacy backend, where any was measured."""
    took = {words: one["competitors"]["l3ctl"]["ms"]
            for words, one in results.get("legacy", {}).get("whole settings", {}).items() if words not in (APPLY_ALL, EACH_FILTER)}  # fmt: skip
    return max(took, key=took.get, default=None)


def _l3ctl(results):
    for backend, most in APPLY.items():
        if "whole settings" in results.get(backend, {}):
            ratio = results[backend]["whole settings"][APPLY_ALL]["competitors"]["l3ctl"]["ratio"]
            yield (f"l3ctl apply examples/home.json, {backend}", f"at most {most} of the baseline", f"{ratio:.3f}",
                   ratio <= most)  # fmt: skip
    if slowest := slowest_setting(results):
        took = results["legacy"]["whole settings"][slowest]["competitors"]["l3ctl"]["ms"]
        yield ("one changed setting, legacy", f"under {ONE_SETTING:.0f} ms", f"at most {took:.2f} ms ({slowest})",
               took < ONE_SETTING)  # fmt: skip


def _least_edits(results):
    beside = {(backend, case): statistics.median(found["beside refill"])
              for backend in ("legacy", "nft") for case, found in results.get(backend, {}).get("cases", {}).items()
              if found.get("beside refill")}  # fmt: skip
    if ("nft", "ip_filter add one to 50") in beside:
        ratio = beside["nft", "ip_filter add one to 50"]
        yield ("one entry more of 50, nft", f"at most {ADD_ONE} of flush and refill", f"{ratio:.3f}", ratio <= ADD_ONE)
    if beside:
        most = max(beside, key=beside.get)
        yield ("any change beside flush and refill", f"at most {ANY_CASE}", f"at most {beside[most]:.3f} ({most[1]}, {most[0]})",
               beside[most] <= ANY_CASE)  # fmt: skip
    for backend, most in CHANGE_50.items():
        if "ip_filter 50" in results.get(backend, {}).get("cases", {}):
            ratio = results[backend]["cases"]["ip_filter 50"]["competitors"]["transaction"]["ratio"]
            yield (f"from 1 rule to 50, {backend}", f"at most {most} of the baseline", f"{ratio:.3f}", ratio <= most)
        whole = results.get(backend, {}).get("whole settings", {})
        if EACH_FILTER in whole:
            each, one = (whole[words]["competitors"]["l3ctl"]["ms"] for words in (EACH_FILTER, ONE_PORT))
            yield (f"one entry of each filter, {backend}", f"at most {EACH_BESIDE_ONE:.0f} times one entry",
                   f"{each / one:.2f} ({each:.2f} ms)", each <= EACH_BESIDE_ONE * one)  # fmt: skip


def rows(results):
    for part in (_beside_baseline, _counts, _l3ctl, _least_edits):
        for what, wanted, measured, holds in part(results):
            yield [what, wanted, measured, "yes" if holds else "no"]
