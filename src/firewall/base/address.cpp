#include "l3_advance/address.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>

#include "firewall/base/log.hpp"

namespace {

constexpr uint32_t version_ipv4 = 0;
constexpr uint32_t version_ipv6 = 1;

uint32_t number_from_bytes(const uint8_t* bytes) {
  return (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) |
         uint32_t{bytes[3]};
}

/* -1 for anything but a hexadecimal digit. */
int hex_digit(char character) {
  if (character >= '0' && character <= '9') {
    return character - '0';
  }
  const int folded = character | 0x20;
  return folded >= 'a' && folded <= 'f' ? folded - 'a' + 10 : -1;
}

/* An IPv6 address while its groups are parsed from left to right. */
struct Ipv6Groups {
  uint8_t bytes[16];
  size_t used;
  size_t gap; /* where "::" stood; no_gap when it has not */

  static constexpr size_t no_gap = 17;

  bool add(uint32_t group) {
    if (used + 2 > sizeof(bytes)) {
      return false;
    }
    bytes[used++] = static_cast<uint8_t>(group >> 8);
    bytes[used++] = static_cast<uint8_t>(group);
    return true;
  }

  bool add_ipv4(const char* text) {
    if (used + 4 > sizeof(bytes) || p_bl_inet_pton4(text, bytes + used) != 1) {
      return false;
    }
    used += 4;
    return true;
  }

  bool open_gap() {
    if (gap != no_gap) {
      return false;
    }
    gap = used;
    return true;
  }

  /* Moves the groups behind "::" to the end and fills the gap with zeros. */
  bool finish() {
    if (gap == no_gap) {
      return used == sizeof(bytes);
    }
    if (used == sizeof(bytes)) {
      return false;
    }
    const size_t behind = used - gap;
    memmove(bytes + sizeof(bytes) - behind, bytes + gap, behind);
    memset(bytes + gap, 0, sizeof(bytes) - used);
    return true;
  }
};

/* Parses the groups of an IPv6 text; finish() then expands "::". */
bool read_groups(const char* text, Ipv6Groups& groups) {
  const char* group_start = text;
  uint32_t value = 0;
  bool in_group = false;

  for (const char* at = text; *at != '\0'; ++at) {
    const int digit = hex_digit(*at);
    if (digit >= 0) {
      value = (value << 4) | static_cast<uint32_t>(digit);
      in_group = true;
      if (value > 0xffff) {
        return false;
      }
      continue;
    }
    if (*at == '.') {
      return groups.add_ipv4(group_start);
    }
    if (*at != ':') {
      return false;
    }
    if (!in_group) {
      if (!groups.open_gap()) {
        return false;
      }
    } else if (at[1] == '\0' || !groups.add(value)) {
      return false;  // a single ":" ends the text, or nine groups
    }
    group_start = at + 1;
    value = 0;
    in_group = false;
  }
  return !in_group || groups.add(value);
}

}  // namespace

extern "C" {

void f_zeroed_ip_address(l3_ip_address* record) {
  memset(record, 0, sizeof(*record));
}

int32_t p_bl_inet_pton4(const char* text, uint8_t* out4) {
  uint8_t octets[4] = {};
  size_t begun = 0;
  bool in_octet = false;

  for (const char* at = text; *at != '\0'; ++at) {
    if (*at >= '0' && *at <= '9') {
      if (!in_octet) {
        ++begun;  // never a fifth: no dot is taken behind the fourth
      }
      uint8_t& octet = octets[begun - 1];
      const uint32_t value = octet * 10U + static_cast<uint32_t>(*at - '0');
      if ((in_octet && octet == 0) || value > 255) {
        return 0;
      }
      octet = static_cast<uint8_t>(value);
      in_octet = true;
    } else if (*at == '.' && in_octet && begun < sizeof(octets)) {
      in_octet = false;
    } else {
      return 0;
    }
  }
  if (begun < sizeof(octets)) {
    return 0;
  }
  memcpy(out4, octets, sizeof(octets));
  return 1;
}

int32_t p_bl_inet_pton6(const char* text, uint8_t* out16) {
  if (text[0] == ':') {
    if (text[1] != ':') {
      return 0;
    }
    ++text;  // the second ":" alone opens the gap
  }
  Ipv6Groups groups = {{}, 0, Ipv6Groups::no_gap};
  if (!read_groups(text, groups) || !groups.finish()) {
    return 0;
  }
  memcpy(out16, groups.bytes, sizeof(groups.bytes));
  return 1;
}

int32_t p_bl_ip_addr_unknown_version(const char* text, l3_ip_address* record) {
  f_zeroed_ip_address(record);
  if (strchr(text, ':') != nullptr) {
    record->version = version_ipv6;
    return inet_pton(AF_INET6, text, record->address);
  }
  record->version = version_ipv4;
  return p_bl_inet_pton4(text, record->address);
}

int32_t gl3_web_ip_str_to_bin(const char* xi_src, uint32_t* xo_ip) {
  if (xi_src == nullptr) {
    L3_LOG_ERROR("gl3_web_ip_str_to_bin:xi_src is NULLP err!\n");
    return -1;
  }
  if (xo_ip == nullptr) {
    L3_LOG_ERROR("gl3_web_ip_str_to_bin:xo_ip is NULLP err!\n");
    return -1;
  }
  if (xi_src[0] == '\0') {
    *xo_ip = 0;
    return 0;
  }

  l3_ip_address record;
  if (p_bl_ip_addr_unknown_version(xi_src, &record) != 1) {
    L3_LOG_ERROR("gl3_web_ip_str_to_bin::p_bl_ip_addr_unknown_version:%s err!\n", xi_src);
    *xo_ip = 0;  // not the record's bytes: some systems' inet_pton() leaves half an address there
    return 1;    // Kept: not -1, which stands for a null argument.
  }
  *xo_ip = number_from_bytes(record.address);
  return 0;
}

int32_t gl3_web_ip6_str_to_bin(const char* xi_src, uint8_t* xo_ip) {
  uint8_t scratch[16];
  if (xi_src != nullptr && inet_pton(AF_INET6, xi_src, scratch) == 0) {
    puts("[gl3_web_ip6_str_to_bin]:find an illegal IPv6 address!");
    return -1;
  }
  if (xi_src == nullptr) {
    L3_LOG_ERROR("gl3_web_ip6_str_to_bin:xi_src is NULLP err!\n");
    return -1;
  }
  if (xo_ip == nullptr) {
    L3_LOG_ERROR("gl3_web_ip6_str_to_bin:xo_ip is NULLP err!\n");
    return -1;
  }
  // The following calls fail only on a system without IPv6, whose inet_pton() returns -1.
  if (xi_src[0] == '\0') {
    xo_ip[0] = 0;
    return 0;
  }

  int32_t result = 0;
  l3_ip_address record;
  if (p_bl_ip_addr_unknown_version(xi_src, &record) != 1) {
    L3_LOG_ERROR("gl3_web_ip6_str_to_bin::p_bl_ip_addr_unknown_version:%s err!\n", xi_src);
    result = 1;
  }
  if (record.version == version_ipv6) {
    memcpy(xo_ip, record.address, sizeof(record.address));
  }
  return result;
}

int32_t gl3_web_ip6_bin_to_str(char* xo_str, const uint8_t* ip6) {
  if (xo_str == nullptr) {
    L3_LOG_ERROR("gl3_web_ip6_bin_to_str:xo_str is NULLP err!\n");
    return -1;
  }
  if (inet_ntop(AF_INET6, ip6, xo_str, INET6_ADDRSTRLEN) == nullptr) {
    // Kept: two failures share this message.
    L3_LOG_ERROR("gl3_web_ip6_bin_to_str:xo_str is NULLP err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_ip_bin_to_str(char* xo_str, uint32_t ip) {
  if (xo_str == nullptr) {
    L3_LOG_ERROR("gl3_web_ip_bin_to_str:xo_str is NULLP err!\n");
    return -1;
  }
  for (int shift = 24; shift >= 0; shift -= 8) {
    const uint32_t octet = (ip >> shift) & 0xff;
    if (octet >= 100) {
      *xo_str++ = static_cast<char>('0' + octet / 100);
    }
    if (octet >= 10) {
      *xo_str++ = static_cast<char>('0' + octet / 10 % 10);
    }
    *xo_str++ = static_cast<char>('0' + octet % 10);
    if (shift > 0) {
      *xo_str++ = '.';
    }
  }
  // Kept: no terminator, callers hand over a zeroed buffer.
  return 0;
}

}  // extern "C"
