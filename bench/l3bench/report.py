"""The tables of a run, in Markdown, which reads well on a terminal too."""

import statistics

from l3bench import instructions, loading, targets, timing

BACKENDS = ("legacy", "nft")
COMPETITORS = ("library", "shell script", "transaction", "refill", "restore", "nft", "ferm")


def table(heads, rows):
    """Columns as wide as their widest cell; all but the first to the right."""
    widths = [max(len(str(row[i])) for row in [heads, *rows]) for i in range(len(heads))]

    def line(cells):
        first, *others = (str(cell) for cell in cells)
        padded = [first.ljust(widths[0]), *(cell.rjust(width) for cell, width in zip(others, widths[1:]))]
        return "| " + " | ".join(padded) + " |"

    ruler = "|" + "|".join(["-" * (widths[0] + 2), *("-" * (width + 1) + ":" for width in widths[1:])]) + "|"
    return "\n".join([line(heads), ruler, *map(line, rows)]) + "\n"


def grouped(number):
    return f"{number:,}"


def _ms(value):
    return f"{value:.0f}" if value >= 100 else f"{value:.1f}"


def _cell(measured):
    """Milliseconds and ratio; the interval where one is asked for."""
    return f"{_ms(measured['ms'])} ({measured['ratio']:.3g})"


def _library_cell(measured):
    low, high = measured["interval"]
    return f"{_ms(measured['ms'])} ({measured['ratio']:.3f}, {low:.3f} to {high:.3f}, n={measured['n']})"


def times(result):
    """One row a call: medians in milliseconds, in brackets the ratio to the baseline."""
    rows = []
    for case, measured in result["cases"].items():
        found = measured["competitors"]
        cells = [case, measured["commands"], _ms(found["baseline"]["ms"])]
        for name in COMPETITORS:
            if name not in found:
                cells.append("-")
            else:
                cells.append(_library_cell(found[name]) if name == "library" else _cell(found[name]))
        rows.append(cells)
    return table(["call", "commands", "baseline", *COMPETITORS], rows)


def reasons(result):
    """Why a competitor is not there, each reason once, with its calls."""
    found = {}
    for case, measured in result["cases"].items():
        for name, why in measured["absent"].items():
            found.setdefault((name, why), []).append(case)
    return "".join(f"- {name}, not for {', '.join(cases)}: {why.splitlines()[0]}\n"
                   for (name, why), cases in found.items())  # fmt: skip


def library_beside_baseline(results):
    rows = []
    for backend in BACKENDS:
        if results.get(backend, {}).get("cases"):
            found = timing.pooled(results[backend]["cases"].values())
            rows.append([backend, f"{found['ratio']:.4f}", f"{found['low']:.4f} to {found['high']:.4f}", found["n"]])
    return table(["backend", "library / baseline", "95 % interval of the median", "pairs"], rows)


def managers(results):
    """The IP filter by those that load a whole rule set of their own making."""
    rows = []
    for backend in BACKENDS:
        for name, cases in results.get(backend, {}).get("managers", {}).items():
            for case, found in cases.items():
                cells = [found, "", ""] if isinstance(found, str) else [_cell(found), found["processes"], found["n"]]
                rows.append([f"{name}, {case}, {backend}", *cells])
    return table(["manager", "ms (to the baseline)", "processes", "n"], rows)


def processes(result):
    rows = []
    for case, measured in result["cases"].items():
        found = measured["competitors"]
        rows.append([case, *(found[name]["processes"] if name in found else "-" for name in ("baseline", *COMPETITORS))])
    return table(["processes started", "baseline", *COMPETITORS], rows)


def memory(result):
    """The largest process of each competitor, with every filter at its fullest; then what has no such call."""
    names = ("baseline", *(name for name in COMPETITORS if name != "library"))
    rows = [[case, *(grouped(measured["memory"][name]) if name in measured["memory"] else "-" for name in names)]
            for case, measured in result["cases"].items() if measured["memory"]]  # fmt: skip
    return table(["largest process, KiB", *names], rows) + "\n" + _memory_of_others(result)


def _memory_of_others(result):
    found = dict(result["loading memory"])
    for words, measured in result.get("whole settings", {}).items():
        found[f"l3ctl, {words}"] = measured["memory"]
    for name, cases in result.get("managers", {}).items():
        case, summary = list(cases.items())[-1]
        if isinstance(summary, str):
            continue
        found[f"{name}, {case}"] = summary["memory"]
        if "daemon memory" in summary:
            found[f"{name}'s daemon"] = summary["daemon memory"]
    return table(["largest process", "KiB"], [[name, grouped(size)] for name, size in found.items()])


def foreign(results):
    rows = []
    for backend in BACKENDS:
        for number, found in results.get(backend, {}).get("foreign", {}).items():
            rows.append([f"{backend}, {number}", _ms(found["baseline"]["ms"]), _library_cell(found["library"]),
                         _cell(found["restore"])])  # fmt: skip
    return table(["foreign rules", "baseline", "library", "restore"], rows)


def whole_settings(results):
    """l3ctl from its start to its end, beside the lines that it runs one by one."""
    rows = []
    for backend in BACKENDS:
        for words, measured in results.get(backend, {}).get("whole settings", {}).items():
            found = measured["competitors"]
            rows.append([f"{words}, {backend}", measured["commands"], _ms(found["baseline"]["ms"]),
                         _cell(found["l3ctl"]), _cell(found["l3ctl, one by one"]), found["l3ctl"]["processes"],
                         found["l3ctl"]["n"]])  # fmt: skip
    return table(["l3ctl", "commands", "baseline", "l3ctl", "one by one", "processes", "n"], rows)


def update_gap(results):
    rows = []
    for backend in BACKENDS:
        for way, lengths in results.get(backend, {}).get("update gap", {}).items():
            for length, found in lengths.items():
                rows.append([f"{way}, {length} rules, {backend}", grouped(round(found["sent"])),
                             grouped(round(found["arrived"])), _ms(found["ms"]), found["n"]])  # fmt: skip
    return table(["a change of others in the list", "packets sent", "leaked", "ms", "n"], rows)


def parts_of_a_command(results):
    """Where the time of one command goes, as the differences between what holds less and what holds more."""
    rows = []
    for backend in BACKENDS:
        if backend not in results or "parts" not in results[backend]:
            continue
        took = {name: found["ms"] for name, found in results[backend]["parts"].items()}
        whole, start = took["baseline"], took["a process"]
        iptables, loaded = took["iptables, one rule"], took["iptables, loaded"]
        shares = [start, loaded - start, iptables - loaded, whole - iptables]
        rows.append([backend, f"{whole:.2f}", *(f"{share:.2f} ({share / whole:.0%})" for share in shares)])
    heads = ["one rule, ms", "whole", "a process starts", "iptables loads", "reads, changes and writes the table",
             "shell around it"]  # fmt: skip
    return table(heads, rows)


def one_setting(results):
    """Where the time of one changed setting goes: its programs, each by itself, and what is left."""
    heads = ["one setting, ms", "whole", "l3ctl starts", "rules are read", "restore", "rules are saved", "all else",
             "a process that does nothing"]  # fmt: skip
    rows = []
    for backend in BACKENDS:
        for words, measured in results.get(backend, {}).get("whole settings", {}).items():
            if "reading" in measured["competitors"]:
                took = _parts_of_a_setting(measured)
                rows.append([f"{words}, {backend}", *(f"{ms:.2f}" for ms in took.values())])
    return table(heads, rows) + "\n" + _setting_in_words(results)


def _parts_of_a_setting(measured):
    took = {name: found["ms"] for name, found in measured["competitors"].items()}
    parts = {name: took[name] for name in ("l3ctl starts", "reading", "restore", "saved rules")}
    left = took["l3ctl"] - sum(parts.values())
    return {"whole": took["l3ctl"], **parts, "left": left, "a process": took["a process"]}


def _setting_in_words(results):
    """What the slowest is made of where it misses its target, which is one for the legacy backend."""
    slowest = targets.slowest_setting(results)
    if slowest is None:
        return ""
    took = _parts_of_a_setting(results["legacy"]["whole settings"][slowest])
    if took["whole"] < targets.ONE_SETTING:
        return f"On the legacy backend all of them hold the target of {targets.ONE_SETTING:.0f} ms.\n"
    tools = took["reading"] + took["restore"] + took["saved rules"]
    return (f"The target of {targets.ONE_SETTING:.0f} ms is missed by *{slowest}*: of its {took['whole']:.2f} ms the "
            f"three tools take {tools:.2f} ms, the start of l3ctl {took['l3ctl starts']:.2f} ms, and {took['left']:.2f} ms "
            f"are left for all that l3ctl does itself.\n")  # fmt: skip


def one_entry(results):
    """One entry of a list that is added, changed or deleted, in ms, by everything that can; managers that load a whole rule
    set of their own making last."""
    names = ("baseline", "transaction", "refill", "restore", "nft")
    others = ("ufw", "shorewall", "firewalld")
    rows = []
    for backend in BACKENDS:
        made = results.get(backend, {}).get("managers", {})
        for case, measured in results.get(backend, {}).get("cases", {}).items():
            if " one " not in case:
                continue
            found = measured["competitors"]
            cells = [_ms(found[name]["ms"]) if name in found else "-" for name in names]
            whole = [made.get(name, {}).get(case) for name in others]
            cells += [_ms(one["ms"]) if isinstance(one, dict) else "-" for one in whole]
            rows.append([f"{case}, {backend}", *cells, f"{statistics.median(measured['beside refill']):.2f}"])
    return table(["one entry, ms", *names, *others, "transaction / refill"], rows)


def kinds(cases):
    """The calls, each once, whatever the number of entries."""
    return dict.fromkeys(case.rpartition(" ")[0] for case in cases)


def growth(results):
    """Milliseconds for one entry more, between an empty list and a full one."""
    rows = []
    for backend in BACKENDS:
        cases = results.get(backend, {}).get("cases", {})
        for kind in kinds(cases):
            numbers = sorted(int(case.rpartition(" ")[2]) for case in cases if case.rpartition(" ")[0] == kind)
            if kind == "factory_reset" or len(numbers) < 2:
                continue
            least, most = (cases[f"{kind} {number}"] for number in (numbers[0], numbers[-1]))
            commands = most["commands"] - least["commands"]
            more = most["competitors"]["baseline"]["ms"] - least["competitors"]["baseline"]["ms"]
            rows.append([f"{kind}, {backend}", commands, f"{more / commands:.2f}"])
    return table(["from empty to full", "commands more", "ms for each"], rows)


def counts(results):
    """What the library itself does: exact counts, and the time of the call without its commands."""
    rows = []
    for case, found in results["instructions"].items():
        rows.append([case, found["commands"], found["file calls"], grouped(found["library"]),
                     grouped(found["library, log on"]), grouped(found["process"]), grouped(found["process, log on"]),
                     f"{results['calls'][case]:.1f}"])  # fmt: skip
    heads = ["call", "commands", "file calls", "instructions, library alone", "log on", "with libc", "libc, log on",
             "microseconds"]  # fmt: skip
    return table(heads, rows)


def rule_costs(results):
    costs = instructions.per_rule(results["instructions"])
    return table(["one rule more", "instructions"], [[name, grouped(cost)] for name, cost in costs.items()])


def loading_by_part(results):
    """What the dynamic linker does while a program starts: for libc, and what comes on top with each library."""
    libc, *more = results["loading"]
    totals = loading.totals(results["loading"])

    def share(count):
        return f"{grouped(count)} ({count / totals[libc]:.1%})"

    rows = [[part, grouped(count), *(share(results["loading"][name][part]) for name in more)]
            for part, count in results["loading"][libc].items()]  # fmt: skip
    rows.append(["all of it", grouped(totals[libc]), *(share(totals[name]) for name in more)])
    return table(["loading, instructions", "libc alone", *(f"more: {name}" for name in more)], rows)


def everything(results):
    """(title, text) of every part, in order."""
    parts = [("Targets", table(["target", "wanted", "measured", "holds"], list(targets.rows(results)))),
             ("The library beside the baseline", library_beside_baseline(results))]  # fmt: skip
    for backend in BACKENDS:
        if backend in results:
            result = results[backend]
            parts.append((f"Milliseconds, {backend} backend", times(result) + "\n" + reasons(result)))
            parts.append((f"Processes, {backend} backend", processes(result)))
            parts.append((f"Memory, {backend} backend", memory(result)))
    parts.append(("l3ctl", whole_settings(results)))
    parts.append(("One changed setting", one_setting(results)))
    parts.append(("One entry", one_entry(results)))
    parts.append(("Packets leaked", update_gap(results)))
    parts.append(("One command", parts_of_a_command(results)))
    parts.append(("Growth", growth(results)))
    parts.append(("Other managers, IP filter", managers(results)))
    parts.append(("Foreign rules in the table", foreign(results)))
    parts.append(("The library alone", counts(results) + "\n" + rule_costs(results)))
    parts.append(("Loading", loading_by_part(results)))
    return parts
