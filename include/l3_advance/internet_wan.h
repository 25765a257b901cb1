/**
 * @file
 * The Internet WAN: the interface that carries Internet traffic. Rules for downstream traffic are
 * bound to its name. The library keeps one name of at most 5 characters for the life of the
 * process, "wan3" to begin with; it is in no file. Messages go to standard output.
 */
#ifndef L3_ADVANCE_INTERNET_WAN_H
#define L3_ADVANCE_INTERNET_WAN_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Asks the platform for the Internet WAN's index and its interface name, and keeps the name.
 * Returns 0; -1 when the platform answers either question with -1, and then the old name stays.
 * Runs no command.
 */
L3_API int32_t gl3_update_internet_wan(void);

/**
 * Binds the dispatch chains to br0 and to the name that is kept: appends six jumps to
 * forward_ext_ip (both families) and input_ext_acl, which gain a second copy unless they were
 * cleared before. Then reads the master switch from the configuration file and, when it is on, the
 * anti port scan switch, which also refreshes the log level and reloads both firewall records: on,
 * the WAN is shut out through input_ext_local_access_ex; off, or when it cannot be read, that chain
 * is flushed. Returns 0, or -1 when the master switch cannot be read (the jumps stay). Failed
 * commands are only logged.
 */
L3_API int32_t gl3_update_firewall(void);

/**
 * Keeps `ifname`, zero-terminated text of at most 5 characters, and binds the chains to it with
 * gl3_update_firewall(). Returns 0; -1 when that fails, and for a null pointer or a longer name,
 * which change nothing. The text reaches the shell as it is.
 */
L3_API int32_t gl3_l3ctl_update_firewall(const char* ifname);

/**
 * The Internet WAN is gone: the name is "wan3" again, and the chains that were bound to the old one
 * are flushed, four commands. Returns 0.
 */
L3_API int32_t gl3_l3ctl_clear_firewall(void);

#ifdef __cplusplus
}
#endif

#endif
