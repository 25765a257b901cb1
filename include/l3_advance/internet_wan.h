/**
 * @file
 * The Internet WAN: the interface that carries Internet traffic. Rules for downstream traffic are
 * bound to its name. The library keeps one name for the life of the process, "wan3" to begin with;
 * it is in no file. The platform's getIfName() can name an interface of up to 5 characters; a
 * daemon reports names of up to 15, the longest that an interface can have. Messages go to standard
 * output.
 */
#ifndef L3_ADVANCE_INTERNET_WAN_H
#define L3_ADVANCE_INTERNET_WAN_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Asks the platform for the Internet WAN's index and its interface name, and keeps the name, which
 * ends after 5 characters. Returns 0; -1 when the platform answers either question with -1, and
 * then the old name stays. Runs no command.
 */
L3_API int32_t gl3_update_internet_wan(void);

/**
 * Binds the dispatch chains to br0 and to the name that is kept: appends six jumps, in both
 * families from forward_ext_ip to forward_ext_us_ip (br0) and forward_ext_ds_ip (the WAN), in IPv4
 * also from input_ext_acl to input_ext_us_acl (br0) and input_ext_ds_acl (the WAN). They stand
 * twice unless they were cleared before.
 *
 * Then reads the master switch from the configuration file and, when it is on, the anti port scan
 * switch with gl3_web_get_anti_port_scan(), which reloads both firewall records: on, a drop of the
 * WAN is inserted into input_ext_local_access_ex, also where one stands already; off, or when it
 * cannot be read, that chain is flushed. Returns 0, or -1 when the master switch cannot be read
 * (the jumps stay). Failed commands are only logged.
 */
L3_API int32_t gl3_update_firewall(void);

/**
 * The Internet WAN has come up as `ifname`: keeps the name, zero-terminated text of at most 15
 * characters ("ppp0.100"), and binds the chains to it with gl3_update_firewall(). A daemon calls
 * gl3_l3ctl_clear_firewall() before it. Returns 0; -1 when that fails, and for a null pointer or a
 * longer name, which change nothing and are named on standard output alone. The text reaches the
 * shell as it is.
 */
L3_API int32_t gl3_l3ctl_update_firewall(const char* ifname);

/**
 * The Internet WAN is gone: the name is "wan3" again, and the chains that were bound to the old one
 * are flushed by four commands: input_ext_local_access_ex, forward_ext_ip of IPv4 and of IPv6, and
 * input_ext_acl. IP filter and access list rest until the next binding. Returns 0; failed commands
 * are only logged.
 */
L3_API int32_t gl3_l3ctl_clear_firewall(void);

#ifdef __cplusplus
}
#endif

#endif
