/**
 * @file
 * Carrying over the configuration file of an older release, "/ztcfg/l3_advance.conf", whose URL
 * entries have neither a switch nor a time span: 36 bytes each, a word that is kept as url_reserved
 * and the host name in 32 characters. Its URL region is a count, 50 such entries, list mode and
 * switch, 1812 bytes from byte 2416 of the record. Everything else lies in the old file where it
 * lies in "/ztcfg/l3_advance.dat".
 */
#ifndef L3_ADVANCE_MIGRATION_H
#define L3_ADVANCE_MIGRATION_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Completed migrations in this process, 0 or 1. */
L3_API extern int32_t g_porting_firewall_cfg_v1_to_v2_called_count;

/**
 * Renames the old file to the current name, whether it is there or not, loads the records from it,
 * turns its URL entries into enabled ones that act the whole day, lets IPsec pass, and writes the
 * records back. At most 50 entries are converted; the old count is kept as it is. A failed step is
 * not noticed: where the old file is missing, the current one is converted as if it were old.
 * Returns 0, always. Once in a process: any later call does nothing.
 */
L3_API int32_t porting_firewall_cfg_v1_to_v2(void);

#ifdef __cplusplus
}
#endif

#endif
