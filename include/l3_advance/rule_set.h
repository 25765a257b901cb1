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
 * Flushes the IPv4 feature chains, eleven commands in a fixed order; failures are only logged.
 * Returns 0. Afterwards input_ext_local_access no longer jumps to input_ext_local_access_ex; the
 * dispatch chains (forward_ext_ip, input_ext_acl) and input_ext_access_ctrl stay as they are.
 */
L3_API int32_t flush_fw(void);

/** Flushes the three IPv6 feature chains; failures are only logged. Returns 0. */
L3_API int32_t flush_fw6(void);

/**
 * Each of these runs the one command line that it is given and returns the result of str_system().
 * They differ in name alone, and any of them takes any line.
 */
L3_API int32_t flush_fw_ip(const char* command);
/** The same for the URL filter. */
L3_API int32_t flush_fw_url(const char* command);
/** The same for the MAC filter. */
L3_API int32_t flush_fw_mac(const char* command);
/** The same for the bad-TCP rules. */
L3_API int32_t flush_fw_bad_tcp(const char* command);

/**
 * Writes the IPv4 filter table to "/ztcfg/firewall.conf" in the format of iptables-save(8). Returns
 * the result of str_system().
 */
L3_API int32_t save_fw(void);

/**
 * Writes the IPv6 filter table to "/ztcfg/firewall6.conf" in the format of ip6tables-save(8).
 * Returns the result of str_system().
 */
L3_API int32_t save_fw6(void);

/**
 * Restores the IPv4 filter table from "/ztcfg/firewall.conf" and then deletes rule number 8 of
 * INPUT, whatever that rule is. Returns 0; failures are only logged.
 */
L3_API int32_t restore_fw(void);

/**
 * Restores the IPv6 filter table from "/ztcfg/firewall6.conf". Returns 0; failures are only logged.
 */
L3_API int32_t restore_fw6(void);

#ifdef __cplusplus
}
#endif

#endif
