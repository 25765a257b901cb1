/**
 * @file
 * Access to the gateway's own management services, and the redirect of LAN web requests to a
 * configuration page. Nothing here is stored: what these calls set lives in the running rule set
 * alone. IPv4. Failed commands are only logged.
 */
#ifndef L3_ADVANCE_MANAGEMENT_ACCESS_H
#define L3_ADVANCE_MANAGEMENT_ACCESS_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Allows telnet to the gateway (any low byte of `state` but 0) or blocks it (0): takes the drops of
 * TCP 23 and 26 out of input_ext_access_ctrl, makes that chain the first of INPUT, and appends both
 * drops again when blocking. Returns 0.
 */
L3_API int32_t omci_set_telnet_state(uint32_t state);

/**
 * Allows the web service on TCP port `port` (any low byte of `state` but 0) or blocks it (0): takes
 * the drop of that port out of input_ext_access_ctrl, makes that chain the first of INPUT, and
 * appends the drop again when blocking. The port is printed in decimal as it is given; the drop of
 * a port that an earlier call named stays. Returns 0.
 */
L3_API int32_t omci_set_web_state(uint32_t state, int32_t port);

/**
 * Adds (any `enable` but 0) or removes (0) the rule of the nat table's PREROUTING that sends web
 * requests (TCP 80 from br0) of the source network `pLanNet` ("192.168.1.0/24") to the address
 * `pJumpIp`, unless they are meant for the gateway itself. The gateway's address is the LAN DHCP
 * server's (DhcpsParaServerGet()), up to 15 characters, or 192.168.1.1 when the platform knows
 * none. Adding twice leaves two rules; removing needs the texts that were given when adding and the
 * same gateway address. Both texts are zero-terminated and reach the shell as they are: the caller
 * has checked them. A line of more than 255 characters is logged and not run. Returns 0, or -1
 * (logged) when either text is null.
 */
L3_API int32_t gl3_web_cfg_page_jump(uint32_t enable, const char* pLanNet, const char* pJumpIp);

#ifdef __cplusplus
}
#endif

#endif
