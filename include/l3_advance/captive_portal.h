/**
 * @file
 * Captive-portal redirection: plain web requests of LAN clients (IPv4, TCP port 80 from br0) reach
 * up to 32 permitted destinations and nothing else. Rules stand in forward_ext_captiveportal.
 */
#ifndef L3_ADVANCE_CAPTIVE_PORTAL_H
#define L3_ADVANCE_CAPTIVE_PORTAL_H

#include <stdint.h>

#include "l3_advance/api.h"
#include "l3_advance/records.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Appends to forward_ext_captiveportal an accept rule for each active entry in memory, then the
 * drop of all the rest, which stands alone when the list is empty. The chain is not flushed first,
 * and no switch is asked. Returns 0, also when the drop failed (logged); -1, with a log line, on a
 * failed accept rule: the chain is flushed then, and nothing is dropped.
 */
L3_API int32_t config_fw_caporl(void);

/**
 * Replaces the portal by the image at `xi_pCaporlTableInfo`. An image equal to the one in memory
 * returns 0 at once. Otherwise takes it over, writes both firewall records to the configuration
 * file (where there is none: configuration_file.h, "A missing file"), flushes
 * forward_ext_captiveportal, runs config_fw_caporl() when the master switch and caporl_filter_ctrl
 * are on (its failure does not show in the result), and saves the rule set with save_fw(). Returns
 * 0, or -1 on a null pointer or at the first step that fails; after a failure the new settings stay
 * in memory.
 *
 * Each address text (an IPv4 address or prefix, "198.51.100.0/24") reaches the shell as it is: the
 * caller has checked it.
 */
L3_API int32_t gl3_web_set_caporl_cfg(const l3_caporl* xi_pCaporlTableInfo);

/**
 * Reloads both firewall records from the configuration file and copies the portal out; then brings
 * the master switch in memory in line with the file. Returns 0, or -1 on a null pointer or a failed
 * read (when the switch fails to read, the portal is already copied out).
 */
L3_API int32_t gl3_web_get_caporl_cfg(l3_caporl* xo_pCaporlTableInfo);

/**
 * Empties the list: flushes forward_ext_captiveportal, saves the rule set, zeroes count and
 * entries, keeps caporl_filter_ctrl, and writes both firewall records. No drop is added, so web
 * requests pass until the rules are next generated. Returns 0, or -1 at the first step that fails.
 */
L3_API int32_t gl3_web_remove_all_caporl_rule(void);

/**
 * Factory state: flushes forward_ext_captiveportal (a failure is only logged), saves the rule set,
 * zeroes the whole portal, caporl_filter_ctrl included, and writes both firewall records. Returns
 * 0, or -1 when saving or writing fails.
 */
L3_API int32_t gl3_web_set_caporl_table_default(void);

#ifdef __cplusplus
}
#endif

#endif
