"""Puts a run into docs/performance.md, between its markers, and draws the plots."""

import re

from l3bench import plots, report
from l3bench.instructions import ROOT

PAGE = ROOT / "docs/performance.md"
PLOTS = ROOT / "docs/plots"


def _machine(found):
    return (f"{found['processor']}; Linux {found['kernel']}; {found['tools']}. The load was "
            f"{found['load']} when the run began and {found['load at the end']} when it ended, its own included; it took "
            f"{found['minutes']} minutes.\n")  # fmt: skip


def write(results):
    """Every part of the run, between its pair of markers, and every plot; one that the page has no place for is an
    error."""
    text = PAGE.read_text()
    parts = {"Machine": _machine(results["machine"]), **dict(report.everything(results))}
    for title, part in parts.items():
        begin, end = f"<!-- run: {title} -->\n", "<!-- end -->"
        text, times = re.subn(f"({re.escape(begin)}).*?({end})", lambda match: f"{match[1]}\n{part}\n{match[2]}",
                              text, count=1, flags=re.S)  # fmt: skip
        if times != 1:
            raise SystemExit(f"bench/run: docs/performance.md has no place for '{title}'")
    PAGE.write_text(text)
    plots.draw(results, PLOTS)
    for plot in PLOTS.glob("*.svg"):
        if f"(plots/{plot.name})" not in text:
            raise SystemExit(f"bench/run: docs/performance.md does not show {plot.name}")
