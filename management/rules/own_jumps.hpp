/*
 * The jumps into the gateway's own chains, kept as text, so that a chain that another program deleted can be made
 * again and hooked in where it was; and the rule that drops what comes from the WAN while port-scan protection is on,
 * which is made when the WAN comes up, and by no setting.
 */
#pragma once

#include <string>
#include <vector>

#include "management/rules/rule.hpp"

namespace management {

/* A jump as iptables-save prints it, "-A FORWARD -j forward_ext_ip". */
struct Jump {
  std::string rule;
  std::string after; /* the rule in front of it; empty for the first of its chain */
};

struct JumpSnapshot {
  std::vector<Jump> ipv4;
  std::vector<Jump> ipv6;
  bool has_dhcp_rules = false; /* a restart leaves the chain of the DHCP filter empty */

  [[nodiscard]] std::vector<Jump>& of(Family family);
  [[nodiscard]] const std::vector<Jump>& of(Family family) const;
};

/* Reads the live rules of both families. */
JumpSnapshot read_own_jumps();

/* Whether start-up has made the IPv4 chains, or some of them are left. */
bool has_own_chains();

/* Whether the text is one rule that jumps into an own chain or drops the WAN, and nothing else. */
bool is_own_jump(Family family, const std::string& rule);

/* Makes the own chains that are missing, empty, and puts their jumps where the snapshot has them. Nothing else is
 * touched. Returns whether any chain was missing; what could not be made is added to `problems`. */
bool rebuild_missing_chains(const JumpSnapshot& jumps, std::vector<std::string>& problems);

/* Puts back the jumps of the snapshot that are missing between chains that are there, but for those that name an
 * interface of the WAN, which may be another one now; and the drop of the WAN where there is none. Returns whether any
 * was missing. */
bool restore_missing_jumps(const JumpSnapshot& jumps, std::vector<std::string>& problems);

}  // namespace management
