/*
 * The power fails at every operation of every call that writes: the process is killed where the
 * operation would have begun, and a write also when half of it is done, and in the middle of the
 * bytes that it changes in each section. The device that starts then reads what is stored with every
 * get call, boots, and works: the same call brings everything right.
 *
 * Records are written in place, so torn files exist; docs/reliability.md describes their kinds.
 */
#include "power_cut.hpp"

#include <cstdio>

using namespace harness;
using namespace scenarios;

namespace {

const bool no_state_is_left = (tests_leave_no_state = true);

void cut_power(const List& list) {
  int cuts = 0;
  for (const Scenario& scenario : list) {
    SCOPED_TRACE(scenario.name);
    const Whole whole = played_through(scenario);
    if (!whole.writes) {
      continue;
    }
    const Found found = cut_everywhere(whole);
    EXPECT_GT(found.cuts, 0);
    check_inspection(whole, found);
    printf("%-60s %4d cuts, %d some sections, %d cut section, %d short file\n",
           scenario.name.c_str(), found.cuts, static_cast<int>(found.some_new.size()),
           static_cast<int>(found.cut_sections.size()), static_cast<int>(found.short_files.size()));
    cuts += found.cuts;
  }
  EXPECT_GT(cuts, 0);
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
