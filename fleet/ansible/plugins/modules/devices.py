# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

DOCUMENTATION = r"""
module: devices
short_description: The devices of the home network behind a gateway
version_added: 1.0.0
description:
  - Changes nothing.
options: {}
extends_documentation_fragment:
  - l3_advance.gateway.attributes
"""

EXAMPLES = r"""
- name: Who is there
  l3_advance.gateway.devices:
  register: home
"""

RETURN = r"""
devices:
  description: The devices, as l3ctl lists them.
  type: list
  elements: dict
  returned: success
"""
