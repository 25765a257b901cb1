/*
 * What the settings mean for one packet: which of them decides, and what happens. Worked out from what
 * the features promise and where they stand in a packet's way, never from the command lines that
 * bring it about, so that the two can be held against each other.
 *
 * The way of a forwarded packet, IPv4:  port_scan_protection, ip_filter, url_filter, mac_filter,
 *                                       captive_portal, ipsec_pass_through
 *                                IPv6:  ip6_filter, mac6_filter
 * The way of a packet to the gateway, IPv4:  port_scan_protection, acl, dhcp_filter
 *                                     IPv6:  none
 *
 * The first that accepts or drops the packet decides: an acceptance is final, too.
 */
#pragma once

#include <string>
#include <vector>

#include "settings/model.hpp"
#include "settings/simulation/packet.hpp"

namespace settings {

/* A setting that the packet met, and what that came to. */
struct Step {
  std::string setting; /* a path, as messages about settings files show it */
  std::string what;
};

struct Verdict {
  Outcome outcome = Outcome::accepted;
  std::string decided_by; /* empty when no setting decides */
  std::string reason;
  std::vector<Step> passed; /* what it met before, in order */
};

/* Every section must be there. */
Verdict verdict_on(const Packet& packet, const Settings& settings);

}  // namespace settings
