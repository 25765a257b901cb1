#include <cstdio>
#include <cstring>

#include "firewall/base/log.hpp"
#include "l3_advance/address.h"

namespace {

/* Whether a text is 17 hexadecimal digits and colons, in whatever order. */
bool is_of_mac_characters(const char* text) {
  return strlen(text) == 17 && strspn(text, ":0123456789ABCDEFabcdef") == 17;
}

}  // namespace

extern "C" {

int32_t gl3_web_mac_str_to_bin(const char* mac_str, uint8_t* xo_mac) {
  if (mac_str == nullptr || xo_mac == nullptr) {
    L3_LOG_ERROR("gl3_web_mac_str_to_bin::NULLP err!\n");
    return -1;
  }
  L3_LOG_DEBUG("gl3_web_mac_str_to_bin::mac_str=%s\n", mac_str);
  if (strlen(mac_str) < 17) {
    L3_LOG_ERROR("gl3_web_mac_str_to_bin::string's length is too small  err!\n");
    return -1;
  }

  char text[25] = {};
  memcpy(text, mac_str, strnlen(mac_str, sizeof(text) - 1));
  cli_trimming_whitespace_from_string(text);
  if (!is_of_mac_characters(text)) {
    return -1;
  }

  // Kept: a group of one digit is taken, and what follows the sixth is not looked at, so
  // "1:2:3:4:5:6:7:8:9" is 01:02:03:04:05:06.
  unsigned groups[6];
  // NOLINTNEXTLINE(cert-err34-c): two checked digits a group cannot overflow.
  if (sscanf(text, "%02x:%02x:%02x:%02x:%02x:%02x", &groups[0], &groups[1], &groups[2], &groups[3],
             &groups[4], &groups[5]) != 6) {
    return -1;
  }
  for (size_t i = 0; i < 6; ++i) {
    xo_mac[i] = static_cast<uint8_t>(groups[i]);
  }
  return 0;
}

int32_t gl3_web_mac_bin_to_str(char* xo_str, const uint8_t* mac) {
  if (xo_str == nullptr) {
    L3_LOG_ERROR("gl3_web_mac_bin_to_str::NULLP err!\n");
    return -1;
  }
  L3_LOG_DEBUG("gl3_web_mac_bin_to_str::mac_bin=%02x:%02x:%02x:%02x:%02x:%02x\n", mac[0], mac[1],
               mac[2], mac[3], mac[4], mac[5]);
  snprintf(xo_str, 18, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4],
           mac[5]);
  return 0;
}

}  // extern "C"
