"""Medians, ratios of pairs and their intervals."""

import collections
import math
import statistics
import subprocess

from l3bench.instructions import BUILD

STOPWATCH = BUILD / "stopwatch"


class Failed(RuntimeError):
    """A competitor that did not work, in its own words."""


def stopwatch(*arguments, given=""):
    done = subprocess.run([STOPWATCH, *map(str, arguments)], input=given, capture_output=True, text=True,
                          errors="replace")  # fmt: skip
    if done.returncode != 0:
        raise Failed((done.stderr + done.stdout).strip()[-300:])
    return done.stdout


def time_competitors(folder, competitors, rounds, seconds):
    """{name: [(nanoseconds, processes) a round]}; competitors are {name: [words of a step]}."""
    given = "".join("\t".join([name, *map(str, step)]) + "\n"
                    for name, steps in competitors.items() for step in steps)  # fmt: skip
    samples = collections.defaultdict(list)
    for line in stopwatch("time", folder, rounds, seconds, given=given).splitlines():
        words = line.split("\t")
        if words[0] == "sample":
            samples[words[1]].append((int(words[3]), int(words[4])))
    return dict(samples)


def interval(values):
    """The bounds between which the median lies with 95 % certainty, whatever the distribution."""
    ordered = sorted(values)
    reach = 0.98 * math.sqrt(len(ordered))
    low = max(0, math.floor(len(ordered) / 2 - reach))
    high = min(len(ordered) - 1, math.ceil(len(ordered) / 2 + reach) - 1)
    return ordered[low], ordered[max(high, low)]


def pair_ratios(samples, name, base="baseline"):
    return [one[0] / other[0] for one, other in zip(samples[name], samples[base])]


def summary(samples, base="baseline"):
    """{name: {"ms", "n", "processes", "ratio", "interval"}}: medians; ratios of the rounds' pairs."""
    made = {}
    for name, taken in samples.items():
        made[name] = {
            "ms": statistics.median(one[0] for one in taken) / 1e6,
            "n": len(taken),
            "processes": int(statistics.median(one[1] for one in taken)),
        }
        if base in samples:
            ratios = pair_ratios(samples, name, base)
            made[name] |= {"ratio": statistics.median(ratios), "interval": interval(ratios)}
    return made


def pooled(cases):
    """The library beside the baseline, over all pairs of all calls."""
    ratios = [ratio for measured in cases for ratio in measured["pairs"]]
    low, high = interval(ratios)
    return {"ratio": statistics.median(ratios), "low": low, "high": high, "n": len(ratios)}
