/**
 * @file
 * VPN pass-through: whether GRE tunnels from the home network cross the gateway's address
 * translation. No packet-filter rule: the switch goes to the forwarding driver and to the resource
 * manager, and stands in the "vpn_pass_through=" line of the configuration file.
 *
 * The platform forgets the switch on a restart. Until the first successful read or change in a
 * process the file is the source of truth, and that read copies it to the platform; from then on
 * the resource manager is, and the file is only written on a change.
 *
 * Failures are named on standard output, "<call>::<step> error!" and the like, and not in the log;
 * no step is undone after a later one has failed.
 */
#ifndef L3_ADVANCE_VPN_PASS_THROUGH_H
#define L3_ADVANCE_VPN_PASS_THROUGH_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Turns pass-through on (1) or off (0), as the low byte of `control` says. Where the resource
 * manager holds that value already, returns 0 at once. Otherwise sets the driver (protocol 47,
 * GRE), then the resource manager, then writes the file, in this order. Returns 0, or -1 on a byte
 * above 1 or a failed step.
 */
L3_API int32_t gl3_web_set_vpn_pass_through(uint32_t control);

/**
 * Writes the switch, 0 or 1, to one byte. The first read in a process takes it from the file, hands
 * it to the resource manager and, when it is 1, to the driver; every read ends with asking the
 * resource manager. Returns 0, or -1 on a null pointer or a failed step (the byte may then hold
 * the stored value).
 */
L3_API int32_t gl3_web_get_vpn_pass_through(uint8_t* xo_control);

/** Turns pass-through off. Returns the result of gl3_web_set_vpn_pass_through(). */
L3_API int32_t gl3_web_set_vpn_pass_through_default(void);

/**
 * Brings platform and file in line after a start: reads the switch and sets what was read. Returns
 * 0 or the failing call's result.
 */
L3_API int32_t gl3_web_init_vpn_pass_through(void);

#ifdef __cplusplus
}
#endif

#endif
