# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

DOCUMENTATION = r"""
module: backup
short_description: Fetch the configuration file of a gateway
version_added: 1.0.0
description:
  - Writes the bytes of the configuration file to the controller. Nothing is changed on the gateway.
options:
  dest:
    description: Where the file is written on the controller, whole or not at all, for its owner alone.
    type: path
    required: true
extends_documentation_fragment:
  - l3_advance.gateway.attributes
"""

EXAMPLES = r"""
- name: Keep what is stored
  l3_advance.gateway.backup:
    dest: "backups/{{ inventory_hostname }}.dat"
"""

RETURN = r"""
size:
  description: Bytes of the file.
  type: int
  returned: success
sha256:
  description: Its checksum.
  type: str
  returned: success
"""
