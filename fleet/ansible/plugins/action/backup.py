# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

import hashlib
import os
import tempfile

from ansible.errors import AnsibleActionFail
from ansible.module_utils.common.text.converters import to_bytes
from ansible_collections.l3_advance.gateway.plugins.plugin_utils.l3ctl import L3ctlAction


def content(path):
    try:
        with open(path, "rb") as file:
            return file.read()
    except FileNotFoundError:
        return None


def write_whole(path, data):
    """The old file or the new one, never half of it; for its owner alone."""
    handle, name = tempfile.mkstemp(dir=os.path.dirname(path) or ".")
    try:
        with os.fdopen(handle, "wb") as file:
            file.write(data)
            file.flush()
            os.fsync(file.fileno())
        os.replace(name, path)
    except OSError:
        os.unlink(name)
        raise


class ActionModule(L3ctlAction):
    options = {"dest": {"type": "path", "required": True}}

    def act(self, arguments):
        answer = self.l3ctl("backup", "-", is_json=False)
        data = to_bytes(answer.text, errors="surrogate_or_strict")
        dest = arguments["dest"]
        result = {
            "changed": content(dest) != data,
            "dest": dest,
            "size": len(data),
            "sha256": hashlib.sha256(data).hexdigest(),
        }
        if result["changed"] and not self._task.check_mode:
            try:
                write_whole(dest, data)
            except OSError as error:
                raise AnsibleActionFail(f"dest: {dest}: {error.strerror}") from error
        return result
