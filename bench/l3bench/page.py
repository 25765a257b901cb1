"""Writes a run's report, and puts the part that is documented into docs/performance.md."""

import re
import shutil

from l3bench import plots, report
from l3bench.instructions import ROOT

PAGE = ROOT / "docs/performance.md"


def _machine(found):
    return (f"{found['processor']}; Linux {found['kernel']}; {found['tools']}. The load was "
            f"{found['load']} when the run began and {found['load at the end']} when it ended, its own included; it took "
            f"{found['minutes']} minutes.\n")  # fmt: skip


def _parts(results):
    return {"Machine": _machine(results["machine"]), **dict(report.everything(results))}


def write_report(results, folder):
    """Every table as report.md; every plot that the run has the measurements for."""
    sections = (f"## {title}\n\n{text}" for title, text in _parts(results).items())
    (folder / "report.md").write_text("\n".join(["# What a setting costs\n", *sections]))
    plots.draw(results, folder / "plots")


def update_document(results, folder):
    """Each part that the document has a pair of markers for, and each plot that it shows."""
    text, parts = PAGE.read_text(), _parts(results)

    def current(match):
        return f"{match[1]}\n{parts[match[2]]}\n<!-- end -->"

    PAGE.write_text(re.sub(r"(<!-- run: (.*?) -->\n).*?<!-- end -->", current, text, flags=re.S))
    for plot in re.findall(r"\(plots/(.*?)\)", text):
        shutil.copy(folder / "plots" / plot, PAGE.parent / "plots" / plot)
