/**
 * @file
 * The version banner.
 */
#ifndef L3_ADVANCE_VERSION_H
#define L3_ADVANCE_VERSION_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Registers the library's file name ("libl3_advance.so"), version ("10.0.0.1"), build date and time
 * and banner with the board-support layer, through one call of zt_bsp_version_export(), and returns
 * what that call returned.
 */
L3_API int32_t libonu_bsp_version_export(void);

#ifdef __cplusplus
}
#endif

#endif
