/* Calls of the library that take more than one call. */
#pragma once

#include <cstdint>

namespace management {

/* The master switch, port-scan protection and the security level. Where the Internet WAN's name is too long for
 * getIfName(), the library makes no rule for it; these bind the rules to it afterwards. */
int32_t set_firewall(bool on);
int32_t set_port_scan_protection(bool on);
int32_t set_security_level(int32_t level);

/* Sets VPN pass-through in the platform and in the file. */
int32_t set_vpn_pass_through(bool on);

}  // namespace management
