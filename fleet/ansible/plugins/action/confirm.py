# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

import re

from ansible.errors import AnsibleActionFail
from ansible_collections.l3_advance.gateway.plugins.plugin_utils.l3ctl import L3ctlAction


class ActionModule(L3ctlAction):
    options = {
        "change_id": {"type": "str", "required": True},
        "state": {"type": "str", "choices": ["confirmed", "reverted"], "default": "confirmed"},
    }

    def act(self, arguments):
        if not re.fullmatch("[0-9a-f]{16}", arguments["change_id"]):
            raise AnsibleActionFail("change_id: 16 hexadecimal digits are wanted")
        if self._task.check_mode:
            pending = self.l3ctl("status").json["confirmation"] or {}
            return {"changed": pending.get("id") == arguments["change_id"]}
        words = ["--revert"] if arguments["state"] == "reverted" else []
        answer = self.l3ctl("confirm", arguments["change_id"], *words).json
        return {"done": answer["done"], "changed": True}
