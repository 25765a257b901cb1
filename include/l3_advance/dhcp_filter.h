/**
 * @file
 * The DHCP client MAC filter: which LAN devices, up to 10 by hardware address, the gateway's DHCP
 * server answers. A black list (a listed device is dropped) unless dhcp_black_white is exactly 1, a
 * white list (a listed device is accepted, the rest dropped). IPv4; rules stand in input_ext_dhcp
 * (UDP port 67 from br0) and hold at all hours.
 */
#ifndef L3_ADVANCE_DHCP_FILTER_H
#define L3_ADVANCE_DHCP_FILTER_H

#include <stdint.h>

#include "l3_advance/api.h"
#include "l3_advance/records.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Appends a rule for every stored entry, whatever its flag says, then the catch-all drop of a white
 * list. The chain is not flushed first. Returns 0; -1, with a log line, on a failed rule, and the
 * chain is flushed then. Only gl3_web_set_dhcp_cfg() calls this: the rules come back neither at
 * start-up nor when the master switch is turned on.
 */
L3_API int32_t config_fw_dhcp(void);

/**
 * Replaces the stored filter by `xi_pDhcpMacTableInfo`. An image equal to the stored one returns 0
 * at once. Otherwise both firewall records are written to the configuration file, the chain is
 * flushed, the rules are generated when the master switch and dhcp_mac_filter_ctrl are on (their
 * failure does not show in the result), and the rule set is saved. Returns 0, or -1 on a null
 * pointer or a failed step; after a failure the new settings stay in memory.
 */
L3_API int32_t gl3_web_set_dhcp_cfg(const l3_dhcp_filter* xi_pDhcpMacTableInfo);

/**
 * Reloads both firewall records from the configuration file and copies the filter out; then brings
 * the master switch in memory in line with the file. Returns 0, or -1 on a null pointer or a
 * failed read (when the switch fails to read, the filter is already copied out).
 */
L3_API int32_t gl3_web_get_dhcp_cfg(l3_dhcp_filter* xo_pDhcpMacTableInfo);

/**
 * Empties the list: flushes the chain, saves the rule set, zeroes count and entries, keeps mode and
 * switch, and writes both firewall records. No catch-all is added, so every client is served.
 * Returns 0 or the failing step's result.
 */
L3_API int32_t gl3_web_remove_all_dhcp_rule(void);

/**
 * Factory state: flushes the chain, saves the rule set, zeroes the whole filter, mode and switch
 * included, and writes both firewall records. Returns 0 or the failing step's result.
 */
L3_API int32_t gl3_web_set_dhcp_table_default(void);

#ifdef __cplusplus
}
#endif

#endif
