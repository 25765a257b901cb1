/**
 * @file
 * The firewall as a whole: start-up, the master switch, the security level on top of it, the
 * factory reset, and the two switch calls of the captive portal.
 *
 * While the master switch is off, start-up, regeneration and the set calls of the filters make no
 * rules; only IPsec pass and management access do not ask it, nor do the generators of the single
 * features, config_fw_ip() and the like. It stands in the "fire_wall=" line of the configuration
 * file; the library obeys a copy in memory, which the set call writes and the get calls refresh.
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
 * Start-up, once when the web management server starts:
 *
 * 1. Where "/ztcfg/v1_to_v2.flag" is there, carries an older configuration over with
 *    porting_firewall_cfg_v1_to_v2().
 * 2. Makes the folder "/lib/modules/<release>" and an empty "modules.dep" in it where they are
 *    missing, release being that of uname(1): iptables looks for its modules there.
 * 3. Builds the chain tree, 33 commands. A second call, also in another process, appends every hook
 *    in INPUT and FORWARD once more, and packets then pass each chain twice.
 * 4. Goes by which of the two save files are there (missing means the same as in
 *    configuration_file.h):
 *
 *        no "/ztcfg/firewall.conf"     writes it, and nothing else
 *        no "/ztcfg/firewall6.conf"    writes it, and nothing else
 *        both                          reads the master switch; when it is on, loads both records,
 *                                      generates the IPv4 rules, saves them, and restores the
 *                                      IPv6 table from its save file; on or off, drops forwarded
 *                                      IPsec unless the setting that lets it pass can be read
 *                                      and is not 0
 *
 * 5. Hands route QoS to the platform with gl3_init_qos().
 *
 * So a device generates rules from its third start on. The IPv4 IP filter and the access list do
 * nothing until their chains are bound to the Internet WAN, by gl3_l3ctl_update_firewall() or by
 * gl3_web_set_fw_status() with 1; the IPv6 IP filter is bound by the former, or by jumps that its
 * save file holds. Rules of the DHCP client MAC filter do not come back.
 *
 * Returns 0; -1 when a save file cannot be written (route QoS has been handed over), or when the
 * master switch cannot be read (it has not). Other failures are only logged.
 */
L3_API int32_t gl3_web_init_fw(void);

/**
 * Appends the IPv4 rules of every feature that is switched on, from the records in memory and while
 * the master switch in memory is on: IP filter, URL filter, bad TCP, MAC filter, access control
 * list, captive portal. The DHCP client MAC filter is not among them: its rules are made by its own
 * set call alone. The chains are not flushed first. Returns 0, always; failures are only logged.
 */
L3_API int32_t config_fw(void);

/**
 * Appends the IPv6 rules of the IP filter and the MAC filter where they are switched on, from
 * fw6_rules_table in memory and while the master switch in memory is on. The chains are not flushed
 * first. Returns 0, always; failures are only logged.
 */
L3_API int32_t config_fw6(void);

/**
 * Turns the firewall on or off; the low byte of `control` must be 1 or 0.
 *
 * On: flushes the feature chains of both families (flush_fw(), flush_fw6()), reloads both records
 * from the file, generates every rule (config_fw(), config_fw6()), binds the IPv4 dispatch to the
 * Internet WAN that the platform names (left as it is when it names none; that of IPv6 always is),
 * and saves both rule sets. Off: flushes only; the save files keep the last rules. The flush takes
 * the rules of the DHCP client MAC filter too, and neither brings them back. IPsec drops and
 * management access stay.
 *
 * Last, writes the switch to the file with set_firewall_state_to_cfgfile(). Returns 0, or -1 on any
 * other value, or when reading the records, saving a rule set or writing the switch fails; the new
 * switch then stands in memory and not in the file. Failed rules are only logged.
 */
L3_API int32_t gl3_web_set_fw_status(uint32_t control);

/**
 * Reads the master switch from the file, 0 or 1, to one byte, and brings the library's copy in
 * memory in line with it. A missing file is created first. Returns 0, or -1 (logged) on a null
 * pointer or a failed read.
 */
L3_API int32_t gl3_web_get_fw_status(uint8_t* xo_control);

/**
 * Sets the security level: 0 firewall off; 1 on, anti port scan off; 2 on, anti port scan on. The
 * level is put into both records and these are written to the file (where there is none:
 * configuration_file.h, "A missing file"); then gl3_web_set_fw_status() and, for 1 and 2,
 * gl3_web_set_anti_port_scan() are called, and their results not looked at. Returns 0, or -1
 * (logged) on any other level or a failed write, and then no switch is set.
 */
L3_API int32_t gl3_web_set_fw_security_level(int32_t fw_level);

/**
 * Reads the security level, 0 to 2, to one word. Reloads both records, derives the level from the
 * master switch in memory (not in the file) and from anti port scan, and writes the records back.
 * An anti-port-scan word other than 0 and 1 leaves the stored level as it is. Returns 0, or -1
 * (logged) on a null pointer, a failed read or a failed write.
 */
L3_API int32_t gl3_web_get_fw_security_level(int32_t* xo_fw_level);

/**
 * Factory state of the firewall, by the calls of the features in this order: master switch off,
 * anti port scan off; IP filter, URL filter, MAC filter, access control list, captive portal, DHCP
 * client MAC filter and route QoS empty and off (the IP filter empty and applied). The rule sets
 * are saved as they are then, without rules of theirs. The stored security level, IPsec pass and
 * VPN pass-through stay.
 *
 * Stops at the first step that does not return 0 and returns its result; those of the DHCP filter
 * and of the QoS switch are not looked at. Rules of route QoS that the file alone has stay there:
 * gl3_web_remove_all_qos_cfg().
 */
L3_API int32_t gl3_web_set_firewall_default(void);

/**
 * Writes 1 to one word when the firewall and the captive portal are both on in the file, else 0;
 * what cannot be read counts as off. Reloads both firewall records and brings the master switch in
 * memory in line with the file. The pointer is not checked. Returns 0, always.
 */
L3_API int32_t gl3_web_get_caporl_status(uint32_t* xo_status);

/**
 * Turns the whole firewall on or off: gl3_web_set_fw_status() with the low byte of `enable`, whose
 * result is not looked at. The portal's own switch stays. Returns 0, always.
 */
L3_API int32_t gl3_web_set_caporl_enable(uint32_t enable);

#ifdef __cplusplus
}
#endif

#endif
