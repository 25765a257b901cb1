# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

DOCUMENTATION = r"""
module: restore
short_description: Put a configuration file back on a gateway
version_added: 1.0.0
description:
  - Restores what M(l3_advance.gateway.backup) has fetched, confirmed over a new connection or rolled back.
options:
  src:
    description: The file on the controller.
    type: path
    required: true
extends_documentation_fragment:
  - l3_advance.gateway.change
  - l3_advance.gateway.attributes
"""

EXAMPLES = r"""
- name: Put it back
  l3_advance.gateway.restore:
    src: "backups/{{ inventory_hostname }}.dat"
"""

RETURN = r"""
change_id:
  description: The id of the change.
  type: str
  returned: when something was changed
"""
