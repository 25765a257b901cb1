/* The factory state of the IP filters of both families. */
#include <cerrno>

#include "ip_filter_images.hpp"

using namespace ip_filter;

namespace {

std::string set_default(int32_t expected_result) {
  return record([=] { EXPECT_EQ(gl3_web_set_ip_table_default(), expected_result); });
}

}  // namespace

TEST(IpTableDefault, ClearsBothFamiliesAndAddsNoCatchAll) {
  l3_ip_filter stored = web_white_list();
  stored.ip_filter_ctrl = 1;
  load('1', stored);
  memset(&fw6_rules_table.ip_filter, 0x55, sizeof(fw6_rules_table.ip_filter));
  fw_rules_table.security_level = 2;
  fw6_rules_table.mac_filter.mac_filter_ctrl = 1;
  EXPECT_EQ(set_default(0), lines({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                   ran("iptables -t filter -F forward_ext_ds_ip"),
                                   ran("ip6tables -t filter -F forward_ext_us_ip"),
                                   ran("ip6tables -t filter -F forward_ext_ds_ip"),
                                   ran("iptables-save -t filter >/ztcfg/firewall.conf"),
                                   ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_EQ(bytes_of(fw_rules_table.ip_filter), std::string(2416, '\0'));
  EXPECT_EQ(bytes_of(fw6_rules_table.ip_filter), std::string(4816, '\0'));
  // Both whole records are written; what is not the IP filter's stays.
  EXPECT_EQ(read_file(config_path), file_with('1', l3_ip_filter{})
                                        .replace(31 + 6164, 4, word(2))
                                        .replace(6447 + 7244, 4, word(1)));
}

TEST(IpTableDefault, EachFailedFlushEndsTheCallAndKeepsTheRules) {
  load('1', web_white_list());
  fail_command("ip6tables -t filter -F forward_ext_ds_ip");
  EXPECT_EQ(set_default(-1), lines({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                    ran("iptables -t filter -F forward_ext_ds_ip"),
                                    ran("ip6tables -t filter -F forward_ext_us_ip"),
                                    ran_and_failed("ip6tables -t filter -F forward_ext_ds_ip"),
                                    error("gl3_web_set_ip_table_default::flush_fw_ip err!\n")}));
  fail_command("ip6tables -t filter -F forward_ext_us_ip");
  EXPECT_EQ(set_default(-1), lines({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                    ran("iptables -t filter -F forward_ext_ds_ip"),
                                    ran_and_failed("ip6tables -t filter -F forward_ext_us_ip"),
                                    error("gl3_web_set_ip_table_default::flush_fw_ip err!\n")}));
  fail_command("iptables -t filter -F forward_ext_ds_ip");
  EXPECT_EQ(set_default(-1), lines({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                    ran_and_failed("iptables -t filter -F forward_ext_ds_ip"),
                                    error("gl3_web_set_ip_table_default::flush_fw_ip err!\n")}));
  fail_command("iptables -t filter -F forward_ext_us_ip");
  EXPECT_EQ(set_default(-1),
            lines({refresh(), ran_and_failed("iptables -t filter -F forward_ext_us_ip"),
                   error("gl3_web_set_ip_table_default::flush_fw_ip err!\n")}));
  EXPECT_EQ(bytes_of(fw_rules_table.ip_filter), bytes_of(web_white_list()));
  EXPECT_EQ(read_file(config_path), file_with('1', web_white_list()));
}

TEST(IpTableDefault, BothSavesShareOneMessage) {
  load('1', web_white_list());
  const Lines flushed[] = {ran("iptables -t filter -F forward_ext_us_ip"),
                           ran("iptables -t filter -F forward_ext_ds_ip"),
                           ran("ip6tables -t filter -F forward_ext_us_ip"),
                           ran("ip6tables -t filter -F forward_ext_ds_ip")};
  fail_command("ip6tables-save -t filter >/ztcfg/firewall6.conf");
  EXPECT_EQ(set_default(-1),
            lines({refresh(), flushed[0], flushed[1], flushed[2], flushed[3],
                   ran("iptables-save -t filter >/ztcfg/firewall.conf"),
                   ran_and_failed("ip6tables-save -t filter >/ztcfg/firewall6.conf"),
                   error("gl3_web_set_ip_table_default::save_fw err!\n")}));
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(set_default(-1), lines({refresh(), flushed[0], flushed[1], flushed[2], flushed[3],
                                    ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf"),
                                    error("gl3_web_set_ip_table_default::save_fw err!\n")}));
  EXPECT_EQ(bytes_of(fw_rules_table.ip_filter), bytes_of(web_white_list()));
}

TEST(IpTableDefault, AFailedWriteLeavesBothFiltersClearInMemory) {
  load('1', web_white_list());
  memset(&fw6_rules_table.ip_filter, 0x55, sizeof(fw6_rules_table.ip_filter));
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(set_default(-1),
            lines({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                   ran("iptables -t filter -F forward_ext_ds_ip"),
                   ran("ip6tables -t filter -F forward_ext_us_ip"),
                   ran("ip6tables -t filter -F forward_ext_ds_ip"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf"),
                   ran("ip6tables-save -t filter >/ztcfg/firewall6.conf"),
                   out("set_firewall_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_ip_table_default::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(fw_rules_table.ip_filter), std::string(2416, '\0'));
  EXPECT_EQ(bytes_of(fw6_rules_table.ip_filter), std::string(4816, '\0'));
  EXPECT_EQ(read_file(config_path), file_with('1', web_white_list()));
}

TEST(IpTableDefault, AMissingFileIsCreated) {
  set_default(0);
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}
