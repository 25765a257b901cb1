/**
 * @file
 * Addresses between text and binary form, and two small string helpers.
 */
#ifndef L3_ADVANCE_ADDRESS_H
#define L3_ADVANCE_ADDRESS_H

#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An address of either family. */
typedef struct l3_ip_address {
  uint8_t address[16]; /**< in text order; an IPv4 address in the first 4 bytes, the rest zero */
  uint32_t version;    /**< 0 IPv4, 1 IPv6 */
} l3_ip_address;

/** Removes leading and trailing spaces (0x20 only) from a zero-terminated text, in place. */
L3_API void cli_trimming_whitespace_from_string(char* text);

/** Sets all 20 bytes of `record` to zero. */
L3_API void f_zeroed_ip_address(l3_ip_address* record);

/**
 * Parses dotted decimal IPv4: exactly four octets of 0 to 255 without leading zeros, single dots
 * between them and nothing else. Returns 1 and writes 4 bytes in text order to `out4`, or returns 0
 * and writes nothing.
 */
L3_API int32_t p_bl_inet_pton4(const char* text, uint8_t* out4);

/**
 * Parses the IPv6 text form of RFC 4291, section 2.2, an embedded IPv4 tail included. "::" stands
 * for one group of zeros at least. A group may have any number of digits as long as its value stays
 * below 0x10000. Returns 1 and writes 16 bytes in text order to `out16`, or returns 0 and writes
 * nothing.
 */
L3_API int32_t p_bl_inet_pton6(const char* text, uint8_t* out16);

/**
 * Parses an address of either family into `record`, which is zeroed first: a text with a ":" goes
 * to inet_pton(3) for IPv6 (version 1), any other to p_bl_inet_pton4() (version 0). Returns 1 when
 * parsed, 0 when rejected, and -1 when the system knows no IPv6; `version` is set in any case.
 */
L3_API int32_t p_bl_ip_addr_unknown_version(const char* text, l3_ip_address* record);

/**
 * Replaces every occurrence of `old_text` in `text` by `new_text`, in place, from left to right;
 * matches never overlap and a replacement is not searched again. The buffer behind `text` must hold
 * the result. Returns 1 when something was replaced; 0 when nothing was found or `old_text` is
 * empty; -1 for a null argument, or when the text or the result is longer than 255 characters.
 * `text` changes only when 1 is returned.
 */
L3_API int32_t replace_string(char* text, const char* old_text, const char* new_text);

/**
 * Converts an address text to a number whose most significant byte is the first octet:
 * "192.168.1.1" is 0xC0A80101. An empty text is 0 (any address); of an IPv6 text the first 4 bytes
 * are taken. Returns 0; 1 for a text that does not parse, with 0 stored in `xo_ip`; -1 for a null
 * argument. Failures are logged.
 */
L3_API int32_t gl3_web_ip_str_to_bin(const char* xi_src, uint32_t* xo_ip);

/**
 * Converts an IPv6 text, as inet_pton(3) accepts it, to 16 bytes in text order. Returns 0; -1 for a
 * null argument (logged) or any other text (one line on standard output), the empty text included.
 * Where the system knows no IPv6 and its inet_pton() answers -1, the result is 1 (logged); the
 * empty text then stores one zero byte and returns 0.
 */
L3_API int32_t gl3_web_ip6_str_to_bin(const char* xi_src, uint8_t* xo_ip);

/**
 * Writes 16 address bytes as text, as inet_ntop(3) does, to a buffer of at least 46 bytes. Returns
 * 0, or -1 (logged) when `xo_str` is null or the conversion fails.
 */
L3_API int32_t gl3_web_ip6_bin_to_str(char* xo_str, const uint8_t* ip6);

/**
 * Writes an IPv4 number (most significant byte first) as dotted decimal, up to 15 characters. No
 * terminator is written: the caller hands over a zeroed buffer of at least 16 bytes. Returns 0, or
 * -1 (logged) when `xo_str` is null.
 */
L3_API int32_t gl3_web_ip_bin_to_str(char* xo_str, uint32_t ip);

/**
 * Converts a MAC text to 6 bytes. Its form is six groups of two hexadecimal digits of either case,
 * joined by ":"; spaces around it do not count. What exactly passes: of the first 24 characters, 17
 * are left without the outer spaces, all of them hexadecimal digits or colons, and they begin with
 * six groups of one or two digits.
 *
 *     "00:1A:2b:3c:4d:5e"             0    00 1a 2b 3c 4d 5e
 *     " 00:1a:2b:3c:4d:5e "           0    the same
 *     "1:2:3:4:5:6:7:8:9"             0    01 02 03 04 05 06: 17 characters, the rest ignored
 *     "0:1a:2b:3c:4d:5e"             -1    logged: under 17 characters
 *     "00-1a-2b-3c-4d-5e"            -1    silent: other characters
 *     "00:1a:2b:3c:4d:5e:6f"         -1    silent: 20 characters
 *
 * Returns 0; -1 for a null argument or a text under 17 characters (both logged), and for any other
 * text without a message. `xo_mac` is written only when 0 is returned.
 */
L3_API int32_t gl3_web_mac_str_to_bin(const char* mac_str, uint8_t* xo_mac);

/**
 * Writes 6 bytes as text, "00:1a:2b:3c:4d:5e" in lower case and a zero, to a buffer of at least 18
 * bytes. Returns 0, or -1 (logged) when `xo_str` is null.
 */
L3_API int32_t gl3_web_mac_bin_to_str(char* xo_str, const uint8_t* mac);

#ifdef __cplusplus
}
#endif

#endif
