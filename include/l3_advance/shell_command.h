/**
 * @file
 * Running one command line through the shell.
 */
#ifndef L3_ADVANCE_SHELL_COMMAND_H
#define L3_ADVANCE_SHELL_COMMAND_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Runs one command line through the standard library's system() and waits for it.
 *
 * `command` is a zero-terminated line for /bin/sh. Returns 0 when it ran and exited with code 0;
 * -1 when it is null, the shell could not be started, a signal ended it, or its exit code was
 * not 0. Writes the outcome to the log (errors at level 2, the raw status and success at
 * level 4). The wait status is taken apart as wait(2) describes it.
 */
L3_API int32_t str_system(const char* command);

#ifdef __cplusplus
}
#endif

#endif
