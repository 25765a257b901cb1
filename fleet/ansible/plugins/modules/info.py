# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

DOCUMENTATION = r"""
module: info
short_description: What a gateway says of itself
version_added: 1.0.0
description:
  - Changes nothing. Each thing that is gathered is one run of l3ctl.
options:
  gather:
    description: What to gather.
    type: list
    elements: str
    choices: [version, settings, status, rules, check, doctor]
    default: [version, settings, status]
extends_documentation_fragment:
  - l3_advance.gateway.attributes
"""

EXAMPLES = r"""
- name: Is everything as it should be
  l3_advance.gateway.info:
    gather: [doctor]
  register: told
  failed_when: not told.l3.doctor.healthy
"""

RETURN = r"""
l3:
  description: By what was gathered, the answer of l3ctl, as schema/ describes it.
  type: dict
  returned: always
"""
