/* The DHCP filter's region as bytes, put together by hand, and the lines that its rules leave. */
#pragma once

#include <cstring>

#include "harness.hpp"

namespace harness::dhcp {

inline std::string entry(uint32_t flag, const std::string& mac) {
  return word(flag) + mac + std::string("\x11\0\0\0\0\0\0\0\0\x22", 10);
}

inline const std::string first_mac("\x00\x11\x22\xaa\xbb\xcc", 6);
inline const std::string second_mac("\x00\x11\x22\xaa\xbb\xcd", 6);
inline const std::string third_mac("\xfe\xdc\xba\x98\x76\x0f", 6);

/* The 212 bytes of a region. */
inline std::string region(int32_t count, std::string entries, uint32_t black_white,
                          uint32_t control) {
  entries.resize(200);
  return word(static_cast<uint32_t>(count)) + entries + word(black_white) + word(control);
}

inline std::string two_devices(uint32_t black_white, uint32_t control) {
  return region(2, entry(1, first_mac) + entry(1, third_mac), black_white, control);
}

inline l3_dhcp_filter image_of(const std::string& bytes) {
  l3_dhcp_filter image;
  EXPECT_EQ(bytes.size(), sizeof(image));
  memcpy(&image, bytes.data(), sizeof(image));
  return image;
}

/* Puts a region straight into the library's record. */
inline void store(const std::string& bytes) {
  memcpy(&fw_rules_table.dhcp_filter, bytes.data(), bytes.size());
}

inline std::string stored() {
  return bytes_of(fw_rules_table.dhcp_filter);
}

inline std::string file_with(char fire_wall, const std::string& bytes) {
  std::string file = fresh_config_file();
  file[29] = fire_wall;
  file.replace(4879, 212, bytes);
  return file;
}

inline int32_t set(const std::string& bytes) {
  const l3_dhcp_filter image = image_of(bytes);
  return gl3_web_set_dhcp_cfg(&image);
}

/* The trace of the address, which stands in the rule line, and of the line. */
inline Lines traced(const std::string& line) {
  const std::string before = "iptables -A input_ext_dhcp -m mac --mac-source ";
  return debug("gl3_web_mac_bin_to_str::mac_bin=" + line.substr(before.size(), 17) + "\n") +
         debug("\n==" + line + "==\n");
}

inline Lines rule(const std::string& line) {
  return traced(line) + ran(line);
}

inline Lines failed_rule(const std::string& line, int exit_code = 1) {
  return traced(line) + ran_and_failed(line, exit_code);
}

inline constexpr char flush[] = "iptables -t filter -F input_ext_dhcp";
inline constexpr char save[] = "iptables-save -t filter >/ztcfg/firewall.conf";
inline constexpr char first_drop[] =
    "iptables -A input_ext_dhcp -m mac --mac-source 00:11:22:aa:bb:cc -j DROP";
inline constexpr char second_drop[] =
    "iptables -A input_ext_dhcp -m mac --mac-source 00:11:22:aa:bb:cd -j DROP";
inline constexpr char third_drop[] =
    "iptables -A input_ext_dhcp -m mac --mac-source fe:dc:ba:98:76:0f -j DROP";
inline constexpr char first_accept[] =
    "iptables -A input_ext_dhcp -m mac --mac-source 00:11:22:aa:bb:cc -j ACCEPT";
inline constexpr char third_accept[] =
    "iptables -A input_ext_dhcp -m mac --mac-source fe:dc:ba:98:76:0f -j ACCEPT";
inline constexpr char catch_all[] = "iptables -A input_ext_dhcp -j DROP";
inline constexpr char nobody[] =
    "iptables -A input_ext_dhcp -m mac --mac-source 00:00:00:00:00:00 -j DROP";

inline Lines trace(const std::string& values) {
  return debug("\n==[" + values + "]\n");
}

inline Lines generated(const std::string& control) {
  return debug("[dhcp_mac_filter_ctrl=" + control + "]\n");
}

}  // namespace harness::dhcp
