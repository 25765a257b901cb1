/**
 * @file
 * The local-service access control list: up to 16 sources that may reach the gateway's own services
 * (web, FTP, SNMP, telnet, ping, or all) from the LAN (upstream) or from the WAN (downstream), IPv4
 * only. A direction with at least one entry drops everyone else; one without stays open. Rules
 * stand in input_ext_us_acl and input_ext_ds_acl.
 *
 * A source may be a range of addresses, which iptables takes as a series of prefixes: the first
 * three calls make that series.
 */
#ifndef L3_ADVANCE_ACCESS_LIST_H
#define L3_ADVANCE_ACCESS_LIST_H

#include <stdint.h>

#include "l3_advance/api.h"
#include "l3_advance/records.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Runs one command line for each prefix of the range `start` to `end`, both included, in ascending
 * order: `head`, the prefix with one blank behind it ("192.168.1.4/31 "), and `tail`. An address is
 * a number whose most significant byte is the first octet. Both addresses must share their first
 * two octets; any other range runs nothing, is logged and returns -1. Otherwise the result is 0,
 * also when `start` is above `end` in the last octet (logged, nothing run) and when a command fails
 * or, longer than 255 characters, is not run (both logged).
 *
 * The series follows a fixed rule of halving and is not always the shortest: .10 to .20 is 10/31,
 * 12/30, 16/31, 18/31 and 20/32.
 *
 * Callers check that `start` is not above `end`. Where the third octets are in reversed order, the
 * rest of start's /24 and the beginning of end's are run all the same: 192.168.2.10 to 192.168.1.20
 * opens 192.168.2.10 to 192.168.2.255 and 192.168.1.0 to 192.168.1.20. With a third octet of 255 in
 * `start`, or of 0 in `end`, /24 blocks outside the range are added: 192.168.255.10 to 192.168.4.20
 * also opens 192.169.0.0 to 192.169.3.255.
 */
L3_API int32_t config_acl_ip_range(const char* head, const char* tail, uint32_t start,
                                   uint32_t end);

/**
 * Runs one command line, `head`, prefix, blank and `tail`, for each prefix (/32 to /24) of a range
 * inside one /24. Only the last octets are compared; both addresses must lie in the same /24, which
 * is not checked. Returns 0, or -1 with a log line when `start` is above `end`. Commands that fail
 * are only logged.
 */
L3_API int32_t config_acl_ip_range_24_mask(const char* head, const char* tail, uint32_t start,
                                           uint32_t end);

/**
 * Runs one command line, `head`, prefix, blank and `tail`, for each prefix (/24 to /16) of a range
 * of whole /24 blocks inside one /16, from start's block to end's. Only the third octets are
 * compared. Both addresses end in .0; a last octet of `start` shows up in the commands. Returns 0,
 * or -1 with a log line when start's block is above end's. Commands that fail are only logged.
 */
L3_API int32_t config_acl_ip_range_16_mask(const char* head, const char* tail, uint32_t start,
                                           uint32_t end);

/**
 * Appends the rules of the list in memory to input_ext_us_acl and input_ext_ds_acl: an accept rule
 * for each entry in use (a series of them for a range) and, for each direction with such an entry,
 * a catch-all drop. The chains are not flushed first. Returns 0, also when a range was refused or
 * one of its commands, or a catch-all, failed; -1, with a log line, on an unknown service (the
 * rules so far stay) and on a failed command of an entry without a source (both chains are
 * flushed).
 */
L3_API int32_t config_fw_acl(void);

/**
 * Replaces the list by the image at `xi_pFirewallTableInfo`. An image equal to the one in memory
 * returns 0 at once. Otherwise takes it over, writes both firewall records to the configuration
 * file (where there is none: configuration_file.h, "A missing file"), flushes input_ext_us_acl and
 * input_ext_ds_acl, runs config_fw_acl() when the master switch is on and acl_filter_ctrl is not 0,
 * and saves the rule set with save_fw(). Returns 0, or -1 on a null pointer or at the first step
 * that fails (a failed flush of input_ext_us_acl is only logged); after a failure the new list
 * stays in memory.
 */
L3_API int32_t gl3_web_set_acl_cfg(const l3_acl* xi_pFirewallTableInfo);

/**
 * Reloads both firewall records from the configuration file and copies the list out; then brings
 * the master switch in memory in line with the file. Returns 0, or -1 on a null pointer or a failed
 * read (when the switch fails to read, the list is already copied out).
 */
L3_API int32_t gl3_web_get_acl_cfg(l3_acl* xo_pAclTableInfo);

/**
 * Empties the list: flushes input_ext_us_acl and input_ext_ds_acl, saves the rule set, zeroes count
 * and entries, keeps acl_filter_ctrl, and writes both firewall records. No catch-all is added: both
 * directions are open afterwards. Returns 0, or -1 when saving or writing fails; a failed flush is
 * only logged.
 */
L3_API int32_t gl3_web_remove_all_acl_rule(void);

/**
 * Factory state: flushes input_ext_us_acl and input_ext_ds_acl, saves the rule set, zeroes the
 * whole list, acl_filter_ctrl included, and writes both firewall records. Both directions are open
 * afterwards. Returns 0, or -1 when saving or writing fails; a failed flush is only logged.
 */
L3_API int32_t gl3_web_set_acl_table_default(void);

#ifdef __cplusplus
}
#endif

#endif
