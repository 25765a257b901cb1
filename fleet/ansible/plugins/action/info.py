# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

from ansible_collections.l3_advance.gateway.plugins.plugin_utils.l3ctl import L3ctlAction

# What is gathered -> the command. Some answer with 3 where the gateway is not as it should be.
COMMANDS = {
    "version": "--version",
    "settings": "export",
    "status": "status",
    "rules": "rules",
    "check": "check",
    "doctor": "doctor",
}


class ActionModule(L3ctlAction):
    options = {
        "gather": {
            "type": "list",
            "elements": "str",
            "choices": list(COMMANDS),
            "default": ["version", "settings", "status"],
        }
    }

    def act(self, arguments):
        told = {one: self.l3ctl(COMMANDS[one], expected=(0, 3)).json for one in arguments["gather"]}
        return {"changed": False, "l3": told}
