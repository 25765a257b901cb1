/*
 * The power fails at every operation of every call that writes: the process is killed where the
 * operation would have begun, and a write also when half of it is done, and in the middle of the
 * bytes that it changes in each section. The device that starts then reads what is stored with every
 * get call, boots, and works: the same call brings everything right.
 *
 * Records are written in place, so torn files exist. expected.md says how many of which kind; each of its
 * rows is compared with what is found here.
 */
#include "power_cut.hpp"

#include <bit>
#include <cstdio>
#include <fstream>
#include <iterator>

using namespace harness;
using namespace scenarios;

namespace {

const bool no_state_is_left = (tests_leave_no_state = true);

const std::string& expected() {
  static const std::string page = [] {
    std::ifstream file(EXPECTED_CUTS);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    // The rows of the other byte order stand last and count there alone.
    const bool big_endian = std::endian::native == std::endian::big;
    return big_endian ? text : text.substr(0, text.find("\nOn a big-endian host"));
  }();
  return page;
}

/* Cuts through all of them that write, and compares what is found with the expected rows. */
void cut_power(const List& list) {
  Lines rows;
  for (const Scenario& scenario : list) {
    SCOPED_TRACE(scenario.name);
    const Whole whole = played_through(scenario);
    if (!whole.writes) {
      continue;
    }
    const Found found = cut_everywhere(whole);
    rows.push_back("| " + scenario.name + " | " + std::to_string(found.cuts) + " | " +
                   std::to_string(found.some_new.size()) + " | " +
                   std::to_string(found.cut_sections.size()) + " | " +
                   std::to_string(found.short_files.size()) + " |" + with_message(whole, found));
    printf("%s\n", rows.back().c_str());
  }
  EXPECT_FALSE(rows.empty());
  for (const std::string& row : rows) {
    EXPECT_NE(expected().find("\n" + row), std::string::npos)
        << "tests/powercut/expected.md says otherwise; it should be\n"
        << row;
  }
}

}  // namespace

TEST(PowerCut, ConfigurationFile) {
  cut_power(configuration_file());
}
TEST(PowerCut, RecordFiles) {
  cut_power(record_files());
}
TEST(PowerCut, Migration) {
  cut_power(migration());
}
TEST(PowerCut, VpnPassThrough) {
  cut_power(vpn_pass_through());
}
TEST(PowerCut, RouteQos) {
  cut_power(route_qos_calls());
}
TEST(PowerCut, SavedRules) {
  cut_power(shell_and_rule_set());
}
TEST(PowerCut, IpFilter) {
  cut_power(ip_filters());
}
TEST(PowerCut, UrlFilter) {
  cut_power(url_filters());
}
TEST(PowerCut, MacFilter) {
  cut_power(mac_filters());
}
TEST(PowerCut, DhcpFilter) {
  cut_power(dhcp_filters());
}
TEST(PowerCut, AccessList) {
  cut_power(access_lists());
}
TEST(PowerCut, CaptivePortal) {
  cut_power(captive_portals());
}
TEST(PowerCut, AttackProtection) {
  cut_power(attack_protection());
}
TEST(PowerCut, StartUp) {
  cut_power(start_up());
}
TEST(PowerCut, MasterSwitch) {
  cut_power(master_switch());
}
TEST(PowerCut, SecurityLevel) {
  cut_power(security_level());
}
TEST(PowerCut, FactoryReset) {
  cut_power(factory_reset());
}
