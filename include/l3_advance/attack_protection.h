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
 * Appends the bad-TCP rules to input_ext_local_access and forward_ext_bad_tcp, puts the jump to
 * input_ext_local_access_ex back and, when gl3_update_internet_wan() succeeds, the drop of the
 * Internet WAN into that chain; otherwise standard output says that this one rule is left out.
 * The chains are not flushed first; failed commands are only logged. Returns 0.
 */
L3_API int32_t config_fw_bad_tcp(void);

/**
 * Stores the switch (0 off, anything else on) and writes both firewall records, also when it is
 * what it was; a failed write changes nothing here. Flushes the three chains, appends the rules
 * when both this and the master switch are on, and returns the result of save_fw().
 */
L3_API int32_t gl3_web_set_anti_port_scan(uint8_t control);

/**
 * Reloads both firewall records, writes the low byte of the switch, one byte, to `xo_control` and
 * brings the master switch in memory in line with the file. Returns 0, or -1 (logged) on a null
 * pointer or a failed read; when the master switch fails to read, the byte is already written.
 */
L3_API int32_t gl3_web_get_anti_port_scan(uint8_t* xo_control);

/**
 * Lets IPsec through (anything but 0) or blocks it (0), whatever the master switch says. The value
 * that is stored already returns 0 at once. Otherwise it is stored and both firewall records are
 * written (a failed write changes nothing here), both drop rules are deleted from FORWARD and, for
 * 0, appended again. Returns the result of save_fw().
 */
L3_API int32_t gl3_web_set_ipsec_pass_ctrl(uint32_t control);

/**
 * Reloads both firewall records and writes the control, a 32-bit word, to `xo_control`. Returns 0,
 * or -1 (logged) on a null pointer or a failed read.
 */
L3_API int32_t gl3_web_get_ipsec_pass_ctrl(uint32_t* xo_control);

#ifdef __cplusplus
}
#endif

#endif
