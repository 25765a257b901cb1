# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations


class ModuleDocFragment:
    DOCUMENTATION = r"""
options:
  confirm_timeout:
    description:
      - Seconds within which the change has to be confirmed; otherwise the gateway rolls it back by itself.
      - The task confirms it over a new connection, so it has to be longer than a connection takes.
      - With 0 the change stands at once, whether the gateway can still be reached or not.
    type: int
    default: 120
  busy_timeout:
    description:
      - Seconds to wait while another change of the gateway is at work or waits for its confirmation.
    type: int
    default: 60
notes:
  - The gateway needs l3ctl and an ssh server, and neither Python nor sftp; set C(gather_facts) to false.
  - C(async) is refused; the timer of the gateway outlives the controller.
"""
