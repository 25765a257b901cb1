# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations

DOCUMENTATION = r"""
module: settings
short_description: Set settings of a gateway, confirmed over a new connection or rolled back
version_added: 1.0.0
description:
  - Applies settings with l3ctl as a whole; a section that is left out stays as it is.
  - Opens a new connection and confirms the change over it. A gateway that can no longer be reached rolls back.
options:
  src:
    description: A file of the controller with settings as JSON, in place of C(config).
    type: path
  sections:
    description: The sections that are set; all that are there, if left out.
    type: list
    elements: str
    choices: [time_zone, firewall, security_level, port_scan_protection, ipsec_pass_through, vpn_pass_through, ip_filter,
      ip6_filter, url_filter, mac_filter, mac6_filter, dhcp_filter, acl, captive_portal, route_qos]
extends_documentation_fragment:
  - l3_advance.gateway.config
  - l3_advance.gateway.change
  - l3_advance.gateway.attributes
"""

EXAMPLES = r"""
- name: The tablet sleeps at night
  l3_advance.gateway.settings:
    config:
      mac_filter:
        enabled: true
        devices:
          - mac: "02:00:00:00:01:20"
            active: 20:30-06:00

- name: Two sections of a file
  l3_advance.gateway.settings:
    src: home.json
    sections: [firewall, acl]
"""

RETURN = r"""
applied:
  description: The sections that were set.
  type: list
  elements: str
  returned: when not in check mode
unchanged:
  description: The sections that were so already.
  type: list
  elements: str
  returned: when not in check mode
change_id:
  description: The id of the change.
  type: str
  returned: when something was changed
confirmed:
  description: Whether the change was confirmed over a new connection.
  type: bool
  returned: when something was changed with a confirm_timeout
reverted:
  description: Whether the gateway rolled the change back.
  type: bool
  returned: when it did, and the task failed
fields:
  description: The fields that differ, each with path, old and new value.
  type: list
  elements: dict
  returned: in check mode and diff mode
"""
