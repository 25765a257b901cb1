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
 * Appends to input_ext_dhcp a rule for every entry in memory, whatever its flag says, then the
 * catch-all drop of a white list. The chain is not flushed first, and no switch is asked. Returns
 * 0, also when the catch-all failed (logged); -1, with a log line, on a failed rule of an entry,
 * and the chain is flushed then. Only gl3_web_set_dhcp_cfg() calls this: the rules come back
 * neither at start-up nor when the master switch is turned on.
 */
L3_API int32_t config_fw_dhcp(void);

/**
 * Replaces the filter by the image at `xi_pDhcpMacTableInfo`. An image equal to the one in memory
 * returns 0 at once. Otherwise takes it over, writes both firewall records to the configuration
 * file (where there is none: configuration_file.h, "A missing file"), flushes input_ext_dhcp, runs
 * config_fw_dhcp() when the master switch and dhcp_mac_filter_ctrl are on (its failure does not
 * show in the result), and saves the rule set with save_fw(). Returns 0, or -1 on a null pointer or
 * at the first step that fails; after a failure the new settings stay in memory.
 */
L3_API int32_t gl3_web_set_dhcp_cfg(const l3_dhcp_filter* xi_pDhcpMacTableInfo);

/**
 * Reloads both firewall records from the configuration file and copies the filter out; then brings
 * the master switch in memory in line with the file. Returns 0, or -1 on a null pointer or a failed
 * read (when the switch fails to read, the filter is already copied out).
 */
L3_API int32_t gl3_web_get_dhcp_cfg(l3_dhcp_filter* xo_pDhcpMacTableInfo);

/**
 * Empties the list: flushes input_ext_dhcp, saves the rule set, zeroes count and entries, keeps
 * mode and switch, and writes both firewall records. No catch-all is added, so every client is
 * served. Returns 0, or -1 at the first step that fails.
 */
L3_API int32_t gl3_web_remove_all_dhcp_rule(void);

/**
 * Factory state: flushes input_ext_dhcp, saves the rule set, zeroes the whole filter, mode and
 * switch included, and writes both firewall records. Every client is served. Returns 0, or -1 at
 * the first step that fails.
 */
L3_API int32_t gl3_web_set_dhcp_table_default(void);

#ifdef __cplusplus
}
#endif

#endif
