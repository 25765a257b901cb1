# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

from ansible_collections.l3_advance.gateway.plugins.plugin_utils.l3ctl import L3ctlAction


class ActionModule(L3ctlAction):
    def act(self, arguments):
        return {**self.l3ctl("devices").json, "changed": False}
