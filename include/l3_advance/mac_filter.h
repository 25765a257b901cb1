/**
 * @file
 * The MAC filter: up to 10 LAN devices per address family, each with a daily time span (UTC), whose
 * forwarded traffic is dropped (black list) or alone accepted (white list). The generators take
 * mode 1, and no other, for a white list. Rules stand in forward_ext_mac of each family.
 */
#ifndef L3_ADVANCE_MAC_FILTER_H
#define L3_ADVANCE_MAC_FILTER_H

#include <stdint.h>

#include "l3_advance/api.h"
#include "l3_advance/records.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Appends the rules of the stored IPv4 (IPv6) filter, one command line an active entry, then, in
 * mode 1, the catch-all drop. The chain is not flushed first. Returns 0; -1, with a log line, when
 * a rule's command fails (the chain is flushed, and no later entry is tried).
 */
L3_API int32_t config_fw_mac(void);
/** The same for IPv6. */
L3_API int32_t config_fw6_mac(void);

/**
 * Replaces the stored IPv4 (IPv6) filter by `xi_pMacTableInfo`. An image equal to the stored one
 * returns 0 at once. Otherwise the configuration file is written (both records for IPv4, the IPv6
 * record alone for IPv6), the chain is flushed, the rules are generated when the master switch and
 * mac_filter_ctrl are on (a failed rule is only logged), and the rule set is saved. Returns 0, or
 * -1 on a null pointer or a failed step; after a failure the new settings stay in memory.
 */
L3_API int32_t gl3_web_set_mac_cfg(const l3_mac_filter* xi_pMacTableInfo);
/** The same for IPv6. */
L3_API int32_t gl3_web_set_mac6_cfg(const l3_mac_filter* xi_pMacTableInfo);

/**
 * Reloads both records (IPv4) or the IPv6 record from the configuration file and copies the filter
 * out; then brings the master switch in memory in line with the file. Returns 0, or -1 on a null
 * pointer or a failed read (when the switch fails to read, the filter is already copied out).
 */
L3_API int32_t gl3_web_get_mac_cfg(l3_mac_filter* xo_pMacTableInfo);
/** The same for IPv6. */
L3_API int32_t gl3_web_get_mac6_cfg(l3_mac_filter* xo_pMacTableInfo);

/**
 * Empties one family: flushes the chain, appends the catch-all when the master switch and
 * mac_filter_ctrl are on and the mode is anything but 0, saves the rule set, zeroes count and
 * entries, keeps mode and switch, and writes both records (IPv4) or the IPv6 record. Returns 0 or
 * the failing step's result.
 */
L3_API int32_t gl3_web_remove_all_mac_rule(void);
/** The same for IPv6. */
L3_API int32_t gl3_web_remove_all_mac6_rule(void);

/**
 * Factory state of both families: flushes both chains, saves both rule sets, zeroes both filters,
 * modes and switches included, and writes both records. No catch-all is added. Returns 0 or the
 * failing step's result.
 */
L3_API int32_t gl3_web_set_mac_table_default(void);

#ifdef __cplusplus
}
#endif

#endif
