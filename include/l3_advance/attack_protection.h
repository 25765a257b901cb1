/**
 * @file
 * Two switches that are no rule tables, both in fw_rules_table. The anti port scan switch turns on
 * a fixed set of rules against TCP packets that open no proper connection and shuts the Internet
 * WAN out of the gateway's own services. The IPsec pass control decides whether IKE and NAT
 * traversal (UDP 500 to 500 and 4500 to 4500) are forwarded. Both act on IPv4 alone.
 */
#ifndef L3_ADVANCE_ATTACK_PROTECTION_H
#define L3_ADVANCE_ATTACK_PROTECTION_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Puts the jump from input_ext_local_access to input_ext_local_access_ex back; asks
 * gl3_update_internet_wan() for the Internet WAN and drops all that comes from it in
 * input_ext_local_access_ex (where there is none, standard output says that this rule is left out);
 * and appends the bad-TCP rules to input_ext_local_access and forward_ext_bad_tcp: a packet of
 * state NEW with SYN and ACK is dropped, any other of state NEW that is no plain SYN logged by the
 * kernel ("New not syn:") and dropped, and a lone RST accepted, one a second; those above that go
 * on through the other chains. The chains are not flushed first, and neither switch is asked;
 * failed commands are only logged. Returns 0.
 */
L3_API int32_t config_fw_bad_tcp(void);

/**
 * Stores the low byte of `control` as the anti port scan switch (0 off, anything else on) and
 * writes both firewall records, also when it is what it was (where there is no file:
 * configuration_file.h, "A missing file"); a failed write does not stop the call and does not show
 * in its result. Flushes forward_ext_bad_tcp, input_ext_local_access and input_ext_local_access_ex,
 * runs config_fw_bad_tcp() when both this and the master switch are on, and saves the rule set.
 * Returns 0, or -1 when saving fails.
 */
L3_API int32_t gl3_web_set_anti_port_scan(uint32_t control);

/**
 * Reloads both firewall records, writes the low byte of the anti port scan switch, one byte, to
 * `xo_control` and brings the master switch in memory in line with the file. Returns 0, or -1
 * (logged) on a null pointer or a failed read; when the master switch fails to read, the byte is
 * already written.
 */
L3_API int32_t gl3_web_get_anti_port_scan(uint8_t* xo_control);

/**
 * Lets IPsec through (anything but 0) or blocks it (0), whatever the master switch says. A value
 * equal to the one in memory returns 0 at once. Otherwise stores it and writes both firewall
 * records; a failed write does not stop the call and does not show in its result, and where there
 * is no file it stores the default, 1 (configuration_file.h, "A missing file"), while the rules
 * follow `control`. Deletes both drops (UDP 500 to 500, 4500 to 4500) from FORWARD, each once, for
 * 0 appends them again, and saves the rule set. Returns 0, or -1 when saving fails; other failed
 * commands are only logged.
 */
L3_API int32_t gl3_web_set_ipsec_pass_ctrl(uint32_t control);

/**
 * Reloads both firewall records and writes the IPsec pass control, a 32-bit word, to `xo_control`.
 * Returns 0, or -1 (logged) on a null pointer or a failed read.
 */
L3_API int32_t gl3_web_get_ipsec_pass_ctrl(uint32_t* xo_control);

#ifdef __cplusplus
}
#endif

#endif
