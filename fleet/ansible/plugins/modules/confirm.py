# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

DOCUMENTATION = r"""
module: confirm
short_description: Confirm a pending change of a gateway, or roll it back
version_added: 1.0.0
description:
  - For a change that another program, or a person, has begun; M(l3_advance.gateway.settings) confirms its own.
options:
  change_id:
    description: The id of the change, in quotes; another change is refused.
    type: str
    required: true
  state:
    description: What becomes of the change.
    type: str
    choices: [confirmed, reverted]
    default: confirmed
extends_documentation_fragment:
  - l3_advance.gateway.attributes
"""

EXAMPLES = r"""
- name: Keep it
  l3_advance.gateway.confirm:
    change_id: "0123456789abcdef"
"""

RETURN = r"""
done:
  description: What was done, in words.
  type: str
  returned: success
"""
