/**
 * @file
 * The IP filter: up to 50 forwarding rules per address family, by protocol, addresses and ports, in
 * the upstream (LAN to WAN) and the downstream direction. Each direction is a black list (0: a
 * match is dropped) or a white list (anything else: a match is accepted, the rest dropped). Rules
 * stand in forward_ext_us_ip and forward_ext_ds_ip.
 */
#ifndef L3_ADVANCE_IP_FILTER_H
#define L3_ADVANCE_IP_FILTER_H

#include <stdint.h>

#include "l3_advance/api.h"
#include "l3_advance/records.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Appends the rules of the IPv4 filter in memory to forward_ext_us_ip and forward_ext_ds_ip, one
 * command line an entry, then the catch-all drop of each white list. The chains are not flushed
 * first, and no switch is asked. Returns 0, also when a catch-all failed (logged); -1, with a log
 * line, on an unknown protocol or a reversed port range (the rules so far stay) and on a failed
 * command of an entry (both chains are flushed).
 */
L3_API int32_t config_fw_ip(void);

/**
 * Appends the rules of the IPv6 filter in memory to the IPv6 chains forward_ext_us_ip and
 * forward_ext_ds_ip, one command line an entry, then the catch-all drop of each white list. The
 * chains are not flushed first, and no switch is asked. Returns 0, also when a catch-all failed
 * (logged); -1, with a log line, on an unknown protocol or a reversed port range (the rules so far
 * stay) and on a failed command of an entry (both chains are flushed).
 */
L3_API int32_t config_fw6_ip(void);

/**
 * Replaces the IPv4 filter by the image at `xi_pFirewallTableInfo`. An image equal to the one in
 * memory returns 0 at once. Otherwise takes it over, writes fw_rules_table to the configuration
 * file (where there is none: configuration_file.h, "A missing file"), flushes forward_ext_us_ip and
 * forward_ext_ds_ip, runs config_fw_ip() when the master switch is on and ip_filter_ctrl is 0, and
 * saves the rule set with save_fw(). Returns 0, or -1 on a null pointer or at the first step that
 * fails (a failed flush of forward_ext_us_ip is only logged); after a failure the new settings stay
 * in memory.
 */
L3_API int32_t gl3_web_set_firewall_cfg(const l3_ip_filter* xi_pFirewallTableInfo);

/**
 * Replaces the IPv6 filter by the image at `xi_pFirewallTableInfo`. An image equal to the one in
 * memory returns 0 at once. Otherwise takes it over, writes fw6_rules_table to the configuration
 * file (where there is none: configuration_file.h, "A missing file"), flushes the IPv6 chains
 * forward_ext_us_ip and forward_ext_ds_ip, runs config_fw6_ip() when the master switch is on and
 * ip_filter_ctrl is 0, and saves the rule set with save_fw6(). Returns 0, or -1 on a null pointer
 * or at the first step that fails, either flush included; after a failure the new settings stay in
 * memory.
 */
L3_API int32_t gl3_web_set_firewall6_cfg(const l3_ip6_filter* xi_pFirewallTableInfo);

/**
 * Reloads fw_rules_table from the configuration file and copies the IPv4 filter out; then brings
 * the master switch in memory in line with the file. Returns 0, or -1 on a null pointer or a failed
 * read (when the switch fails to read, the filter is already copied out).
 */
L3_API int32_t gl3_web_get_firewall_cfg(l3_ip_filter* xo_pFirewallTableInfo);

/**
 * Reloads fw6_rules_table from the configuration file and copies the IPv6 filter out; then brings
 * the master switch in memory in line with the file. Returns 0, or -1 on a null pointer or a failed
 * read (when the switch fails to read, the filter is already copied out). Its log lines name the
 * IPv4 call.
 */
L3_API int32_t gl3_web_get_firewall6_cfg(l3_ip6_filter* xo_pFirewallTableInfo);

/**
 * Empties the IPv4 filter: flushes forward_ext_us_ip and forward_ext_ds_ip, appends the catch-all
 * of each white list when the master switch is on (whatever ip_filter_ctrl says; a failure is only
 * logged), saves the rule set with save_fw(), zeroes count and entries, keeps modes and switch, and
 * writes fw_rules_table. Returns 0, or -1 at the first step that fails.
 */
L3_API int32_t gl3_web_remove_all_firewall_rule(void);

/**
 * Empties the IPv6 filter: flushes the IPv6 chains forward_ext_us_ip and forward_ext_ds_ip, appends
 * the catch-all of each white list when the master switch is on (whatever ip_filter_ctrl says; a
 * failure is only logged), saves the rule set with save_fw6(), zeroes count and entries, keeps
 * modes and switch, and writes fw6_rules_table. Returns 0, or -1 at the first step that fails.
 */
L3_API int32_t gl3_web_remove_all_firewall6_rule(void);

/**
 * Factory state of both families: flushes forward_ext_us_ip and forward_ext_ds_ip of each, saves
 * both rule sets, zeroes both filters, modes and switches included (so both are empty and applied),
 * and writes both records. No catch-all is added. Returns 0, or -1 at the first step that fails.
 */
L3_API int32_t gl3_web_set_ip_table_default(void);

#ifdef __cplusplus
}
#endif

#endif
