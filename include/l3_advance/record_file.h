/**
 * @file
 * Record files of other programs of the device: fixed-size binary records, each alone in a file of
 * the caller's choosing, from offset 0. One pair of calls is for the standard WAN service record
 * (1872 bytes), one for a record of any length. The bytes are written and read as they are.
 *
 * A missing file is created first, mode 0600, with default contents: 1872 zero bytes for the WAN
 * service record; nothing for any other, except that "/ztcfg/ct_activity_timeout.conf" (time-out of
 * idle connections, as text) gets the 4 bytes "300" and a zero. Which files count as missing:
 * configuration_file.h, "A missing file". An existing file is never truncated.
 *
 * All return 0, or -1 on failure, named on standard output as "<call>::open <path> error!", and
 * likewise lseek, read and write. Nothing is rolled back. After a failed seek the descriptor stays
 * open. Pointers are not checked.
 */
#ifndef L3_ADVANCE_RECORD_FILE_H
#define L3_ADVANCE_RECORD_FILE_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Writes 1872 zero bytes at the start of the file at `path`, creating it where it is missing, with
 * mode 0600. Returns 0, or -1: a failed write is named on standard output, a failed open is silent.
 */
L3_API int32_t init_std_wan_cfgfile(const char* path);

/**
 * Writes the 1872 bytes at `info` to the start of the file at `path`; a missing file is created
 * with init_std_wan_cfgfile() first. Returns 0, or -1, named on standard output; where a missing
 * file cannot be created, as "<call>::init_std_wan_cfgfile err!".
 */
L3_API int32_t set_std_wan_service_info_to_cfgfile(const void* info, const char* path);

/**
 * Zeroes the 1872 bytes at `info` and fills them from the start of the file at `path`; a missing
 * file is created with init_std_wan_cfgfile() first. A shorter file is no error: the rest stays
 * zero. Returns 0, or -1, named on standard output.
 */
L3_API int32_t get_std_wan_service_info_from_cfgfile(void* info, const char* path);

/**
 * Creates the file at `path` where it is missing, with mode 0600 and empty; into
 * "/ztcfg/ct_activity_timeout.conf" alone, new or not, it writes the 4 default bytes "300" and a
 * zero. Returns 0, or -1: a failed write is named on standard output, a failed open is silent.
 */
L3_API int32_t init_cfg_file(const char* path);

/**
 * Writes the `length` bytes at `buf` to the start of the file at `path`; what lies behind them in a
 * longer file stays. A missing file is created with init_cfg_file() first. Returns 0, or -1, named
 * on standard output; where a missing file cannot be created, as "<call>::init_cfg_file err!".
 */
L3_API int32_t write_info_to_file(const void* buf, const char* path, uint32_t length);

/**
 * Reads up to `length` bytes from the start of the file at `path` to `buf`. A shorter file is no
 * error: the rest of the buffer keeps what it held, and the call does not return how much was read.
 * A missing file is created with init_cfg_file() first. Returns 0, or -1, named on standard output.
 */
L3_API int32_t read_info_from_file(void* buf, const char* path, uint32_t length);

#ifdef __cplusplus
}
#endif

#endif
