# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

from ansible.module_utils.common.text.converters import to_bytes
from ansible_collections.l3_advance.gateway.plugins.plugin_utils.l3ctl import CONFIRM_OPTIONS, L3ctlAction


class ActionModule(L3ctlAction):
    options = {"src": {"type": "path", "required": True}, **CONFIRM_OPTIONS}

    def act(self, arguments):
        with open(self._find_needle("files", arguments["src"]), "rb") as file:
            wanted = file.read()
        def is_in_force():
            # Without a stored file there is nothing to compare with.
            stored = self.l3ctl("backup", "-", is_json=False, expected=(0, 1, 3))
            return to_bytes(stored.text, errors="surrogate_or_strict") == wanted

        is_equal = is_in_force()
        if is_equal or self._task.check_mode:
            return {"changed": not is_equal}
        answer = self.change("restore", "-", data=wanted, arguments=arguments, is_in_force=is_in_force)
        return {**answer, "changed": True}
