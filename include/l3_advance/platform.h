/**
 * @file
 * What the library asks of the device it runs on. These ten calls are undefined symbols of
 * libl3_advance.so; the process that loads the library supplies them, in the program itself (linked
 * with -rdynamic) or in another library. Pointers are valid during the call alone.
 *
 * **A missing call.** The symbols are weak: the library also loads into a process that supplies
 * none of the calls, or some. One that is missing behaves like one that fails: it returns -1 and
 * writes nothing. A missing l3_log_print() logs nothing, a missing
 * grm_all_refresh_log_mod_level() changes no level, and without DhcpsParaServerGet() the gateway's
 * address is 192.168.1.1. So a misspelt or forgotten definition is no error at link or at load
 * time: packaging/check-firmware lists which calls an image supplies.
 *
 * **SIGCHLD.** The process must be able to wait for its children: SIGCHLD is not ignored (SIG_IGN,
 * or SA_NOCLDWAIT), and no handler or other thread reaps children that it has not started itself.
 * The library runs every command line with system(), which otherwise cannot tell how the line ended
 * and returns -1. The library then takes a rule that was accepted for a refused one and flushes its
 * chain: the filter fails open, and blocked traffic passes. A disposition of SIG_IGN is inherited
 * through execve(), so a daemon or a web server that ignores SIGCHLD hands it on to the programs
 * that it starts; such a program sets signal(SIGCHLD, SIG_DFL) before its first call. To check a
 * process: str_system("true") returns 0 where the requirement is met, and -1 where it is not; the
 * log then says "run [true], system error!". From outside, bit 0x10000 of "SigIgn:" in
 * /proc/PID/status (0x20000 on MIPS) is 0.
 */
#ifndef L3_ADVANCE_PLATFORM_H
#define L3_ADVANCE_PLATFORM_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Lets the compiler check a printf format. */
#if defined(__GNUC__)
#define L3_PRINTF(text, arguments) __attribute__((format(printf, text, arguments)))
#else
#define L3_PRINTF(text, arguments)
#endif

/**
 * Writes one diagnostic line. `level` is 2 for an error and 4 for a trace, `module` is always 2,
 * `format` is a printf format whose first conversion is the source line number. Some formats end
 * without a line feed.
 */
L3_API void l3_log_print(int32_t level, int32_t module, const char* format, ...) L3_PRINTF(3, 4);

/** Re-reads the log level of the module, so that a change takes effect before the next line. */
L3_API void grm_all_refresh_log_mod_level(void);

/**
 * Registers a version banner: file name, version, build date, build time, banner text, and a flag
 * that the library sets to 1. The result is handed on to the library's caller unchanged, -1 where
 * this call is missing.
 */
L3_API int32_t zt_bsp_version_export(const char* file, const char* version, const char* date,
                                     const char* time, const char* banner, int32_t flag);

/** Writes the resource manager's VPN pass-through switch (0 or 1) to one byte; -1 on failure. */
L3_API int32_t grm_l3_advance_get_vpn_pass_through(uint8_t* state);

/** Stores the VPN pass-through switch (0 or 1) in the resource manager; -1 on failure. */
L3_API int32_t grm_l3_advance_set_vpn_pass_through(uint8_t state);

/**
 * Tells the forwarding driver to let an IP protocol (47, GRE) through (1) or not (0). 0 is success,
 * anything else an error code.
 */
L3_API int32_t gpon_l3_control_vpn_pass_through(int32_t protocol, uint8_t state);

/** Programs route QoS from the 248-byte record (l3_route_qos); -1 is failure. */
L3_API int32_t gpon_l3_set_qos_cfg(const void* route_qos_record);

/** The index of the WAN connection that carries Internet traffic; -1 when there is none. */
L3_API int32_t grm_gl3_get_internet_index(void);

/**
 * Writes the interface name of WAN connection `index` to a buffer of 6 bytes that the caller has
 * zeroed: at most 5 characters and the zero. -1 on failure, and for an interface whose name is
 * longer: such a name is reported with gl3_l3ctl_update_firewall().
 */
L3_API int32_t getIfName(int32_t index, char* name);

/**
 * Fills a 48-byte buffer that the caller has zeroed with the parameters of DHCP server `index` (0
 * is the LAN's). It begins with the server's IPv4 address as zero-terminated text, or with a zero
 * byte when none is known. The library does not look at the result.
 */
L3_API int32_t DhcpsParaServerGet(int32_t index, void* buffer);

#ifdef __cplusplus
}
#endif

#endif
