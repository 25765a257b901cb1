/* Setters of sections that no single call of the library sets. */
#pragma once

#include <cstdint>

#include "settings/time_zone.hpp"

namespace management {

/* The master switch, port-scan protection and the security level. Where the Internet WAN's name is too long for
 * getIfName(), the library makes no rule for it; these bind the rules to it afterwards. */
int32_t set_firewall(bool on);
int32_t set_port_scan_protection(bool on);
int32_t set_security_level(int32_t level);

/* Sets VPN pass-through in the platform and in the file. */
int32_t set_vpn_pass_through(bool on);

/* Stores the zone of time spans. Notifies of a failure, for which no call of the library stands. */
int32_t store_time_zone(const settings::TimeZone& zone);
/* Removes it: spans are in UTC. */
int32_t remove_time_zone();

}  // namespace management
