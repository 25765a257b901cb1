"""The controller: playbooks over the collection, and what each task returned."""

import json
import os
import re
import subprocess
import sys
from pathlib import Path

import gateways

ROOT = Path(__file__).resolve().parents[2]
COLLECTIONS = gateways.PLACE / "collections"
RESULT = re.compile(r"^(\S+) \| (\w+)!? => (\{.*?^\}|\{[^\n]*\})", re.MULTILINE | re.DOTALL)

SSH_ARGS = f"-F none -o UserKnownHostsFile={gateways.KNOWN_HOSTS} -o ControlMaster=auto -o ControlPersist=60s"


class Result:
    def __init__(self, host, state, values):
        self.host, self.state, self.values = host, state, values

    def __getitem__(self, name):
        return self.values.get(name)

    def __repr__(self):
        return f"{self.host} {self.state} {self.values}"


def link_collection():
    link = COLLECTIONS / "ansible_collections/l3_advance/gateway"
    link.parent.mkdir(parents=True)
    link.symlink_to(ROOT / "fleet/ansible")


def prepare(fleet):
    link_collection()
    hosts = {
        gateway.name: {"ansible_host": gateway.address} for gateway in fleet.gateways
    }
    inventory = {"all": {"hosts": hosts, "vars": {
        "ansible_user": "root", "ansible_ssh_private_key_file": str(gateways.KEY)}}}  # fmt: skip
    (gateways.PLACE / "inventory.json").write_text(json.dumps(inventory), encoding="utf-8")


def environment(**more):
    return {
        **os.environ,
        "HOME": str(gateways.PLACE / "home"),
        "ANSIBLE_COLLECTIONS_PATH": str(COLLECTIONS),
        "ANSIBLE_INVENTORY": str(gateways.PLACE / "inventory.json"),
        "ANSIBLE_INVENTORY_ENABLED": "yaml",
        "ANSIBLE_STDOUT_CALLBACK": "minimal",
        "ANSIBLE_SSH_ARGS": SSH_ARGS,
        "ANSIBLE_SSH_CONTROL_PATH_DIR": str(gateways.PLACE / "cp"),
        "ANSIBLE_TIMEOUT": "3",
        "ANSIBLE_FORKS": "10",
        "ANSIBLE_NOCOLOR": "1",
        "ANSIBLE_RETRY_FILES_ENABLED": "0",
        "ANSIBLE_DEPRECATION_WARNINGS": "0",
        "ANSIBLE_LOCALHOST_WARNING": "0",
        "PYTHONDONTWRITEBYTECODE": "1",
        "LC_ALL": "C.UTF-8",
        **more,
    }


def play(*tasks, **more):
    return [{"hosts": "all", "gather_facts": False, "tasks": list(tasks), **more}]


def task(name, **arguments):
    return {f"l3_advance.gateway.{name}": arguments}


def write_playbook(plays, name="play.json"):
    path = gateways.PLACE / name
    path.write_text(json.dumps(plays), encoding="utf-8")
    return path


def start(plays, *options, name="play.json", **variables):
    """A controller at work, as a process group of its own; plays as data, or by the name of a playbook."""
    playbook = plays if isinstance(plays, str) else write_playbook(plays, name)
    return subprocess.Popen(["ansible-playbook", playbook, *options], env=environment(**variables),
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                            start_new_session=True)  # fmt: skip


class Results(list):
    """One for each task and host, and all that was printed."""

    text = ""


def results_of(text):
    return Results(Result(host, state, json.loads(values)) for host, state, values in RESULT.findall(text))


def run(plays, *options, **variables):
    """Runs a playbook to its end; returns what each task returned on each host, in order."""
    process = start(plays, *options, **variables)
    text, _ = process.communicate(timeout=300)
    found = results_of(text)
    found.text = text
    if not found or os.environ.get("L3_FLEET_TALK"):
        print(text, file=sys.stderr)
    if not found:
        raise RuntimeError("no task ran")
    return found
