# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

DOCUMENTATION = r"""
module: entry
short_description: Put one entry into a list of a gateway, or take it out
version_added: 1.0.0
description:
  - Two entries are the same where they are about the same device, name or traffic, whatever their time spans.
  - The list is read, and written back as a whole; use M(l3_advance.gateway.settings) where several tasks meet on one list.
options:
  list:
    description: The list.
    type: str
    required: true
    choices: [ip_filter, ip6_filter, url_filter, mac_filter, mac6_filter, dhcp_filter, acl, captive_portal]
  entry:
    description: The entry, with the members that M(l3_advance.gateway.settings) describes for the list.
    type: dict
    required: true
  state:
    description: Whether it shall be there, as it is given here.
    type: str
    choices: [present, absent]
    default: present
extends_documentation_fragment:
  - l3_advance.gateway.change
  - l3_advance.gateway.attributes
"""

EXAMPLES = r"""
- name: One more name that is not looked up
  l3_advance.gateway.entry:
    list: url_filter
    entry:
      host: games.example.com
      active: 08:00-21:30
"""

RETURN = r"""
change_id:
  description: The id of the change.
  type: str
  returned: when something was changed
"""
