/* The factory reset: every step in its order, and where a failing one stops it. */
#include <cerrno>

#include "harness.hpp"
#include "sample_config.hpp"

using namespace harness;
using namespace sample_config;

namespace {

constexpr char save_line[] = "iptables-save -t filter >/ztcfg/firewall.conf";
constexpr char save6_line[] = "ip6tables-save -t filter >/ztcfg/firewall6.conf";

/* What each step does when all is well. */
Lines ip_default() {
  return together({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                   ran("iptables -t filter -F forward_ext_ds_ip"),
                   ran("ip6tables -t filter -F forward_ext_us_ip"),
                   ran("ip6tables -t filter -F forward_ext_ds_ip"), saved(), saved6()});
}

Lines url_default() {
  return together({refresh(), ran("iptables -t filter -F forward_ext_url"), saved()});
}

Lines mac_default() {
  return together({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                   ran("ip6tables -t filter -F forward_ext_mac"), saved(), saved6()});
}

Lines acl_default() {
  return together({refresh(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"), saved()});
}

Lines caporl_default() {
  return together({refresh(), ran("iptables -t filter -F forward_ext_captiveportal"), saved()});
}

Lines dhcp_default() {
  return together({refresh(), ran("iptables -t filter -F input_ext_dhcp"), saved()});
}

Lines qos_off() {
  return together({refresh(), qos_pushed()});
}

const Lines qos_cleared_trace =
    debug("==========RulesNum=0, QoSType=0, Protocol=0, SrcIp=0, DstIp=0, control=0========\n");

Lines qos_cleared() {
  return together({refresh(), refresh(), qos_cleared_trace, qos_pushed()});
}

/* The sample configuration, loaded, its master switch on. */
void load_sample_config() {
  load(file('1'));
}

/* Makes the n-th run of a command line fail. */
void fail_run(const std::string& command, int nth) {
  world.system = [command, nth, seen = 0](const std::string& line) mutable {
    return line == command && ++seen == nth ? exited(1) : 0;
  };
}

Lines write_failed() {
  return out("set_firewall_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n");
}

/* The record write of a step fails; each step before it has made its writes. The switch takes two,
 * every pair of records another two. */
void fail_records_written_by_step(int step) {
  world.file_faults = {{FileCall::write, 2 + 2 * (step - 2) + 1, ENOSPC}};
}

void erase_ip_filters(std::string& bytes) {
  put(bytes, fw, std::string(2416, '\0'));
  put(bytes, fw6, std::string(4816, '\0'));
}

/* What the file holds when a step after the switch and the port scan has failed. */
std::string file_after_port_scan() {
  return with_word(file('0'), anti_port_scan, 0);
}

std::string file_after_ip_filters() {
  std::string bytes = file_after_port_scan();
  erase_ip_filters(bytes);
  return bytes;
}

std::string file_after_url_filter() {
  return with(file_after_ip_filters(), fw + 2416, std::string(2212, '\0'));
}

std::string file_after_mac_filters() {
  std::string bytes = with(file_after_url_filter(), fw + 4636, std::string(212, '\0'));
  return with(bytes, fw6 + 7036, std::string(212, '\0'));
}

std::string file_after_access_list() {
  return with(file_after_mac_filters(), fw + 5060, std::string(328, '\0'));
}

}  // namespace

TEST(FactoryReset, EverySettingOfTheFirewallIsEmptiedInOrder) {
  load_sample_config();
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_firewall_default(), 0); }),
      lines({refresh(), switched_off(), scan_off(), ip_default(), url_default(), mac_default(),
             acl_default(), caporl_default(), dhcp_default(), qos_off(), qos_cleared()}));
  EXPECT_EQ(read_file(config_path), file_after_reset());
  expect_records_as_in_file();
  EXPECT_EQ(last_qos_record(), std::string(248, '\0'));
  EXPECT_FALSE(switch_in_memory());
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(FactoryReset, LevelIpsecAndVpnSwitchStay) {
  load(with_word(file('1'), ipsec_pass_ctrl, 0));
  static_cast<void>(record([] { EXPECT_EQ(gl3_web_set_firewall_default(), 0); }));
  EXPECT_EQ(read_file(config_path), with_word(file_after_reset(), ipsec_pass_ctrl, 0));

  // The next look at the level brings it back in line.
  int32_t seen = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_fw_security_level(&seen), 0); }),
            lines({refresh()}));
  EXPECT_EQ(seen, 0);
  std::string expected = with_word(file_after_reset(), ipsec_pass_ctrl, 0);
  expected = with_word(expected, level, 0);
  EXPECT_EQ(read_file(config_path), with_word(expected, level6, 0));
}

TEST(FactoryReset, AResetOfAFreshDeviceLeavesAFreshFile) {
  load(fresh_config_file());
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_firewall_default(), 0); }),
            lines({refresh(), switched_off(), scan_off(), ip_default(), url_default(),
                   mac_default(), acl_default(), caporl_default(), dhcp_default(), refresh(),
                   refresh(), refresh(), qos_cleared_trace}));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(FactoryReset, ASwitchThatCannotBeStoredStopsAtStepOne) {
  load_sample_config();
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_firewall_default(), -1); }),
            lines({refresh(), switched_off(),
                   error("gl3_web_set_fw_status::set_firewall_state_to_cfgfile err!\n"),
                   error("gl3_web_set_firewall_default::gl3_web_set_fw_status err!\n")}));
  EXPECT_EQ(read_file(config_path), file('1'));
  expect_records_as_in_file();
}

TEST(FactoryReset, ASaveThatFailsAfterThePortScanStopsAtStepTwo) {
  load_sample_config();
  fail_run(save_line, 1);
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_firewall_default(), -1); }),
      lines({refresh(), switched_off(), refresh(), ran("iptables -t filter -F forward_ext_bad_tcp"),
             ran("iptables -t filter -F input_ext_local_access"),
             ran("iptables -t filter -F input_ext_local_access_ex"), ran_and_failed(save_line),
             error("gl3_web_set_firewall_default::gl3_web_set_anti_port_scan err!\n")}));
  EXPECT_EQ(read_file(config_path), file_after_port_scan());
}

TEST(FactoryReset, AFailedIpFilterResetStopsAtStepFourWithBothFiltersApplied) {
  load(with_word(with_word(file('1'), ip_filter_ctrl, 1), ip6_filter_ctrl, 1));
  // The first run of this line belongs to the master switch.
  fail_run("ip6tables -t filter -F forward_ext_us_ip", 2);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_firewall_default(), -1); }),
            lines({refresh(), switched_off(), scan_off(), refresh(),
                   ran("iptables -t filter -F forward_ext_us_ip"),
                   ran("iptables -t filter -F forward_ext_ds_ip"),
                   ran_and_failed("ip6tables -t filter -F forward_ext_us_ip"),
                   error("gl3_web_set_ip_table_default::flush_fw_ip err!\n"),
                   error("gl3_web_set_firewall_default::gl3_web_set_ip_table_default err!\n")}));
  // Both filter switches are 0 in memory and not yet in the file.
  EXPECT_EQ(read_file(config_path),
            with_word(with_word(file_after_port_scan(), ip_filter_ctrl, 1), ip6_filter_ctrl, 1));
  EXPECT_EQ(fw_rules_table.ip_filter.ip_filter_ctrl, 0U);
  EXPECT_EQ(fw6_rules_table.ip_filter.ip_filter_ctrl, 0U);
  EXPECT_EQ(fw_rules_table.ip_filter.count, 1);
}

TEST(FactoryReset, AnIpFilterRecordThatCannotBeWrittenStopsAtStepFour) {
  load_sample_config();
  fail_records_written_by_step(3);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_firewall_default(), -1); }),
            lines({refresh(), switched_off(), scan_off(), ip_default(), write_failed(),
                   error("gl3_web_set_ip_table_default::set_firewall_rules_to_cfgfile err!\n"),
                   error("gl3_web_set_firewall_default::gl3_web_set_ip_table_default err!\n")}));
  EXPECT_EQ(read_file(config_path), file_after_port_scan());
}

TEST(FactoryReset, AFailedUrlFilterResetStopsAtStepFive) {
  load_sample_config();
  fail_run(save_line, 3);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_firewall_default(), -1); }),
            lines({refresh(), switched_off(), scan_off(), ip_default(), refresh(),
                   ran("iptables -t filter -F forward_ext_url"), ran_and_failed(save_line),
                   error("gl3_web_set_url_table_default::save_fw err!\n"),
                   error("gl3_web_set_firewall_default::gl3_web_set_url_table_default err!\n")}));
  EXPECT_EQ(read_file(config_path), file_after_ip_filters());
  expect_records_as_in_file();
}

TEST(FactoryReset, AFailedMacFilterResetStopsAtStepSix) {
  load_sample_config();
  fail_run(save6_line, 2);
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_firewall_default(), -1); }),
      lines({refresh(), switched_off(), scan_off(), ip_default(), url_default(), refresh(),
             ran("iptables -t filter -F forward_ext_mac"),
             ran("ip6tables -t filter -F forward_ext_mac"), saved(), ran_and_failed(save6_line),
             error("gl3_web_set_mac_table_default::save_fw6 err!\n"),
             error("gl3_web_set_firewall_default::gl3_web_set_mac_table_default err!\n")}));
  EXPECT_EQ(read_file(config_path), file_after_url_filter());
  expect_records_as_in_file();
}

TEST(FactoryReset, AFailedAccessListResetStopsAtStepSeven) {
  load_sample_config();
  fail_run(save_line, 5);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_firewall_default(), -1); }),
            lines({refresh(), switched_off(), scan_off(), ip_default(), url_default(),
                   mac_default(), refresh(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"), ran_and_failed(save_line),
                   error("gl3_web_set_acl_table_default::save_fw err!\n"),
                   error("gl3_web_set_firewall_default::gl3_web_set_acl_table_default err!\n")}));
  EXPECT_EQ(read_file(config_path), file_after_mac_filters());
  expect_records_as_in_file();
}

TEST(FactoryReset, AFailedPortalResetStopsAtStepEight) {
  load_sample_config();
  fail_run(save_line, 6);
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_firewall_default(), -1); }),
      lines({refresh(), switched_off(), scan_off(), ip_default(), url_default(), mac_default(),
             acl_default(), refresh(), ran("iptables -t filter -F forward_ext_captiveportal"),
             ran_and_failed(save_line), error("gl3_web_set_caporl_table_default::save_fw err!\n"),
             error("gl3_web_set_firewall_default::gl3_web_set_caporl_table_default err!\n")}));
  EXPECT_EQ(read_file(config_path), file_after_access_list());
  expect_records_as_in_file();
}

TEST(FactoryReset, AFailedDhcpResetDoesNotStopIt) {
  load_sample_config();
  fail_run(save_line, 7);
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_firewall_default(), 0); }),
      lines({refresh(), switched_off(), scan_off(), ip_default(), url_default(), mac_default(),
             acl_default(), caporl_default(), refresh(),
             ran("iptables -t filter -F input_ext_dhcp"), ran_and_failed(save_line),
             error("gl3_web_set_dhcp_table_default::save_fw err!\n"), qos_off(), qos_cleared()}));
  // The DHCP filter is what it was.
  EXPECT_EQ(read_file(config_path),
            with(file_after_reset(), fw + 4848, file('0').substr(fw + 4848, 212)));
}

TEST(FactoryReset, AQosSwitchThatThePlatformRefusesDoesNotStopIt) {
  // No rules are stored, so the last step has nothing to remove.
  load(with(file('1'), qos + 4, std::string(244, '\0')));
  world.qos_result = -1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_firewall_default(), 0); }),
            lines({refresh(), switched_off(), scan_off(), ip_default(), url_default(),
                   mac_default(), acl_default(), caporl_default(), dhcp_default(), qos_off(),
                   error("gl3_web_set_route_qos::gpon_l3_set_qos_rules err!\n"), refresh(),
                   refresh(), qos_cleared_trace}));
  EXPECT_EQ(read_file(config_path), file_after_reset());
}

TEST(FactoryReset, QosRulesThatThePlatformRefusesFailTheLastStep) {
  load_sample_config();
  world.qos_result = -1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_firewall_default(), -1); }),
            lines({refresh(), switched_off(), scan_off(), ip_default(), url_default(),
                   mac_default(), acl_default(), caporl_default(), dhcp_default(), qos_off(),
                   error("gl3_web_set_route_qos::gpon_l3_set_qos_rules err!\n"), qos_cleared(),
                   error("gl3_web_set_route_qos::gpon_l3_set_qos_rules err!\n"),
                   error("gl3_web_remove_all_qos_cfg::gl3_web_set_route_qos err!\n"),
                   error("gl3_web_set_firewall_default::gl3_web_remove_all_qos_cfg err!\n")}));
  EXPECT_EQ(read_file(config_path), file_after_reset());
}

TEST(FactoryReset, AnyResultOfTheLastStepThatIsNotZeroIsLoggedAndHandedOn) {
  load_sample_config();
  world.qos_result = 5;
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_firewall_default(), 5); }),
      lines({refresh(), switched_off(), scan_off(), ip_default(), url_default(), mac_default(),
             acl_default(), caporl_default(), dhcp_default(), qos_off(), qos_cleared(),
             error("gl3_web_set_firewall_default::gl3_web_remove_all_qos_cfg err!\n")}));
  EXPECT_EQ(read_file(config_path), file_after_reset());
}

TEST(FactoryReset, OnlyTheQosRecordInMemoryIsLookedAt) {
  // Never loaded, it is zero: the stored rules stay in the file and the platform is not asked.
  write_file(config_path, file('1'));
  static_cast<void>(record([] { EXPECT_EQ(get_firewall_rules_from_cfgfile(), 0); }));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_firewall_default(), 0); }),
            lines({refresh(), switched_off(), scan_off(), ip_default(), url_default(),
                   mac_default(), acl_default(), caporl_default(), dhcp_default(), refresh(),
                   refresh(), refresh(), qos_cleared_trace}));
  EXPECT_EQ(read_file(config_path), with(file_after_reset(), qos, file('1').substr(qos, 248)));
}
