# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

import json

from ansible.errors import AnsibleActionFail
from ansible.module_utils.common.text.converters import to_bytes
from ansible_collections.l3_advance.gateway.plugins.action.settings import ActionModule as SettingsAction
from ansible_collections.l3_advance.gateway.plugins.plugin_utils.l3ctl import CONFIRM_OPTIONS
from ansible_collections.l3_advance.gateway.plugins.plugin_utils.settings_options import LISTS

# When and whether an entry applies, and what never tells two entries apart.
NO_IDENTITY = ("active", "enabled", "reserved", "index", "flag")
# What a member that is left out means; l3ctl leaves some of them out too.
DEFAULTS = {"active": ("all day", "00:00-23:59"), "enabled": (True,)}


def as_object(entry, member):
    """Some lists write an entry that is its address alone as a text."""
    return entry if isinstance(entry, dict) else {member: entry}


def plain(entry):
    """An entry so that two spellings of it are equal."""
    result = {}
    for name, value in entry.items():
        value = value.lower() if name == "mac" else value
        if value is not None and value != "any" and value not in DEFAULTS.get(name, ()):
            result[name] = value
    return result


def identity(entry):
    return {name: value for name, value in plain(entry).items() if name not in NO_IDENTITY}


class ActionModule(SettingsAction):
    options = {
        "list": {"type": "str", "required": True, "choices": list(LISTS)},
        "entry": {"type": "dict", "required": True},
        "state": {"type": "str", "choices": ["present", "absent"], "default": "present"},
        **CONFIRM_OPTIONS,
    }
    requirements: dict = {}

    def act(self, arguments):
        name, entry = arguments["list"], arguments["entry"]
        member, required, allowed = LISTS[name]["member"], LISTS[name]["required"], LISTS[name]["allowed"]
        wrong = [one for one in entry if one not in allowed] + [one for one in required if one not in entry]
        if wrong:
            raise AnsibleActionFail(f"entry: {wrong[0]}: {', '.join(required)} are wanted, {', '.join(allowed)} allowed")
        section = self.l3ctl("export", "--section", name).json[name]
        before = [as_object(one, required[0]) for one in section[member]]
        after = self._with(before, entry) if arguments["state"] == "present" else self._without(before, entry)
        if [plain(one) for one in before] == [plain(one) for one in after]:
            return {"changed": False}
        return self.apply(to_bytes(json.dumps({name: {**section, member: after}})), arguments)

    @staticmethod
    def _without(entries, entry):
        return [one for one in entries if identity(one) != identity(entry)]

    @staticmethod
    def _with(entries, entry):
        places = [place for place, one in enumerate(entries) if identity(one) == identity(entry)]
        if not places:
            return [*entries, entry]
        return [entry if place == places[0] else one for place, one in enumerate(entries) if place not in places[1:]]
