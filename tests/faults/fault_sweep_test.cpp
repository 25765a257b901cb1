/*
 * Every operation of every call fails once: command lines, file calls, platform calls.
 *
 * The long form (L3_TEST_FULL set) tries every fault of each operation, the short form one fault.
 */
#include <fstream>
#include <regex>
#include <set>

#include "sweep.hpp"

using namespace scenarios;

namespace {

const bool no_state_is_left = (harness::tests_leave_no_state = true);

void sweep_all(const List& list) {
  const Tally met = sweep(list);
  EXPECT_EQ(met.scenarios, static_cast<int>(list.size()));
  EXPECT_GE(met.faults, met.scenarios);
}

}  // namespace

TEST(FaultSweep, ConfigurationFile) {
  sweep_all(configuration_file());
}
TEST(FaultSweep, RecordFiles) {
  sweep_all(record_files());
}
TEST(FaultSweep, Migration) {
  sweep_all(migration());
}
TEST(FaultSweep, VpnPassThrough) {
  sweep_all(vpn_pass_through());
}
TEST(FaultSweep, RouteQos) {
  sweep_all(route_qos_calls());
}
TEST(FaultSweep, ShellAndRuleSet) {
  sweep_all(shell_and_rule_set());
}
TEST(FaultSweep, IpFilter) {
  sweep_all(ip_filters());
}
TEST(FaultSweep, UrlFilter) {
  sweep_all(url_filters());
}
TEST(FaultSweep, MacFilter) {
  sweep_all(mac_filters());
}
TEST(FaultSweep, DhcpFilter) {
  sweep_all(dhcp_filters());
}
TEST(FaultSweep, AccessList) {
  sweep_all(access_lists());
}
TEST(FaultSweep, CaptivePortal) {
  sweep_all(captive_portals());
}
TEST(FaultSweep, AttackProtection) {
  sweep_all(attack_protection());
}
TEST(FaultSweep, InternetWan) {
  sweep_all(internet_wan());
}
TEST(FaultSweep, ManagementAccess) {
  sweep_all(management_access());
}
TEST(FaultSweep, StartUp) {
  sweep_all(start_up());
}
TEST(FaultSweep, MasterSwitch) {
  sweep_all(master_switch());
}
TEST(FaultSweep, SecurityLevel) {
  sweep_all(security_level());
}
TEST(FaultSweep, FactoryReset) {
  sweep_all(factory_reset());
}

TEST(FaultSweep, EveryCallThatReachesOutsideIsTried) {
  // These only compute; they have no operations that can fail.
  std::set<std::string> tried = {
      "cli_trimming_whitespace_from_string",
      "f_zeroed_ip_address",
      "gl3_web_ip6_bin_to_str",
      "gl3_web_ip6_str_to_bin",
      "gl3_web_ip_bin_to_str",
      "gl3_web_ip_str_to_bin",
      "gl3_web_mac_bin_to_str",
      "gl3_web_mac_str_to_bin",
      "p_bl_inet_pton4",
      "p_bl_inet_pton6",
      "p_bl_ip_addr_unknown_version",
      "parse_url",
      "replace_string",
      // The exported globals.
      "arp_tbl",
      "fw6_rules_table",
      "fw_rules_table",
      "g_porting_firewall_cfg_v1_to_v2_called_count",
      "RtQoSRulesTable",
  };
  for (const Scenario& scenario : all()) {
    tried.insert(scenario.calls.begin(), scenario.calls.end());
  }
  std::ifstream map(VERSION_SCRIPT);
  const std::regex name("^ +([A-Za-z]\\w*);$");
  int names = 0;
  for (std::string line; std::getline(map, line);) {
    std::smatch match;
    if (std::regex_match(line, match, name)) {
      ++names;
      EXPECT_EQ(tried.count(match[1]), 1U) << match[1] << " is not tried";
    }
  }
  EXPECT_EQ(names, 123);
}

TEST(FaultSweep, AFailedReadLeavesZerosThatTheNextSetStores) {
  // What a caller must know: after a failed get, load again before anything is changed.
  device::put(at_home('1').files);
  harness::in_a_new_process([] {
    device::plug_in();
    device::load_stored();
    static l3_url_filter urls;
    // The second read is the IPv6 record's.
    harness::world.file_faults = {{harness::FileCall::read, 2, 5}};
    static_cast<void>(harness::record([] { EXPECT_EQ(gl3_web_get_url_cfg(&urls), -1); }));
    harness::world.file_faults.clear();
    static_cast<void>(harness::record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(1), 0); }));
    const std::string file = harness::read_file(harness::config_path);
    EXPECT_EQ(file.substr(0, 6447), at_home('1').files.at(device::config).substr(0, 6447));
    EXPECT_EQ(file.substr(6447), std::string(8572, '\0'));
  });
}
