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
 * characters of the name are left out: "a..b" becomes 01 "a" 01 00.
 *
 * `url` is a zero-terminated text of 1 to 31 characters. `resolve_url` is a buffer of at least 33
 * bytes, zeroed by the caller: a length byte, 31 characters and a zero. Returns 0; -1, with a log
 * line and nothing written, when a pointer is null, the text is empty, too long, or a lone dot.
 */
L3_API int32_t parse_url(const char* url, char* resolve_url);

/**
 * Appends to forward_ext_url the rules of the filter in memory, one command line an active entry,
 * then the catch-all drop of a white list, which holds at all hours. The chain is not flushed
 * first, and no switch is asked. A name that parse_url() rejects still makes a rule, with an empty
 * match string. Returns 0, also when the catch-all failed (logged); -1, with a log line, when an
 * entry's command fails (the chain is flushed, and no later entry is tried).
 */
L3_API int32_t config_fw_url(void);

/**
 * Replaces the filter by the image at `xi_pUrlTableInfo`. An image equal to the one in memory
 * returns 0 at once. Otherwise takes it over, writes both firewall records to the configuration
 * file (where there is none: configuration_file.h, "A missing file"), flushes forward_ext_url, runs
 * config_fw_url() when the master switch and url_filter_ctrl are on (its failure does not show in
 * the result), and saves the rule set with save_fw(). Returns 0, or -1 on a null pointer or at the
 * first step that fails; after a failure the new settings stay in memory.
 */
L3_API int32_t gl3_web_set_url_cfg(const l3_url_filter* xi_pUrlTableInfo);

/**
 * Reloads both firewall records from the configuration file and copies the filter out; then brings
 * the master switch in memory in line with the file. Returns 0, or -1 on a null pointer or a failed
 * read (when the switch fails to read, the filter is already copied out).
 */
L3_API int32_t gl3_web_get_url_cfg(l3_url_filter* xo_pUrlTableInfo);

/**
 * Empties the list: flushes forward_ext_url, appends the catch-all of a white list when the master
 * switch and url_filter_ctrl are on (a failure is only logged), saves the rule set, zeroes count
 * and entries, keeps mode and switch, and writes both firewall records. Returns 0, or -1 at the
 * first step that fails.
 */
L3_API int32_t gl3_web_remove_all_url_rule(void);

/**
 * Factory state: flushes forward_ext_url, saves the rule set, zeroes the whole filter, mode and
 * switch included, and writes both firewall records. No catch-all is added. Returns 0, or -1 at the
 * first step that fails.
 */
L3_API int32_t gl3_web_set_url_table_default(void);

#ifdef __cplusplus
}
#endif

#endif
