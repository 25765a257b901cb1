"""examples/home.json applied by l3ctl, and one setting changed: as a transaction, and line by line."""

import json
import pathlib
import re
import subprocess

from l3bench import lines, memory, targets, timing
from l3bench.instructions import ROOT
from l3lab import device, rules

SETTINGS = ROOT / "examples/home.json"
_EXECUTED = re.compile(r'execve\("/bin/sh", \["/bin/sh", "-c", (?:"--", )?"((?:[^"\\]|\\.)*)"\]')
ONE_BY_ONE = "--one-by-one"
SECONDS = 7


def _one_port_changed(folder):
    settings = json.loads(SETTINGS.read_text())
    settings["ip_filter"]["rules"][0]["destination_ports"] = "26"
    path = folder / "changed.json"
    path.write_text(json.dumps(settings))
    return path


def _one_entry_of_each_filter_changed(folder):
    settings = json.loads(SETTINGS.read_text())
    settings["ip_filter"]["rules"][0]["destination_ports"] = "26"
    settings["url_filter"]["entries"][0]["host"] = "changed.example.org"
    settings["mac_filter"]["devices"][0]["mac"] = "02:00:00:00:09:99"
    settings["dhcp_filter"]["devices"][0] = "02:00:00:00:09:98"
    settings["ip6_filter"]["rules"][0]["destination_ports"] = "26"
    settings["mac6_filter"]["devices"][0]["mac"] = "02:00:00:00:09:99"
    settings["acl"]["entries"][0]["sources"] = "192.168.1.2"
    settings["captive_portal"]["destinations"][-1] = "192.0.2.81"
    path = folder / "each.json"
    path.write_text(json.dumps(settings))
    return path


def _settings(folder):
    """{name: words for l3ctl} that change one setting each; then one entry of each filter."""
    return {
        targets.EACH_FILTER: ("apply", _one_entry_of_each_filter_changed(folder)),
        "apply it with one port changed": ("apply", _one_port_changed(folder)),
        "url-filter add": ("url-filter", "add", "chat.example.org"),
        "anti port scan off": ("port-scan", "off"),
    }


def _keep_state(folder):
    """What `stopwatch prepare` keeps of a case, for a gateway that l3ctl has brought where it is."""
    for family, tool in ((4, "iptables-save"), (6, "ip6tables-save")):
        (folder / f"before{family}").write_text(rules.run(tool, "-t", "filter").stdout)
    store = folder / "store"
    store.mkdir(exist_ok=True)
    for name, content in device.stored_files().items():
        (store / name).write_bytes(content)
    (folder / "lines").write_bytes(b"")


def _lines_of(folder, command):
    """The lines that a command runs one by one, as the kernel was asked to start them."""
    timing.stopwatch("restore", folder)
    trace = folder / "trace"
    subprocess.run(["strace", "-f", "-qq", "-e", "trace=execve", "-s", "4096", "-o", trace, *command], check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)  # fmt: skip
    found = [match.encode("latin-1").decode("unicode_escape") for match in _EXECUTED.findall(trace.read_text())]
    if not found:
        raise RuntimeError(f"{' '.join(map(str, command))} ran no line that the tracer knows")
    (folder / "lines").write_bytes("".join(line + "\0" for line in found).encode("latin-1"))
    return len(found)


def _programs(folder):
    """What one changed setting is made of, each by itself, from the state that the change finds."""
    read = ["iptables-save", "-t", "filter", "-f", "/dev/null"]
    return {
        "a process": [["run", "true"]],
        "l3ctl starts": [["run", "l3ctl", "version"]],
        "reading": [["run", *read, "-c"]],
        "restore": [["run", *command] for command, _ in lines.write_restore(folder)],
        "saved rules": [["run", *read]],
    }


def _measure(folder, words, rounds, programs=False):
    """{"commands", "competitors"} of l3ctl with these words; the baseline is what it runs one by one. In the same rounds
    the programs that it starts, where they are asked for."""
    commands = _lines_of(folder, ["l3ctl", ONE_BY_ONE, *map(str, words)])
    competitors = {
        "baseline": [["baseline"]],
        "l3ctl": [["run", "l3ctl", *words]],
        "l3ctl, one by one": [["run", "l3ctl", ONE_BY_ONE, *words]],
    }
    if programs:
        competitors |= _programs(folder)
    samples = timing.time_competitors(folder, competitors, rounds, SECONDS)
    return {"commands": commands, "competitors": timing.summary(samples),
            "memory": memory.of_competitor(folder, competitors["l3ctl"])}  # fmt: skip


def measure(work, rounds):
    folder = pathlib.Path(work) / "whole-settings"
    folder.mkdir()
    device.put_files({})
    for _ in range(3):
        device.cut_power()
        device.l3ctl("init")
    device.l3ctl("wan", "update", "wan3")
    _keep_state(folder)
    found = {targets.APPLY_ALL: _measure(folder, ["apply", SETTINGS], rounds)}

    device.l3ctl("apply", str(SETTINGS))
    _keep_state(folder)
    for name, words in _settings(folder).items():
        found[name] = _measure(folder, words, rounds, programs=True)
    return found
