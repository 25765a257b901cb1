"""SVG plots of a run."""

import html
import math

from l3bench import report

_WIDTH, _HEIGHT = 720, 420
_LEFT, _RIGHT, _TOP, _BOTTOM = 70, 560, 40, 360  # of the area that is drawn in; the legend is right of it
_COLOURS = ("#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e", "#17becf", "#8c564b", "#e377c2", "#7f7f7f",
            "#bcbd22")  # fmt: skip


def _text(x, y, words, anchor="middle", more=""):
    return f'<text x="{x}" y="{y}" text-anchor="{anchor}"{more}>{html.escape(words)}</text>'


def _ticks(least, most, log):
    """The values at which the vertical axis has a line, from below the least to above the most."""
    if log:
        return [10.0**power for power in range(math.floor(math.log10(least)), math.ceil(math.log10(most)) + 1)]
    step = 10 ** math.floor(math.log10(most or 1)) or 1
    return [step * number for number in range(math.ceil(most / step) + 1)]


def lines(output, words, series, log=True):
    """One line for each of {name: [(x, y)]}; the words are title, x and y."""
    points = [point for line in series.values() for point in line]
    ticks = _ticks(min(y for _, y in points), max(y for _, y in points), log)
    scale = math.log10 if log else float
    low, high = scale(ticks[0]), scale(ticks[-1])
    first, last = min(x for x, _ in points), max(x for x, _ in points)

    def across(x):
        return round(_LEFT + (_RIGHT - _LEFT) * (x - first) / ((last - first) or 1), 1)

    def up(y):
        return round(_BOTTOM - (_BOTTOM - _TOP) * (scale(y) - low) / ((high - low) or 1), 1)

    title, xlabel, ylabel = words
    drawn = ['<svg xmlns="http://www.w3.org/2000/svg" font-family="sans-serif" font-size="12" '
             f'viewBox="0 0 {_WIDTH} {_HEIGHT}">',
             f'<rect width="{_WIDTH}" height="{_HEIGHT}" fill="white"/>',
             _text((_LEFT + _RIGHT) / 2, 22, title, more=' font-size="15"'),
             _text((_LEFT + _RIGHT) / 2, _BOTTOM + 44, xlabel),
             _text(18, (_TOP + _BOTTOM) / 2, ylabel, more=f' transform="rotate(-90 18 {(_TOP + _BOTTOM) / 2})"')]  # fmt: skip
    for tick in ticks:
        drawn.append(f'<path d="M{_LEFT} {up(tick)}H{_RIGHT}" stroke="#ddd"/>'
                     + _text(_LEFT - 8, up(tick) + 4, f"{tick:g}", "end"))  # fmt: skip
    for x in sorted({x for x, _ in points}):
        drawn.append(f'<path d="M{across(x)} {_TOP}V{_BOTTOM}" stroke="#ddd"/>'
                     + _text(across(x), _BOTTOM + 20, f"{x:g}"))  # fmt: skip
    for number, (name, line) in enumerate(series.items()):
        colour, y = _COLOURS[number % len(_COLOURS)], _TOP + 10 + 20 * number
        path = " ".join(f"{across(x)},{up(value)}" for x, value in line)
        drawn.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>')
        drawn.append(f'<path d="M{_RIGHT + 15} {y}h20" stroke="{colour}" stroke-width="2"/>'
                     + _text(_RIGHT + 42, y + 4, name, "start"))  # fmt: skip
    output.write_text("\n".join([*drawn, "</svg>\n"]))


def by_entries(result, kind):
    """{competitor: [(entries, ms)]} of one kind of call."""
    series = {}
    for case, measured in result["cases"].items():
        name, _, entries = case.rpartition(" ")
        if name == kind:
            for competitor, found in measured["competitors"].items():
                series.setdefault(competitor, []).append((int(entries), found["ms"]))
    for manager, cases in result["managers"].items() if kind == "ip_filter" else ():
        # "ip_filter 50", not "ip_filter add one to 50".
        points = [(int(words[1]), found["ms"]) for words, found in ((case.split(), found) for case, found in cases.items())
                  if len(words) == 2 and not isinstance(found, str)]  # fmt: skip
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
        for kind in report.kinds(result.get("cases", {})):
            words = (f"{kind.replace('_', ' ')}, {backend} backend", "entries of each filter", "milliseconds")
            lines(folder / f"{kind}-{backend}.svg", words, by_entries(result, kind))
        if "foreign" in result:
            words = (f"IP filter of 10 entries, {backend} backend", "rules of others in the table", "milliseconds")
            lines(folder / f"foreign-{backend}.svg", words, by_foreign_rules(result))
    if series := leaked(results):
        words = ("Packets through a closed port while others in its list change", "rules in the list",
                 "packets a change")  # fmt: skip
        lines(folder / "update-gap.svg", words, series, log=False)
