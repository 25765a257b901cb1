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
 * Every call opens the file, works on its own bytes and closes it; nothing is cached and nothing
 * is rolled back. All return 0, or -1 on failure. A call that "checks the file" creates a missing
 * one with its defaults first (both switches 0, records zero but for the two IPsec words, which
 * are 1), which sets the records in memory to the same defaults.
 *
 * Failures of the record calls go to standard output: "<call>::open <file> error!", and likewise
 * lseek, read, write, and "<call>::init_cfgfile err!". After a failed seek the descriptor stays
 * open. A file that ends early is no error: the rest of the record reads as zero.
 */
#ifndef L3_ADVANCE_CONFIGURATION_FILE_H
#define L3_ADVANCE_CONFIGURATION_FILE_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Writes the whole file with its defaults, creating it with mode 0600 where it is missing, and
 * sets the records in memory to them. A failed open or text write is silent.
 */
L3_API int32_t init_cfgfile(void);

/**
 * Read one of the two switches: 1 when its two value bytes are "1\n", 0 for anything else, a short
 * read included. Check the file. A null pointer is named on standard output; a failed open, seek
 * or read is silent and leaves `xo_control` as it was and the descriptor open.
 */
L3_API int32_t get_vpn_pass_through_state_from_cfgfile(uint8_t* xo_control);
/** The same for the master switch. */
L3_API int32_t get_firewall_state_from_cfgfile(uint8_t* xo_control);

/**
 * Write one of the two switches, key text and value. The low byte of `xi_control` must be 0 or 1;
 * any other is named on standard output. They do not check the file: where it is missing, one is
 * created that holds this line alone, after a hole where the line is not the first.
 */
L3_API int32_t set_vpn_pass_through_state_to_cfgfile(uint32_t xi_control);
/** The same for the master switch. */
L3_API int32_t set_firewall_state_to_cfgfile(uint32_t xi_control);

/** Read both firewall records. Checks the file; zeroes each record just before it is read. */
L3_API int32_t get_firewall_rules_from_cfgfile(void);

/** Writes both firewall records, nothing of the route-QoS record between them. Checks the file. */
L3_API int32_t set_firewall_rules_to_cfgfile(void);

/** Read or write fw_rules_table alone. Check the file; the read zeroes the record first. */
L3_API int32_t get_firewall4_rules_from_cfgfile(void);
/** Writes fw_rules_table alone, in the same way. */
L3_API int32_t set_firewall4_rules_to_cfgfile(void);

/** Read or write fw6_rules_table alone. Check the file; the read zeroes the record first. */
L3_API int32_t get_firewall6_rules_from_cfgfile(void);
/** Writes fw6_rules_table alone, in the same way. */
L3_API int32_t set_firewall6_rules_to_cfgfile(void);

/** Read or write RtQoSRulesTable. The read zeroes the record before it checks the file. */
L3_API int32_t get_qos_cfg_from_cfgfile(void);
/** Writes RtQoSRulesTable, in the same way. */
L3_API int32_t set_qos_cfg_to_cfgfile(void);

#ifdef __cplusplus
}
#endif

#endif
