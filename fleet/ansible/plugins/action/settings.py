# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

import json

from ansible.errors import AnsibleActionFail
from ansible.module_utils.common.text.converters import to_bytes
from ansible_collections.l3_advance.gateway.plugins.plugin_utils.l3ctl import CHANGES, CONFIRM_OPTIONS, DONE, L3ctlAction
from ansible_collections.l3_advance.gateway.plugins.plugin_utils.settings_options import CONFIG, SECTIONS


def given(value):
    """Without the members that were left out."""
    if isinstance(value, dict):
        return {key: given(member) for key, member in value.items() if member is not None}
    return [given(member) for member in value] if isinstance(value, list) else value


def field_lines(fields):
    """Field differences as a person reads them."""
    def text(value):
        return "nothing" if value is None else json.dumps(value)

    return "".join(f"{field['path']}: {text(field['old'])} -> {text(field['new'])}\n" for field in fields)


class ActionModule(L3ctlAction):
    options = {
        "config": CONFIG,
        "src": {"type": "path"},
        "sections": {"type": "list", "elements": "str", "choices": SECTIONS},
        **CONFIRM_OPTIONS,
    }
    requirements = {"mutually_exclusive": [["config", "src"]], "required_one_of": [["config", "src"]]}

    def act(self, arguments):
        return self.apply(self._data(arguments), arguments)

    def apply(self, data, arguments):
        """Applies settings as JSON; with check mode or diff mode it asks first what they would change."""
        result = {}
        if self._task.check_mode or self._task.diff:
            fields = self._fields(data)
            result = {"changed": bool(fields), "fields": fields}
            if self._task.diff:
                result["diff"] = {"prepared": field_lines(fields)}
            if self._task.check_mode or not fields:
                return result
        answer = self.change(
            "apply", "-", data=data, arguments=arguments, is_in_force=lambda: not self._fields(data)
        )
        return {**result, **answer, "changed": bool(answer["applied"])}

    def _fields(self, data):
        return self.l3ctl("diff", "-", data=data, expected=(DONE, CHANGES)).json["fields"]

    def _data(self, arguments):
        if arguments["src"]:
            path = self._find_needle("files", arguments["src"])
            with open(path, "rb") as file:
                text = file.read()
            if not arguments["sections"]:
                return text
            try:
                config = json.loads(text)
            except ValueError as error:
                raise AnsibleActionFail(f"{path}: is no JSON: {error}") from error
        else:
            config = given(arguments["config"])
        wanted = arguments["sections"]
        if wanted:
            missing = [name for name in wanted if name not in config]
            if missing:
                raise AnsibleActionFail(f"sections: the settings have no {', '.join(missing)}")
            config = {name: value for name, value in config.items() if name in wanted}
        return to_bytes(json.dumps(config))
