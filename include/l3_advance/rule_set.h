/**
 * @file
 * The rule set as a whole: flushing the library's chains, saving and restoring.
 */
#ifndef L3_ADVANCE_RULE_SET_H
#define L3_ADVANCE_RULE_SET_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Flushes the IPv4 feature chains, eleven commands in this order: input_ext_local_access,
 * input_ext_us_acl, input_ext_ds_acl, input_ext_dhcp, forward_ext_bad_tcp, forward_ext_us_ip,
 * forward_ext_ds_ip, forward_ext_url, forward_ext_mac, forward_ext_captiveportal,
 * input_ext_local_access_ex. So input_ext_local_access no longer jumps to
 * input_ext_local_access_ex; the dispatch chains (forward_ext_ip, input_ext_acl) and
 * input_ext_access_ctrl stay as they are. Failures are only logged. Returns 0.
 */
L3_API int32_t flush_fw(void);

/**
 * Flushes the IPv6 feature chains: forward_ext_us_ip, forward_ext_ds_ip, forward_ext_mac. Failures
 * are only logged. Returns 0.
 */
L3_API int32_t flush_fw6(void);

/**
 * Runs the one command line that it is given, whatever it does; meant for the IP filter's chains.
 * Returns the result of str_system().
 */
L3_API int32_t flush_fw_ip(const char* command);

/**
 * Runs the one command line that it is given, whatever it does; meant for the URL filter's chain.
 * Returns the result of str_system().
 */
L3_API int32_t flush_fw_url(const char* command);

/**
 * Runs the one command line that it is given, whatever it does; meant for the MAC filter's chains.
 * Returns the result of str_system().
 */
L3_API int32_t flush_fw_mac(const char* command);

/**
 * Runs the one command line that it is given, whatever it does; meant for the bad-TCP chains.
 * Returns the result of str_system().
 */
L3_API int32_t flush_fw_bad_tcp(const char* command);

/**
 * Writes the IPv4 filter table, other programs' rules included, to "/ztcfg/firewall.conf" in the
 * format of iptables-save(8). Returns the result of str_system(), 0 or -1.
 */
L3_API int32_t save_fw(void);

/**
 * Writes the IPv6 filter table, other programs' rules included, to "/ztcfg/firewall6.conf" in the
 * format of ip6tables-save(8). Returns the result of str_system(), 0 or -1.
 */
L3_API int32_t save_fw6(void);

/**
 * Replaces the IPv4 filter table by "/ztcfg/firewall.conf", other programs' rules included, and
 * then deletes rule number 8 of INPUT, whatever that rule is. Returns 0; failures are only logged.
 */
L3_API int32_t restore_fw(void);

/**
 * Replaces the IPv6 filter table by "/ztcfg/firewall6.conf", other programs' rules included.
 * Returns 0; failures are only logged.
 */
L3_API int32_t restore_fw6(void);

#ifdef __cplusplus
}
#endif

#endif
