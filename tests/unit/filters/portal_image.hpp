/* The captive portal's region as bytes, put together by hand. */
#pragma once

#include "harness.hpp"

namespace harness::portal {

inline std::string entry(uint32_t enable, std::string address) {
  EXPECT_LE(address.size(), 20U);
  address.resize(20);
  return word(enable) + address;
}

/* The 776 bytes of a region. */
inline std::string region(int32_t count, std::string entries, uint32_t control) {
  entries.resize(768);
  return word(static_cast<uint32_t>(count)) + entries + word(control);
}

inline std::string two_places(uint32_t control) {
  return region(2, entry(1, "192.168.1.1") + entry(1, "203.0.113.0/24"), control);
}

inline Lines rule(const std::string& line) {
  return debug("\n==" + line + "==\n") + ran(line);
}

inline constexpr char gateway[] = "iptables -A forward_ext_captiveportal  -d 192.168.1.1 -j ACCEPT";
inline constexpr char network[] =
    "iptables -A forward_ext_captiveportal  -d 203.0.113.0/24 -j ACCEPT";
inline constexpr char all_the_rest[] = "iptables -A forward_ext_captiveportal -j DROP";

}  // namespace harness::portal
