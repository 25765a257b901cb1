/**
 * @file
 * The firewall as a whole: start-up, the master switch, the security level on top of it, the
 * factory reset, and the two switch calls of the captive portal.
 *
 * The master switch gates every rule generator. It stands in the "fire_wall=" line of the
 * configuration file; the library keeps a copy that the set call writes and the get calls refresh.
 * Most failures are logged, named "<call>::<step> err!".
 */
#ifndef L3_ADVANCE_FIREWALL_H
#define L3_ADVANCE_FIREWALL_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Start-up, once when the web management server starts. Carries an older configuration over when
 * "/ztcfg/v1_to_v2.flag" is there, and builds the chain tree. Then, by what is there of the two
 * save files:
 *
 *     no "/ztcfg/firewall.conf"     writes it, and nothing else
 *     no "/ztcfg/firewall6.conf"    writes it, and nothing else
 *     both                          reads the master switch; when it is on, generates the IPv4
 *                                   rules from the records, saves them, and restores the IPv6 rules
 *                                   from their save file; on or off, drops forwarded IPsec unless
 *                                   the setting that lets it pass can be read and is not 0
 *
 * Last, hands route QoS to the platform. So a device generates rules from its third start on.
 * Returns 0; the failed result of writing a save file; or -1 when the master switch cannot be read
 * (route QoS is left out then). Failed rule commands are only logged.
 */
L3_API int32_t gl3_web_init_fw(void);

/**
 * Append the IPv4 (IPv6) rules of every feature that is switched on, from the records in memory and
 * while the master switch is on: IP filter, URL filter, bad TCP, MAC filter, access control list,
 * captive portal (IPv6: IP filter, MAC filter). The DHCP client MAC filter is not among them: its
 * rules are made by its own set call alone. The chains are not flushed first. Return 0, always.
 */
L3_API int32_t config_fw(void);
/** The same for IPv6. */
L3_API int32_t config_fw6(void);

/**
 * Turns the firewall on or off; the low byte of `control` must be 1 or 0. On: flushes the feature
 * chains of both families, reloads the records, generates every rule, binds the IPv4 dispatch to
 * the Internet WAN that the platform names (left as it is when it names none), and saves both rule
 * sets. Off: flushes only; the save files keep the last rules. Then writes the switch to the
 * file. Returns 0, or -1 on any other value or a failed step; after a failed step the new switch
 * stands in memory and not in the file.
 */
L3_API int32_t gl3_web_set_fw_status(uint32_t control);

/**
 * Reads the master switch from the file, 0 or 1, to one byte, and brings memory in line with it.
 * Returns 0, or -1 on a null pointer or a failed read.
 */
L3_API int32_t gl3_web_get_fw_status(uint8_t* xo_control);

/**
 * Sets the security level: 0 firewall off; 1 on, anti port scan off; 2 on, anti port scan on. The
 * level is written to the records first (a missing file is created with its defaults, which take
 * the place of what was set), then the master switch and anti port scan are set to it without a
 * look at their results. Returns 0, or -1 on any other level or a failed write.
 */
L3_API int32_t gl3_web_set_fw_security_level(int32_t fw_level);

/**
 * Reads the security level, 0 to 2, to one word. Reloads the records, derives the level from the
 * master switch in memory and from anti port scan, and writes the records back. An anti-port-scan
 * word other than 0 and 1 leaves the stored level as it is. Returns 0, or -1 on a null pointer, a
 * failed read or a failed write.
 */
L3_API int32_t gl3_web_get_fw_security_level(int32_t* xo_fw_level);

/**
 * Factory state of the firewall: master switch and anti port scan off; IP filter, URL filter, MAC
 * filter, access control list, captive portal, DHCP filter and route QoS empty and off (the IP
 * filter empty and applied). The stored security level, IPsec pass and VPN pass-through stay. Stops
 * at the first step that does not return 0 and returns its result; those of the DHCP filter and the
 * QoS switch are not looked at.
 */
L3_API int32_t gl3_web_set_firewall_default(void);

/**
 * Writes 1 to one word when the firewall and the captive portal are both on in the file, else 0;
 * what cannot be read counts as off. Reloads both firewall records and brings the master switch in
 * memory in line with the file. The pointer is not checked. Returns 0, always.
 */
L3_API int32_t gl3_web_get_caporl_status(uint32_t* xo_status);

/**
 * Turns the whole firewall on or off, as gl3_web_set_fw_status() does with the low byte of
 * `enable`; the portal's own switch stays. Returns 0, always.
 */
L3_API int32_t gl3_web_set_caporl_enable(uint32_t enable);

#ifdef __cplusplus
}
#endif

#endif
