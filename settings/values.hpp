/*
 * How single values are written: addresses, ports, hardware addresses, host names, time spans. Each
 * parser takes exactly what its description allows and nothing else, so that no other text gets
 * into a region image, and from there into a command line.
 */
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace settings {

/* A parsed value, or, where there is none, what would have been allowed. */
template <typename T>
struct Parsed {
  std::optional<T> value;
  std::string allowed;
};

struct Ports {
  uint32_t first = 0; /* 0 and 0: every port */
  uint32_t last = 0;
};

struct AddressRange {
  uint32_t first = 0; /* 0: any address */
  uint32_t last = 0;
};

/* A daily span as the records keep it; stop hour 24 is the end of the day. */
struct TimeSpan {
  uint8_t start_hour = 0;
  uint8_t start_minute = 0;
  uint8_t stop_hour = 24;
  uint8_t stop_minute = 0;
};

using Ipv6Address = std::array<uint8_t, 16>;
using MacAddress = std::array<uint8_t, 6>;
using Bytes = std::vector<uint8_t>;

/* One IPv4 address, or "any" (0); the number's most significant byte is the first octet. */
Parsed<uint32_t> parse_ipv4(std::string_view text);
std::string ipv4_text(uint32_t address);

/* One IPv6 address, or "any" (all zero). */
Parsed<Ipv6Address> parse_ipv6(std::string_view text);
std::string ipv6_text(std::span<const uint8_t, 16> address);

/* One address, "first-last" inside one /16, or "any". */
Parsed<AddressRange> parse_address_range(std::string_view text);
std::string address_range_text(AddressRange range);

/* One IPv4 address or prefix, at most 18 characters; the text itself is what is kept. */
Parsed<std::string> parse_destination(std::string_view text);

/* One port, "first-last", or "any". A range of which one end is 0 is allowed: it means "any" too. */
Parsed<Ports> parse_ports(std::string_view text);
std::string ports_text(Ports ports);

/* Six pairs of hexadecimal digits joined by ":", by "-" or by nothing, not all zero: the address of one
 * device. */
Parsed<MacAddress> parse_mac(std::string_view text);
/* Takes broadcast and multicast addresses too, which stored entries may hold. */
Parsed<MacAddress> parse_stored_mac(std::string_view text);
/* Whether a text has the form of a hardware address, of a device or not. */
bool looks_like_mac(std::string_view text);
/* "broadcast" or "multicast" for an address that no device sends from; null for a device's own. */
const char* group_of(std::span<const uint8_t, 6> mac);
std::string mac_text(std::span<const uint8_t, 6> mac);

/* A name of dot-separated labels of letters, digits and inner hyphens, at most 31 characters; one
 * leading or trailing dot is allowed. */
Parsed<std::string> parse_host_name(std::string_view text);

/* "HH:MM-HH:MM" with an end of at most "24:00", or "all day". */
Parsed<TimeSpan> parse_time_span(std::string_view text);
std::string time_span_text(TimeSpan span);

/* Whether a daily span holds this second. Its stop minute is outside but for its first second, and an
 * end at 24:00 counts as 23:59. A span that ends before it starts passes midnight; one that ends
 * where it starts is the whole day. */
bool is_active(TimeSpan span, uint32_t second);

/* Pairs of hexadecimal digits; the caller looks at the number of bytes. */
Parsed<Bytes> parse_hex(std::string_view text);
std::string hex_text(std::span<const uint8_t> bytes);

/* A word of the settings and the number that stands for it in a record. */
struct Word {
  const char* text;
  uint32_t value;
};

inline constexpr Word list_modes[] = {{"black-list", 0}, {"white-list", 1}};
inline constexpr Word protocols[] = {{"all", 0}, {"icmp", 1}, {"tcp", 6}, {"udp", 17}};
inline constexpr Word directions[] = {{"upstream", 0}, {"downstream", 1}};
inline constexpr Word services[] = {{"all", 0},  {"web", 1},    {"ftp", 2},
                                    {"snmp", 3}, {"telnet", 4}, {"ping", 5}};
inline constexpr Word sides[] = {{"lan", 0}, {"wan", 1}};
inline constexpr Word security_levels[] = {{"off", 0}, {"low", 1}, {"high", 2}};

}  // namespace settings
