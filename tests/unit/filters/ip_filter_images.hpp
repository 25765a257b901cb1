/*
 * What the tests of the IP filter share: one image of either family, the configuration file that
 * holds it, and the traces that a call leaves.
 */
#pragma once

#include <cstdio>
#include <cstring>

#include "families.hpp"
#include "harness.hpp"

namespace ip_filter {

using namespace harness;

/* A white list of one upstream rule: TCP from 192.168.1.10 to ports 80 to 88. */
inline l3_ip_filter web_white_list() {
  l3_ip_filter image = {};
  image.count = 1;
  image.entries[0].index = 7;
  image.entries[0].protocol = 6;
  image.entries[0].dst_port_s = 80;
  image.entries[0].dst_port_e = 88;
  image.entries[0].src_ip = 0xC0A8010A;
  image.us_black_white = 1;
  return image;
}

/* The same from 2001:db8::10 to 2001:db8::20. */
inline l3_ip6_filter web_white_list6() {
  l3_ip6_filter image = {};
  image.count = 1;
  image.entries[0].index = 7;
  image.entries[0].protocol = 6;
  image.entries[0].dst_port_s = 80;
  image.entries[0].dst_port_e = 88;
  memcpy(image.entries[0].src_ip, "\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\x10", 16);
  memcpy(image.entries[0].dst_ip, "\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\x20", 16);
  image.us_black_white = 1;
  return image;
}

/* The configuration file with the switch and this filter in it. */
inline std::string file_with(char fire_wall, const l3_ip_filter& stored) {
  std::string file = fresh_config_file();
  file[29] = fire_wall;
  return file.replace(31, 2416, bytes_of(stored));
}

inline std::string file_with(char fire_wall, const l3_ip6_filter& stored) {
  std::string file = fresh_config_file();
  file[29] = fire_wall;
  return file.replace(6447, 4816, bytes_of(stored));
}

/* Puts that file in place and loads it. */
template <typename Filter>
void load(char fire_wall, const Filter& stored) {
  load_firewall_switch(fire_wall == '1');
  write_file(config_path, file_with(fire_wall, stored));
  EXPECT_EQ(get_firewall_rules_from_cfgfile(), 0);
}

/* The place of a byte of a caller's image, as "%x" shows it. */
template <typename Filter>
std::string location(const Filter& image, size_t offset) {
  char text[9];
  snprintf(text, sizeof(text), "%x",
           static_cast<unsigned>(reinterpret_cast<uintptr_t>(&image) + offset));
  return text;
}

/* The trace of the web white list's entry: dst_ip is at byte 16 of the image, src_ip at 32 (56). */
inline Lines entry_line(const l3_ip_filter& image) {
  return debug("==========index=7, dst_ip=" + location(image, 16) +
               ", dst_port_s=80, dst_port_e=88, protocol=6, src_ip=" + location(image, 32) +
               "========\n");
}

inline Lines entry_line(const l3_ip6_filter& image) {
  return debug("==========index=7, dst_ip=" + location(image, 16) +
               ", dst_port_s=80, dst_port_e=88, protocol=6, src_ip=" + location(image, 56) +
               "========\n");
}

/* What differs between the families in tests of both. */
struct Ipv4 {
  static constexpr char name[] = "Ipv4";
  static families::Renames renames() { return {}; }
  using Region = l3_ip_filter;
  static constexpr size_t region_size = 2416;
  static constexpr size_t src_ip = 32; /* of the first entry in the region */
  static constexpr size_t record_offset = 31;
  static constexpr size_t record_size = 6168;
  static l3_fw_rules& record() { return fw_rules_table; }
  static Region white_list() { return web_white_list(); }
  static constexpr char white_list_rule[] =
      "iptables -A forward_ext_us_ip -p tcp -s 192.168.1.10 --dport 80:88 -j ACCEPT";
  static constexpr auto set = gl3_web_set_firewall_cfg;
  static constexpr auto get = gl3_web_get_firewall_cfg;
  static constexpr auto remove_all = gl3_web_remove_all_firewall_rule;
};

struct Ipv6 {
  static constexpr char name[] = "Ipv6";
  // The get call's messages, and the last two of the remove-all call, name the IPv4 twin.
  static families::Renames renames() {
    return {{"iptables", "ip6tables"},
            {"firewall.conf", "firewall6.conf"},
            {"firewall4_rules", "firewall6_rules"},
            {"gl3_web_set_firewall_cfg::", "gl3_web_set_firewall6_cfg::"},
            {"config_fw_ip::", "config_fw_ip6::"},
            {"gl3_web_remove_all_firewall_rule::flush", "gl3_web_remove_all_firewall6_rule::flush"},
            {"::save_fw err", "::save_fw6 err"}};
  }
  using Region = l3_ip6_filter;
  static constexpr size_t region_size = 4816;
  static constexpr size_t src_ip = 56;
  static constexpr size_t record_offset = 6447;
  static constexpr size_t record_size = 8572;
  static l3_fw6_rules& record() { return fw6_rules_table; }
  static Region white_list() { return web_white_list6(); }
  static constexpr char white_list_rule[] =
      "ip6tables -A forward_ext_us_ip -p tcp -s 2001:db8::10 -d 2001:db8::20 --dport 80:88"
      " -j ACCEPT";
  static constexpr auto set = gl3_web_set_firewall6_cfg;
  static constexpr auto get = gl3_web_get_firewall6_cfg;
  static constexpr auto remove_all = gl3_web_remove_all_firewall6_rule;
};

using Families = testing::Types<Ipv4, Ipv6>;

inline void expect_no_file_call() {
  for (const FileCall call : {FileCall::access, FileCall::open, FileCall::lseek, FileCall::read,
                              FileCall::write, FileCall::close}) {
    EXPECT_EQ(file_calls(call), 0);
  }
}

/* Whether the library has the master switch on: removing the rules of a white list then leaves its
 * catch-all. Uses up the IPv4 filter. */
inline bool switch_is_on() {
  fw_rules_table.ip_filter = {};
  fw_rules_table.ip_filter.us_black_white = 1;
  const std::string transcript = record([] { gl3_web_remove_all_firewall_rule(); });
  return transcript.find("iptables -A forward_ext_us_ip -j DROP") != std::string::npos;
}

/* What appending one rule leaves in the transcript. */
inline Lines rule(const std::string& command) {
  Lines result = debug("\n==" + command + "==\n");
  const Lines run = ran(command);
  result.insert(result.end(), run.begin(), run.end());
  return result;
}

inline Lines rules(int count, const std::string& command) {
  Lines result;
  for (int i = 0; i < count; ++i) {
    const Lines one = rule(command);
    result.insert(result.end(), one.begin(), one.end());
  }
  return result;
}

/* A word in a text field, as the generators read it when they walk past the entry area. */
inline void put_word(char* place, uint32_t value) {
  memcpy(place, &value, sizeof(value));
}

}  // namespace ip_filter
