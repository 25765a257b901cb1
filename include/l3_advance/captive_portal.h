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
 * Appends an accept rule for each active entry of the stored list, then the drop of all the rest,
 * which stands alone when the list is empty. The chain is not flushed first. Returns 0; -1, with
 * a log line, on a failed accept rule: the chain is flushed then, and nothing is dropped.
 */
L3_API int32_t config_fw_caporl(void);

/**
 * Replaces the stored portal by `xi_pCaporlTableInfo`. An image equal to the stored one returns 0
 * at once. Otherwise both firewall records are written to the configuration file, the chain is
 * flushed, the rules are generated when the master switch and caporl_filter_ctrl are on (their
 * failure does not show in the result), and the rule set is saved. Returns 0, or -1 on a null
 * pointer or a failed step; after a failure the new settings stay in memory. Each address text
 * reaches the shell as it is: the caller has checked it.
 */
L3_API int32_t gl3_web_set_caporl_cfg(const l3_caporl* xi_pCaporlTableInfo);

/**
 * Reloads both firewall records from the configuration file and copies the portal out; then brings
 * the master switch in memory in line with the file. Returns 0, or -1 on a null pointer or a
 * failed read (when the switch fails to read, the portal is already copied out).
 */
L3_API int32_t gl3_web_get_caporl_cfg(l3_caporl* xo_pCaporlTableInfo);

/**
 * Empties the list: flushes the chain, saves the rule set, zeroes count and entries, keeps the
 * switch, and writes both firewall records. No drop is added, so web requests pass until the
 * rules are next generated. Returns 0 or the failing step's result.
 */
L3_API int32_t gl3_web_remove_all_caporl_rule(void);

/**
 * Factory state: flushes the chain (a failure is ignored), saves the rule set, zeroes the whole
 * portal, its switch included, and writes both firewall records. Returns 0 or the failing step's
 * result.
 */
L3_API int32_t gl3_web_set_caporl_table_default(void);

#ifdef __cplusplus
}
#endif

#endif
