/* The default of the MAC filters of both families. */
#include <cerrno>

#include "mac_image.hpp"

using namespace harness;

namespace {

std::string one_tablet(uint32_t mode, uint32_t control) {
  return mac_image(1,
                   {mac_entry(std::string("\x00\x1a\x2b\x3c\x4d\x5e", 6),
                              std::string("\x08\x0c\x05\x1e", 4), 1, "abcdef")},
                   mode, control);
}

/* The configuration file with the switch as given and this MAC region in it. */
std::string file_with(bool on, const std::string& image) {
  std::string file = fresh_config_file();
  file[29] = on ? '1' : '0';
  return file.replace(4667, image.size(), image);
}

std::string set(const std::string& image, int32_t expected_result) {
  const l3_mac_filter region = mac_region(image);
  return record([&] { EXPECT_EQ(gl3_web_set_mac_cfg(&region), expected_result); });
}

std::string set_default(int32_t expected_result) {
  return record([&] { EXPECT_EQ(gl3_web_set_mac_table_default(), expected_result); });
}

void store(bool on, const std::string& image) {
  load_firewall_switch(on);
  static_cast<void>(set(image, 0));
}

/* The same region in both families, master switch on. */
void store_both(const std::string& image) {
  store(true, image);
  const l3_mac_filter region = mac_region(image);
  static_cast<void>(record([&] { EXPECT_EQ(gl3_web_set_mac6_cfg(&region), 0); }));
}

std::string file_with_both(const std::string& image) {
  return file_with(true, image).replace(13483, image.size(), image);
}

std::string stored() {
  return bytes_of(fw_rules_table.mac_filter);
}
std::string stored6() {
  return bytes_of(fw6_rules_table.mac_filter);
}

const std::string empty_region(212, '\0');

}  // namespace

TEST(MacFilterDefault, BothRegionsReadBackFromTheFileAsZero) {
  store_both(one_tablet(1, 1));
  EXPECT_EQ(read_file(config_path), file_with_both(one_tablet(1, 1)));
  EXPECT_EQ(set_default(0), lines({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                                   ran("ip6tables -t filter -F forward_ext_mac"),
                                   ran("iptables-save -t filter >/ztcfg/firewall.conf"),
                                   ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
  EXPECT_EQ(read_file(config_path), file_with_both(empty_region));
  EXPECT_EQ(stored(), empty_region);
  EXPECT_EQ(stored6(), empty_region);
  l3_mac_filter region = mac_region(one_tablet(1, 1));
  static_cast<void>(record([&] { EXPECT_EQ(gl3_web_get_mac_cfg(&region), 0); }));
  EXPECT_EQ(bytes_of(region), empty_region);
  region = mac_region(one_tablet(1, 1));
  static_cast<void>(record([&] { EXPECT_EQ(gl3_web_get_mac6_cfg(&region), 0); }));
  EXPECT_EQ(bytes_of(region), empty_region);
}

TEST(MacFilterDefault, EndsAtAFailedIpv4Flush) {
  store_both(one_tablet(1, 1));
  fail_command("iptables -t filter -F forward_ext_mac");
  EXPECT_EQ(set_default(-1),
            lines({refresh(), ran_and_failed("iptables -t filter -F forward_ext_mac"),
                   error("gl3_web_set_mac_table_default::flush_fw_mac err!\n")}));
  EXPECT_EQ(stored() + stored6(), one_tablet(1, 1) + one_tablet(1, 1));
}

TEST(MacFilterDefault, EndsAtAFailedIpv6Flush) {
  store_both(one_tablet(1, 1));
  fail_command("ip6tables -t filter -F forward_ext_mac");
  EXPECT_EQ(set_default(-1), lines({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                                    ran_and_failed("ip6tables -t filter -F forward_ext_mac"),
                                    error("gl3_web_set_mac_table_default::flush_fw6_mac err!\n")}));
  EXPECT_EQ(stored() + stored6(), one_tablet(1, 1) + one_tablet(1, 1));
}

TEST(MacFilterDefault, EndsAtAFailedIpv4Save) {
  store_both(one_tablet(1, 1));
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(set_default(-1), lines({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                                    ran("ip6tables -t filter -F forward_ext_mac"),
                                    ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf"),
                                    error("gl3_web_set_mac_table_default::save_fw err!\n")}));
  EXPECT_EQ(stored() + stored6(), one_tablet(1, 1) + one_tablet(1, 1));
}

TEST(MacFilterDefault, EndsAtAFailedIpv6Save) {
  store_both(one_tablet(1, 1));
  fail_command("ip6tables-save -t filter >/ztcfg/firewall6.conf");
  EXPECT_EQ(set_default(-1),
            lines({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                   ran("ip6tables -t filter -F forward_ext_mac"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf"),
                   ran_and_failed("ip6tables-save -t filter >/ztcfg/firewall6.conf"),
                   error("gl3_web_set_mac_table_default::save_fw6 err!\n")}));
  EXPECT_EQ(stored() + stored6(), one_tablet(1, 1) + one_tablet(1, 1));
  EXPECT_EQ(read_file(config_path), file_with_both(one_tablet(1, 1)));
}

TEST(MacFilterDefault, ReportsAFailedWrite) {
  store_both(one_tablet(1, 1));
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(set_default(-1),
            lines({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                   ran("ip6tables -t filter -F forward_ext_mac"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf"),
                   ran("ip6tables-save -t filter >/ztcfg/firewall6.conf"),
                   out("set_firewall_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_mac_table_default::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(stored() + stored6(), empty_region + empty_region);
}
