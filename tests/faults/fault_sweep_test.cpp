/*
 * Every operation of every call goes wrong once: command lines, file calls, platform calls.
 *
 * The long form (L3_TEST_FULL set) tries every way of each operation, the short form one way. What
 * either meets stands in docs/reliability.md.
 */
#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "figures.hpp"
#include "sweep.hpp"
#include "run.hpp"

using namespace scenarios;

namespace {

const bool no_state_is_left = (harness::tests_leave_no_state = true);

/* Sweeps over all of them, and holds what was met against the row of docs/reliability.md. */
void sweep_as_documented(const List& list) {
  const std::string row = testing::UnitTest::GetInstance()->current_test_info()->name();
  const Tally met = sweep(list);
  const Tally expected = documented(row, in_full());
  if (sample() == 1) {
    EXPECT_EQ(row_text(row, met), row_text(row, expected));
  } else {
    EXPECT_EQ(met.scenarios, expected.scenarios);
    EXPECT_GE(met.faults, expected.faults / sample());
  }
}

void add(Tally& sum, const Tally& more) {
  sum.scenarios += more.scenarios;
  sum.faults += more.faults;
  sum.refused += more.refused;
  sum.repaired += more.repaired;
  sum.lost += more.lost;
  sum.stale6 += more.stale6;
}

}  // namespace

TEST(FaultSweep, ConfigurationFile) {
  sweep_as_documented(configuration_file());
}
TEST(FaultSweep, RecordFiles) {
  sweep_as_documented(record_files());
}
TEST(FaultSweep, Migration) {
  sweep_as_documented(migration());
}
TEST(FaultSweep, VpnPassThrough) {
  sweep_as_documented(vpn_pass_through());
}
TEST(FaultSweep, RouteQos) {
  sweep_as_documented(route_qos_calls());
}
TEST(FaultSweep, ShellAndRuleSet) {
  sweep_as_documented(shell_and_rule_set());
}
TEST(FaultSweep, IpFilter) {
  sweep_as_documented(ip_filters());
}
TEST(FaultSweep, UrlFilter) {
  sweep_as_documented(url_filters());
}
TEST(FaultSweep, MacFilter) {
  sweep_as_documented(mac_filters());
}
TEST(FaultSweep, DhcpFilter) {
  sweep_as_documented(dhcp_filters());
}
TEST(FaultSweep, AccessList) {
  sweep_as_documented(access_lists());
}
TEST(FaultSweep, CaptivePortal) {
  sweep_as_documented(captive_portals());
}
TEST(FaultSweep, AttackProtection) {
  sweep_as_documented(attack_protection());
}
TEST(FaultSweep, InternetWan) {
  sweep_as_documented(internet_wan());
}
TEST(FaultSweep, ManagementAccess) {
  sweep_as_documented(management_access());
}
TEST(FaultSweep, StartUp) {
  sweep_as_documented(start_up());
}
TEST(FaultSweep, MasterSwitch) {
  sweep_as_documented(master_switch());
}
TEST(FaultSweep, SecurityLevel) {
  sweep_as_documented(security_level());
}
TEST(FaultSweep, FactoryReset) {
  sweep_as_documented(factory_reset());
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
    for (const harness::Kind kind : play(scenario, scenario.start(), {}).operations) {
      faults += harness::faults_of(kind).size();
    }
  }
  EXPECT_GT(faults, 3000U);
  const std::string figure =
      std::to_string(list.size()) + " scenarios, " + std::to_string(faults) + " faults";
  std::ifstream file(RELIABILITY_PAGE);
  const std::string page(std::istreambuf_iterator<char>(file), {});
  EXPECT_NE(page.find(figure), std::string::npos) << "docs/reliability.md should say " << figure;
}

TEST(FaultSweep, TheSumsAreThoseOfTheRows) {
  for (const bool full : {true, false}) {
    Tally sum;
    for (const char* row :
         {"ConfigurationFile", "RecordFiles", "Migration", "VpnPassThrough", "RouteQos",
          "ShellAndRuleSet", "IpFilter", "UrlFilter", "MacFilter", "DhcpFilter", "AccessList",
          "CaptivePortal", "AttackProtection", "InternetWan", "ManagementAccess", "StartUp",
          "MasterSwitch", "SecurityLevel", "FactoryReset"}) {
      add(sum, documented(row, full));
    }
    EXPECT_EQ(row_text("all", documented("all", full)), row_text("all", sum));
  }
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
