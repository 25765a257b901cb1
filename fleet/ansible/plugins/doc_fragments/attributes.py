# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
from __future__ import annotations


class ModuleDocFragment:
    DOCUMENTATION = r"""
author:
  - The l3_advance developers (@l3-advance)
attributes:
  check_mode:
    description: Can run in check mode, which writes nothing on the gateway.
    support: full
"""
