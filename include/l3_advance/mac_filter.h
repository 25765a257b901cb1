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
 * Appends to forward_ext_mac the rules of the IPv4 filter in memory, one command line an active
 * entry, then, in mode 1, the catch-all drop. The chain is not flushed first, and no switch is
 * asked. Returns 0, also when the catch-all failed (logged); -1, with a log line, when an entry's
 * command fails (the chain is flushed, and no later entry is tried).
 */
L3_API int32_t config_fw_mac(void);

/**
 * Appends to the IPv6 chain forward_ext_mac the rules of the IPv6 filter in memory, one command
 * line an active entry, then, in mode 1, the catch-all drop. The chain is not flushed first, and no
 * switch is asked. Returns 0, also when the catch-all failed (logged); -1, with a log line, when an
 * entry's command fails (the chain is flushed, and no later entry is tried).
 */
L3_API int32_t config_fw6_mac(void);

/**
 * Replaces the IPv4 filter by the image at `xi_pMacTableInfo`. An image equal to the one in memory
 * returns 0 at once. Otherwise takes it over, writes both firewall records to the configuration
 * file (where there is none: configuration_file.h, "A missing file"), flushes forward_ext_mac, runs
 * config_fw_mac() when the master switch and mac_filter_ctrl are on (its failure does not show in
 * the result), and saves the rule set with save_fw(). Returns 0, or -1 on a null pointer or at the
 * first step that fails; after a failure the new settings stay in memory.
 */
L3_API int32_t gl3_web_set_mac_cfg(const l3_mac_filter* xi_pMacTableInfo);

/**
 * Replaces the IPv6 filter by the image at `xi_pMacTableInfo`. An image equal to the one in memory
 * returns 0 at once. Otherwise takes it over, writes fw6_rules_table to the configuration file
 * (where there is none: configuration_file.h, "A missing file"), flushes the IPv6 chain
 * forward_ext_mac, runs config_fw6_mac() when the master switch and mac_filter_ctrl are on (its
 * failure does not show in the result), and saves the rule set with save_fw6(). Returns 0, or -1 on
 * a null pointer or at the first step that fails; after a failure the new settings stay in memory.
 * Its log lines name the IPv4 call.
 */
L3_API int32_t gl3_web_set_mac6_cfg(const l3_mac_filter* xi_pMacTableInfo);

/**
 * Reloads both firewall records from the configuration file and copies the IPv4 filter out; then
 * brings the master switch in memory in line with the file. Returns 0, or -1 on a null pointer or a
 * failed read (when the switch fails to read, the filter is already copied out).
 */
L3_API int32_t gl3_web_get_mac_cfg(l3_mac_filter* xo_pMacTableInfo);

/**
 * Reloads fw6_rules_table from the configuration file and copies the IPv6 filter out; then brings
 * the master switch in memory in line with the file. Returns 0, or -1 on a null pointer or a failed
 * read (when the switch fails to read, the filter is already copied out).
 */
L3_API int32_t gl3_web_get_mac6_cfg(l3_mac_filter* xo_pMacTableInfo);

/**
 * Empties the IPv4 filter: flushes forward_ext_mac, appends the catch-all when the master switch
 * and mac_filter_ctrl are on and the mode is anything but 0 (a failure is only logged), saves the
 * rule set with save_fw(), zeroes count and entries, keeps mode and switch, and writes both
 * firewall records. Returns 0, or -1 at the first step that fails.
 */
L3_API int32_t gl3_web_remove_all_mac_rule(void);

/**
 * Empties the IPv6 filter: flushes the IPv6 chain forward_ext_mac, appends the catch-all when the
 * master switch and mac_filter_ctrl are on and the mode is anything but 0 (a failure is only
 * logged), saves the rule set with save_fw6(), zeroes count and entries, keeps mode and switch, and
 * writes fw6_rules_table. Returns 0, or -1 at the first step that fails.
 */
L3_API int32_t gl3_web_remove_all_mac6_rule(void);

/**
 * Factory state of both families: flushes forward_ext_mac of each, saves both rule sets, zeroes
 * both filters, modes and switches included, and writes both records. No catch-all is added.
 * Returns 0, or -1 at the first step that fails.
 */
L3_API int32_t gl3_web_set_mac_table_default(void);

#ifdef __cplusplus
}
#endif

#endif
