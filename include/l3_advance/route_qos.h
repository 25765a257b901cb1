/**
 * @file
 * Route QoS: a table of traffic-classification rules and its switch, kept in the configuration file
 * and handed whole to the platform, which programs the forwarding hardware. No packet-filter rule,
 * and the rules themselves are not looked into.
 *
 * A set call writes the file before it calls the platform; a refusal by the platform leaves the
 * file as written. The set calls and gl3_init_qos() return what the platform returned: -1 is
 * failure, anything else success.
 */
#ifndef L3_ADVANCE_ROUTE_QOS_H
#define L3_ADVANCE_ROUTE_QOS_H

#include <stdint.h>

#include "l3_advance/api.h"
#include "l3_advance/records.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Replaces the rules by the 244 bytes at `xi_rulesTale`. A block equal to the one in memory returns
 * 0 at once. Otherwise takes it over, writes the record to the file (where there is none:
 * configuration_file.h, "A missing file") and hands it to the platform.
 *
 * While the switch is 0, the whole record in memory is zeroed in between: the platform gets an
 * empty table, and only the file keeps the rules. Read them back with gl3_web_get_route_qos()
 * before the switch is turned on: gl3_web_set_route_qos_control() writes what is in memory over
 * them.
 *
 * Returns the platform's result, or -1 on a null pointer or a failed write.
 */
L3_API int32_t gl3_web_set_route_qos(const l3_qos_rules* xi_rulesTale);

/**
 * Reloads the record from the file and copies its 244 bytes of rules out. Returns 0, or -1 (logged)
 * on a null pointer or a failed read.
 */
L3_API int32_t gl3_web_get_route_qos(l3_qos_rules* xo_rulesTale);

/**
 * Turns route QoS on (1) or off (0). A value equal to the one in memory returns 0 at once.
 * Otherwise the record in memory, rules included, is written to the file (where there is none:
 * configuration_file.h, "A missing file") and handed to the platform, also when it is turned off.
 * Returns the platform's result, or -1 on any other value or a failed write.
 */
L3_API int32_t gl3_web_set_route_qos_control(int32_t xi_ctrl);

/**
 * Reloads the record from the file and copies its switch out. Returns 0, or -1 (logged) on a null
 * pointer or a failed read.
 */
L3_API int32_t gl3_web_get_route_qos_control(int32_t* xo_ctrl);

/**
 * Sets an all-zero block of rules with gl3_web_set_route_qos() and returns its result; the switch
 * stays. Where the block in memory is zero already, this returns 0 at once, and rules that the file
 * alone has stay there: read them back with gl3_web_get_route_qos() first.
 */
L3_API int32_t gl3_web_remove_all_qos_cfg(void);

/**
 * At start-up: loads the record from the file and hands it to the platform as it is, also when its
 * switch is 0. Returns the platform's result, or -1 when the file cannot be read.
 */
L3_API int32_t gl3_init_qos(void);

#ifdef __cplusplus
}
#endif

#endif
