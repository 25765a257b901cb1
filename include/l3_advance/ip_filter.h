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
 * Appends the rules of the stored IPv4 (IPv6) filter, one command line an entry, then the
 * catch-all drop of each white list. The chains are not flushed first. Returns 0; -1, with a log
 * line, on an unknown protocol or a reversed port range (the rules so far stay) and on a failed
 * command (both chains are flushed).
 */
L3_API int32_t config_fw_ip(void);
/** The same for IPv6. */
L3_API int32_t config_fw6_ip(void);

/**
 * Replaces the stored IPv4 (IPv6) filter by `xi_pFirewallTableInfo`. An image equal to the stored
 * one returns 0 at once. Otherwise the record is written to the configuration file (a missing file
 * is created with its defaults, which take the place of what was set), both chains are flushed, the
 * rules are generated when the master switch is on and ip_filter_ctrl is 0, and the rule set is
 * saved. Returns 0, or -1 on a null pointer or a failed step; after a failure the new settings stay
 * in memory.
 */
L3_API int32_t gl3_web_set_firewall_cfg(const l3_ip_filter* xi_pFirewallTableInfo);
/** The same for IPv6. */
L3_API int32_t gl3_web_set_firewall6_cfg(const l3_ip6_filter* xi_pFirewallTableInfo);

/**
 * Reloads the IPv4 (IPv6) record from the configuration file and copies the filter out; then
 * brings the master switch in memory in line with the file. Returns 0, or -1 on a null pointer or
 * a failed read (when the switch fails to read, the filter is already copied out).
 */
L3_API int32_t gl3_web_get_firewall_cfg(l3_ip_filter* xo_pFirewallTableInfo);
/** The same for IPv6. */
L3_API int32_t gl3_web_get_firewall6_cfg(l3_ip6_filter* xo_pFirewallTableInfo);

/**
 * Empties one family: flushes both chains, appends the catch-all of each white list when the
 * master switch is on (whatever ip_filter_ctrl says), saves the rule set, zeroes count and
 * entries, keeps modes and switch, and writes the record. Returns 0 or the failing step's result.
 */
L3_API int32_t gl3_web_remove_all_firewall_rule(void);
/** The same for IPv6. */
L3_API int32_t gl3_web_remove_all_firewall6_rule(void);

/**
 * Factory state of both families: flushes all four chains, saves both rule sets, zeroes both
 * filters, modes and switches included, and writes both records. No catch-all is added. Returns
 * 0 or the failing step's result.
 */
L3_API int32_t gl3_web_set_ip_table_default(void);

#ifdef __cplusplus
}
#endif

#endif
