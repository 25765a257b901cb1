"""The gateway as a device: l3ctl on its command line, power cuts, the interface of its Internet."""

import json
import os
import subprocess

from l3lab import rules

STORE = "/ztcfg"


def l3ctl(*arguments: str, settings=None, check: bool = True) -> subprocess.CompletedProcess:
    """Runs l3ctl; settings, if given, reach it as a JSON file named last."""
    command = ["l3ctl", *arguments]
    if settings is not None:
        path = "/tmp/settings.json"
        with open(path, "w", encoding="utf-8") as file:
            json.dump(settings, file, indent=2)
        command.append(path)
    finished = subprocess.run(command, capture_output=True, text=True, errors="replace")
    if check and finished.returncode != 0:
        said = (finished.stderr + finished.stdout).strip()
        raise RuntimeError(f"{' '.join(command)} ended with {finished.returncode}: {said}")
    return finished


def apply(settings) -> subprocess.CompletedProcess:
    return l3ctl("apply", settings=settings)


def cut_power() -> None:
    """What a restart leaves: an empty packet filter, and the files of the store."""
    for tool, tables in (("iptables", ("filter", "nat")), ("ip6tables", ("filter",))):
        for table in tables:
            rules.run(tool, "-t", table, "-F")
            rules.run(tool, "-t", table, "-X")
    rules.forget_connections()


def move_internet_to(interface: str) -> None:
    """The default route, which is what makes an interface the Internet WAN."""
    hops = {"wan3": ("203.0.113.2", "2001:db8:1::2"), "wan4": ("198.51.100.2", "2001:db8:2::2")}
    for family, hop in zip(("-4", "-6"), hops[interface]):
        rules.run("ip", family, "route", "replace", "default", "via", hop, "dev", interface)


def stored_files() -> dict[str, bytes]:
    files = {}
    for entry in os.scandir(STORE):
        with open(entry.path, "rb") as file:
            files[entry.name] = file.read()
    return files


def put_files(files: dict[str, bytes]) -> None:
    for entry in os.scandir(STORE):
        os.unlink(entry.path)
    for name, content in files.items():
        with open(os.path.join(STORE, name), "wb") as file:
            file.write(content)
