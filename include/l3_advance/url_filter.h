/**
 * @file
 * The URL filter: up to 50 host names, each with a daily time span (UTC), whose look-ups by LAN
 * clients are blocked (black list, mode 0) or alone allowed (white list, any other mode). The rules
 * match UDP packets from br0 to port 53 that carry the name as DNS writes it, IPv4 only, and stand
 * in forward_ext_url.
 */
#ifndef L3_ADVANCE_URL_FILTER_H
#define L3_ADVANCE_URL_FILTER_H

#include <stdint.h>

#include "l3_advance/api.h"
#include "l3_advance/records.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Turns a dotted host name into the labels of a DNS question (RFC 1035, section 3.1): before each
 * label one byte with its length, no dots, a zero at the end. "abc.de" becomes 03 "abc" 02 "de" 00.
 * A leading dot becomes the first length byte; a trailing dot is dropped. Where a label is empty,
 * the length of the label before it is written once more (0 where there is none) and that many
 * characters of the name are left out.
 *
 * `url` is a zero-terminated text of 1 to 31 characters. `resolve_url` is a buffer of at least 33
 * bytes, zeroed by the caller: 31 characters, a length byte and a zero. Returns 0; -1, with a log
 * line and nothing written, when a pointer is null, the text is empty, too long, or a lone dot.
 */
L3_API int32_t parse_url(const char* url, char* resolve_url);

/**
 * Appends the rules of the stored filter, one command line an active entry, then the catch-all drop
 * of a white list. The chain is not flushed first. A name that parse_url() rejects still makes a
 * rule, with an empty match string. Returns 0; -1, with a log line, when a rule's command fails
 * (the chain is flushed, and no later entry is tried).
 */
L3_API int32_t config_fw_url(void);

/**
 * Replaces the stored filter by `xi_pUrlTableInfo`. An image equal to the stored one returns 0 at
 * once. Otherwise both records are written to the configuration file, the chain is flushed, the
 * rules are generated when the master switch and url_filter_ctrl are on (a failed rule is only
 * logged), and the rule set is saved. Returns 0, or -1 on a null pointer or a failed step; after a
 * failure the new settings stay in memory.
 */
L3_API int32_t gl3_web_set_url_cfg(const l3_url_filter* xi_pUrlTableInfo);

/**
 * Reloads both records from the configuration file and copies the filter out; then brings the
 * master switch in memory in line with the file. Returns 0, or -1 on a null pointer or a failed
 * read (when the switch fails to read, the filter is already copied out).
 */
L3_API int32_t gl3_web_get_url_cfg(l3_url_filter* xo_pUrlTableInfo);

/**
 * Empties the list: flushes the chain, appends the catch-all of a white list when the master switch
 * and url_filter_ctrl are on, saves the rule set, zeroes count and entries, keeps mode and switch,
 * and writes both records. Returns 0 or the failing step's result.
 */
L3_API int32_t gl3_web_remove_all_url_rule(void);

/**
 * Factory state: flushes the chain, saves the rule set, zeroes the filter, mode and switch
 * included, and writes both records. No catch-all is added. Returns 0 or the failing step's result.
 */
L3_API int32_t gl3_web_set_url_table_default(void);

#ifdef __cplusplus
}
#endif

#endif
