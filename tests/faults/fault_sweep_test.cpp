/*
 * Every operation of every call goes wrong once: command lines, file calls, platform calls.
 *
 * The floors are what the short form meets, rounded down; the long form (L3_TEST_FULL set) tries
 * every way of each operation.
 */
#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "sweep.hpp"
#include "trial.hpp"

using namespace scenarios;

namespace {

const bool no_state_is_left = (harness::tests_leave_no_state = true);

class Report : public testing::Environment {
  void TearDown() override {
    const Tally& all = tally();
    printf(
        "%d scenarios, %d faults: %d times the call returned -1, %d times a file needed a "
        "repair, %d times settings were lost, %d times IPv6 rules came back with switching on "
        "alone\n",
        all.scenarios, all.faults, all.refused, all.repaired, all.lost, all.stale6);
  }
};
const testing::Environment* const report = testing::AddGlobalTestEnvironment(new Report);

}  // namespace

TEST(FaultSweep, ConfigurationFile) {
  sweep(configuration_file(), 100);
}
TEST(FaultSweep, RecordFiles) {
  sweep(record_files(), 50);
}
TEST(FaultSweep, Migration) {
  sweep(migration(), 80);
}
TEST(FaultSweep, VpnPassThrough) {
  sweep(vpn_pass_through(), 30);
}
TEST(FaultSweep, RouteQos) {
  sweep(route_qos_calls(), 40);
}
TEST(FaultSweep, ShellAndRuleSet) {
  sweep(shell_and_rule_set(), 25);
}
TEST(FaultSweep, IpFilter) {
  sweep(ip_filters(), 70);
}
TEST(FaultSweep, UrlFilter) {
  sweep(url_filters(), 40);
}
TEST(FaultSweep, MacFilter) {
  sweep(mac_filters(), 70);
}
TEST(FaultSweep, DhcpFilter) {
  sweep(dhcp_filters(), 40);
}
TEST(FaultSweep, AccessList) {
  sweep(access_lists(), 60);
}
TEST(FaultSweep, CaptivePortal) {
  sweep(captive_portals(), 75);
}
TEST(FaultSweep, AttackProtection) {
  sweep(attack_protection(), 50);
}
TEST(FaultSweep, InternetWan) {
  sweep(internet_wan(), 50);
}
TEST(FaultSweep, ManagementAccess) {
  sweep(management_access(), 12);
}
TEST(FaultSweep, StartUp) {
  sweep(start_up(), 250);
}
TEST(FaultSweep, MasterSwitch) {
  sweep(master_switch(), 80);
}
TEST(FaultSweep, SecurityLevel) {
  sweep(security_level(), 200);
}
TEST(FaultSweep, FactoryReset) {
  sweep(factory_reset(), 100);
}

TEST(FaultSweep, EveryCallThatReachesOutsideIsTried) {
  // These compute; nothing that they do can go wrong outside.
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
      // And these are no functions.
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

TEST(FaultSweep, TheNumberOfFaultsIsWrittenDown) {
  size_t faults = 0;
  const List list = all();
  for (const Scenario& scenario : list) {
    for (const int ways : play(scenario, scenario.start(), {}).ways) {
      faults += static_cast<size_t>(ways);
    }
  }
  EXPECT_GT(faults, 3000U);
  const std::string figure =
      std::to_string(list.size()) + " scenarios, " + std::to_string(faults) + " faults";
  std::ifstream file(RELIABILITY_PAGE);
  const std::string page(std::istreambuf_iterator<char>(file), {});
  EXPECT_NE(page.find(figure), std::string::npos) << "docs/reliability.md should say " << figure;
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
