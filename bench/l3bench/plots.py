"""SVG plots of a run, by gnuplot."""

import subprocess

from l3bench import report

_STYLE = """set terminal svg size 720,420 font "sans,12" background "white"
set output "{output}"
set title "{title}"
set xlabel "{xlabel}"
set ylabel "{ylabel}"
set key outside right
set grid
set style data linespoints
"""


def _block(number, points):
    return f"$data{number} << END\n" + "".join(f"{x} {y}\n" for x, y in points) + "END\n"


def lines(output, words, series, log=True):
    """One line for each of {name: [(x, y)]}; the words are title, x and y."""
    title, xlabel, ylabel = words
    script = _STYLE.format(output=output, title=title, xlabel=xlabel, ylabel=ylabel)
    if log:
        script += "set logscale y\n"
    script += "".join(_block(number, points) for number, points in enumerate(series.values()))
    drawn = ", ".join(f'$data{number} title "{name}" lw 2' for number, name in enumerate(series))
    subprocess.run(["gnuplot"], input=script + "plot " + drawn + "\n", text=True, check=True)


def by_entries(result, kind):
    """{competitor: [(entries, ms)]} of one kind of call."""
    series = {}
    for scene, measured in result["scenes"].items():
        name, _, entries = scene.rpartition(" ")
        if name == kind:
            for competitor, found in measured["competitors"].items():
                series.setdefault(competitor, []).append((int(entries), found["ms"]))
    for manager, scenes in result["managers"].items() if kind == "ip_filter" else ():
        points = [(int(scene.split()[1]), found["ms"]) for scene, found in scenes.items() if not isinstance(found, str)]
        if points:
            series[manager] = points
    return series


def by_foreign_rules(result):
    series = {}
    for number, found in result["foreign"].items():
        for competitor, measured in found.items():
            series.setdefault(competitor, []).append((int(number), measured["ms"]))
    return series


def leaked(results):
    series = {}
    for backend in report.BACKENDS:
        for way, lengths in results.get(backend, {}).get("update gap", {}).items():
            series[f"{way}, {backend}"] = [(int(length), found["arrived"]) for length, found in lengths.items()]
    return series


def draw(results, folder):
    folder.mkdir(exist_ok=True)
    for backend in report.BACKENDS:
        result = results.get(backend, {})
        for kind in report.kinds(result.get("scenes", {})):
            words = (f"{kind.replace('_', ' ')}, {backend} backend", "entries of each filter", "milliseconds")
            lines(folder / f"{kind}-{backend}.svg", words, by_entries(result, kind))
        if "foreign" in result:
            words = (f"IP filter of 10 entries, {backend} backend", "rules of others in the table", "milliseconds")
            lines(folder / f"foreign-{backend}.svg", words, by_foreign_rules(result))
    if series := leaked(results):
        words = ("Packets through a closed port while others in its list change", "rules in the list",
                 "packets a change")  # fmt: skip
        lines(folder / "update-gap.svg", words, series, log=False)
