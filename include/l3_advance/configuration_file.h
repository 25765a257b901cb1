/**
 * @file
 * The configuration file "/ztcfg/l3_advance.dat", 15019 bytes when complete:
 *
 *     0      "vpn_pass_through=" and "1\n" or "0\n"
 *     19     "fire_wall=" and "1\n" or "0\n", the firewall master switch
 *     31     fw_rules_table, 6168 bytes
 *     6199   RtQoSRulesTable, 248 bytes
 *     6447   fw6_rules_table, 8572 bytes
 *
 * Each call opens the file, works on its own bytes and closes it; nothing is cached and nothing is
 * rolled back. Failures of the record calls go to standard output: "<call>::open <file> error!",
 * and likewise lseek, read and write, or "<call>::init_cfgfile err!" for a missing file that cannot
 * be created. After a failed seek the descriptor stays open.
 *
 * **A missing file.** A file counts as missing where access() says that none can be there (ENOENT,
 * ENOTDIR, ELOOP, ENAMETOOLONG, or no error at all); after any other failure (EACCES, EIO and the
 * like) it counts as there, so that stored settings are not overwritten by mistake. Its defaults
 * are both switches 0, and records of zeros but for the two IPsec words, which are 1. A call that
 * creates it with them also sets all three records in memory to them. So a management call that
 * meets no file when it stores a filter, anti port scan, the IPsec pass control, the security level
 * or route QoS stores the defaults: they take the place of what it was given, and of every other
 * setting in memory. It continues with them and returns 0. Repeated, now that there is a file, it
 * does its work. This does not happen to a program that loads the records first (l3_advance.h).
 */
#ifndef L3_ADVANCE_CONFIGURATION_FILE_H
#define L3_ADVANCE_CONFIGURATION_FILE_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Writes the whole file with its defaults, over what it held, and sets the three records in memory
 * to the same. Creates it with mode 0600 where it is missing and never truncates it. Returns 0, or
 * -1 when it cannot be opened or written. A failed open, or a failed write of the two text lines,
 * is silent and leaves memory as it was (the latter leaves the descriptor open too).
 */
L3_API int32_t init_cfgfile(void);

/**
 * Reads the VPN pass-through switch to one byte: 1 when the line's value is "1" and a line feed, 0
 * for anything else, the end of the file included. Creates a missing file first. Returns 0, or -1:
 * a null pointer and a file that cannot be created are named on standard output; a failed open,
 * seek or read is silent and leaves `xo_control` as it was, and the latter two leave the
 * descriptor open.
 */
L3_API int32_t get_vpn_pass_through_state_from_cfgfile(uint8_t* xo_control);

/**
 * Reads the firewall master switch to one byte: 1 when the line's value is "1" and a line feed, 0
 * for anything else, the end of the file included. Creates a missing file first. Returns 0, or -1:
 * a null pointer and a file that cannot be created are named on standard output; a failed open,
 * seek or read is silent and leaves `xo_control` as it was, and the latter two leave the
 * descriptor open. The library's own copy of the switch, which the generators obey, is not touched
 * (gl3_web_get_fw_status()).
 */
L3_API int32_t get_firewall_state_from_cfgfile(uint8_t* xo_control);

/**
 * Writes the line of the VPN pass-through switch, bytes 0 to 18 of the file. The low byte of
 * `xi_control` is the value, 0 or 1. A missing file is created with this line alone (mode 0600);
 * its records then read as zero. Returns 0, or -1: any other value is named on standard output; a
 * failed open, seek or write is silent, and the latter two leave the descriptor open.
 */
L3_API int32_t set_vpn_pass_through_state_to_cfgfile(uint32_t xi_control);

/**
 * Writes the line of the firewall master switch, bytes 19 to 30 of the file. The low byte of
 * `xi_control` is the value, 0 or 1. A missing file is created with zeros up to this line and
 * nothing behind it (mode 0600); its records then read as zero. Returns 0, or -1: any other value
 * is named on standard output; a failed open, seek or write is silent, and the latter two leave the
 * descriptor open. The library's own copy of the switch is not touched (gl3_web_set_fw_status()).
 */
L3_API int32_t set_firewall_state_to_cfgfile(uint32_t xi_control);

/**
 * Reads fw_rules_table and fw6_rules_table from the file. Creates a missing file first. Each record
 * is zeroed just before it is read, so what a short file lacks reads as zero. Returns 0, or -1,
 * named on standard output: after a failed open both records are as they were, after a failed read
 * the one that was being read is zero from some byte on.
 */
L3_API int32_t get_firewall_rules_from_cfgfile(void);

/**
 * Writes fw_rules_table and fw6_rules_table to their places in the file and leaves the route-QoS
 * record between them alone. Creates a missing file first, which sets the records to the defaults:
 * those are written then. Returns 0, or -1, named on standard output.
 */
L3_API int32_t set_firewall_rules_to_cfgfile(void);

/**
 * Reads fw_rules_table alone. Creates a missing file first; then zeroes the record and reads it, so
 * what a short file lacks reads as zero, and so does all of it after a failed open. Returns 0, or
 * -1, named on standard output.
 */
L3_API int32_t get_firewall4_rules_from_cfgfile(void);

/**
 * Writes fw_rules_table alone to its place in the file. Creates a missing file first, which sets
 * the records to the defaults: those are written then. Returns 0, or -1, named on standard output.
 */
L3_API int32_t set_firewall4_rules_to_cfgfile(void);

/**
 * Reads fw6_rules_table alone. Creates a missing file first; then zeroes the record and reads it,
 * so what a short file lacks reads as zero, and so does all of it after a failed open. Returns 0,
 * or -1, named on standard output.
 */
L3_API int32_t get_firewall6_rules_from_cfgfile(void);

/**
 * Writes fw6_rules_table alone to its place in the file. Creates a missing file first, which sets
 * the records to the defaults: those are written then. Returns 0, or -1, named on standard output.
 */
L3_API int32_t set_firewall6_rules_to_cfgfile(void);

/**
 * Reads RtQoSRulesTable: zeroes it, creates a missing file, and reads it from its place, so what a
 * short file lacks reads as zero, and so does all of it after a failed open. Returns 0, or -1,
 * named on standard output.
 */
L3_API int32_t get_qos_cfg_from_cfgfile(void);

/**
 * Writes RtQoSRulesTable to its place in the file. Creates a missing file first, which sets the
 * records to the defaults: those are written then. Returns 0, or -1, named on standard output.
 */
L3_API int32_t set_qos_cfg_to_cfgfile(void);

#ifdef __cplusplus
}
#endif

#endif
