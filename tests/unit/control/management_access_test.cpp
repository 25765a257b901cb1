/* Management access: telnet, web, and the redirect to a configuration page. */
#include <algorithm>
#include <map>
#include <type_traits>

#include "harness.hpp"

using namespace harness;

namespace {

/* Just enough of a packet filter to see what a series of -A, -I and -D lines leaves behind. */
class PacketFilter {
 public:
  int run(const std::string& line) {
    const size_t chain_at = std::string("iptables -X ").size();
    const size_t rule_at = line.find(' ', chain_at) + 1;
    std::vector<std::string>& rules = chains[line.substr(chain_at, rule_at - 1 - chain_at)];
    const std::string rule = line.substr(rule_at);
    switch (line[chain_at - 2]) {
      case 'A':
        rules.push_back(rule);
        return exited(0);
      case 'I':
        rules.insert(rules.begin(), rule);
        return exited(0);
      default: {
        const auto found = std::find(rules.begin(), rules.end(), rule);
        if (found == rules.end()) {
          return exited(1);
        }
        rules.erase(found);
        return exited(0);
      }
    }
  }

  std::map<std::string, std::vector<std::string>> chains;
};

PacketFilter filter;

void use_packet_filter() {
  filter.chains["INPUT"] = {"-p icmp -j ACCEPT", "-j DROP"};
  world.system = [](const std::string& line) { return filter.run(line); };
}

const std::vector<std::string> hooked = {"-j input_ext_access_ctrl", "-p icmp -j ACCEPT",
                                         "-j DROP"};

Lines telnet_always() {
  return ran("iptables -D INPUT -j input_ext_access_ctrl") +
         ran("iptables -D input_ext_access_ctrl -p tcp --dport 23 -j DROP") +
         ran("iptables -D input_ext_access_ctrl -p tcp --dport 26 -j DROP") +
         ran("iptables -I INPUT -j input_ext_access_ctrl");
}

Lines telnet_blocked() {
  return ran("iptables -A input_ext_access_ctrl -p tcp --dport 23 -j DROP") +
         ran("iptables -A input_ext_access_ctrl -p tcp --dport 26 -j DROP");
}

Lines web_always(const std::string& port) {
  return ran("iptables -D INPUT -j input_ext_access_ctrl") +
         ran("iptables -D input_ext_access_ctrl -p tcp --dport " + port + " -j DROP") +
         ran("iptables -I INPUT -j input_ext_access_ctrl");
}

Lines web_blocked(const std::string& port) {
  return ran("iptables -A input_ext_access_ctrl -p tcp --dport " + port + " -j DROP");
}

Lines asks_dhcp_server() {
  return platform("DhcpsParaServerGet(0)");
}

constexpr char network[] = "192.168.1.0/24";
constexpr char target[] = "192.168.1.1:8080";

}  // namespace

TEST(ManagementAccess, BlockingTelnetAppendsBothDrops) {
  EXPECT_EQ(record([] { EXPECT_EQ(omci_set_telnet_state(0), 0); }),
            lines({telnet_always(), telnet_blocked()}));
  EXPECT_FALSE(file_exists(config_path));
}

TEST(ManagementAccess, AllowingTelnetAppendsNone) {
  EXPECT_EQ(record([] { EXPECT_EQ(omci_set_telnet_state(1), 0); }), lines({telnet_always()}));
  EXPECT_EQ(record([] { EXPECT_EQ(omci_set_telnet_state(2), 0); }), lines({telnet_always()}));
  EXPECT_EQ(record([] { EXPECT_EQ(omci_set_telnet_state(255), 0); }), lines({telnet_always()}));
}

TEST(ManagementAccess, TheLowByteOfATelnetStateInAWiderVariableCounts) {
  static_assert(std::is_same_v<decltype(&omci_set_telnet_state), int32_t (*)(uint32_t)>);
  uint32_t wide = 256;
  EXPECT_EQ(record([&] { EXPECT_EQ(omci_set_telnet_state(wide), 0); }),
            lines({telnet_always(), telnet_blocked()}));
  wide = 257;
  EXPECT_EQ(record([&] { EXPECT_EQ(omci_set_telnet_state(wide), 0); }), lines({telnet_always()}));
  wide = 0x302;
  EXPECT_EQ(record([&] { EXPECT_EQ(omci_set_telnet_state(wide), 0); }), lines({telnet_always()}));
}

TEST(ManagementAccess, BlockingTelnetTwiceLeavesEachDropOnceAndTheJumpAtTheHead) {
  use_packet_filter();
  static_cast<void>(record([] {
    EXPECT_EQ(omci_set_telnet_state(0), 0);
    EXPECT_EQ(omci_set_telnet_state(0), 0);
  }));
  EXPECT_EQ(filter.chains["input_ext_access_ctrl"],
            (Lines{"-p tcp --dport 23 -j DROP", "-p tcp --dport 26 -j DROP"}));
  EXPECT_EQ(filter.chains["INPUT"], hooked);
}

TEST(ManagementAccess, AllowingTelnetAfterABlockLeavesNoTelnetDrop) {
  use_packet_filter();
  static_cast<void>(record([] {
    omci_set_web_state(0, 80);
    omci_set_telnet_state(0);
    EXPECT_EQ(omci_set_telnet_state(1), 0);
  }));
  EXPECT_EQ(filter.chains["input_ext_access_ctrl"], (Lines{"-p tcp --dport 80 -j DROP"}));
  EXPECT_EQ(filter.chains["INPUT"], hooked);
}

TEST(ManagementAccess, FailedCommandsDoNotStopTheTelnetCall) {
  world.system = [](const std::string&) { return exited(1); };
  EXPECT_EQ(record([] { EXPECT_EQ(omci_set_telnet_state(0), 0); }),
            lines({ran_and_failed("iptables -D INPUT -j input_ext_access_ctrl"),
                   ran_and_failed("iptables -D input_ext_access_ctrl -p tcp --dport 23 -j DROP"),
                   ran_and_failed("iptables -D input_ext_access_ctrl -p tcp --dport 26 -j DROP"),
                   ran_and_failed("iptables -I INPUT -j input_ext_access_ctrl"),
                   ran_and_failed("iptables -A input_ext_access_ctrl -p tcp --dport 23 -j DROP"),
                   ran_and_failed("iptables -A input_ext_access_ctrl -p tcp --dport 26 -j DROP")}));
}

TEST(ManagementAccess, BlockingTheWebServiceDropsItsPort) {
  EXPECT_EQ(record([] { EXPECT_EQ(omci_set_web_state(0, 80), 0); }),
            lines({web_always("80"), web_blocked("80")}));
  EXPECT_FALSE(file_exists(config_path));
}

TEST(ManagementAccess, AllowingTheWebServiceAppendsNoDrop) {
  EXPECT_EQ(record([] { EXPECT_EQ(omci_set_web_state(1, 80), 0); }), lines({web_always("80")}));
  EXPECT_EQ(record([] { EXPECT_EQ(omci_set_web_state(255, 80), 0); }), lines({web_always("80")}));
}

TEST(ManagementAccess, TheLowByteOfAWebStateInAWiderVariableCounts) {
  static_assert(std::is_same_v<decltype(&omci_set_web_state), int32_t (*)(uint32_t, int32_t)>);
  uint32_t wide = 256;
  EXPECT_EQ(record([&] { EXPECT_EQ(omci_set_web_state(wide, 8080), 0); }),
            lines({web_always("8080"), web_blocked("8080")}));
  wide = 257;
  EXPECT_EQ(record([&] { EXPECT_EQ(omci_set_web_state(wide, 8080), 0); }),
            lines({web_always("8080")}));
  wide = 0x302;
  EXPECT_EQ(record([&] { EXPECT_EQ(omci_set_web_state(wide, 8080), 0); }),
            lines({web_always("8080")}));
}

TEST(ManagementAccess, AnyPortNumberIsPrintedInDecimal) {
  EXPECT_EQ(record([] { EXPECT_EQ(omci_set_web_state(0, -1), 0); }),
            lines({web_always("-1"), web_blocked("-1")}));
  EXPECT_EQ(record([] { EXPECT_EQ(omci_set_web_state(0, 0), 0); }),
            lines({web_always("0"), web_blocked("0")}));
  EXPECT_EQ(record([] { EXPECT_EQ(omci_set_web_state(1, INT32_MIN), 0); }),
            lines({web_always("-2147483648")}));
  EXPECT_EQ(record([] { EXPECT_EQ(omci_set_web_state(1, INT32_MAX), 0); }),
            lines({web_always("2147483647")}));
}

TEST(ManagementAccess, BlockingTheWebServiceTwiceLeavesOneDrop) {
  use_packet_filter();
  static_cast<void>(record([] {
    omci_set_web_state(0, 80);
    omci_set_web_state(0, 80);
  }));
  EXPECT_EQ(filter.chains["input_ext_access_ctrl"], (Lines{"-p tcp --dport 80 -j DROP"}));
  EXPECT_EQ(filter.chains["INPUT"], hooked);
}

TEST(ManagementAccess, TheDropOfAnotherPortStays) {
  use_packet_filter();
  static_cast<void>(record([] {
    omci_set_web_state(0, 8080);
    omci_set_web_state(1, 80);
  }));
  EXPECT_EQ(filter.chains["input_ext_access_ctrl"], (Lines{"-p tcp --dport 8080 -j DROP"}));
  EXPECT_EQ(filter.chains["INPUT"], hooked);
}

TEST(ManagementAccess, TelnetAndWebDropsLiveSideBySide) {
  use_packet_filter();
  static_cast<void>(record([] {
    omci_set_telnet_state(0);
    omci_set_web_state(0, 80);
    omci_set_web_state(1, 80);
  }));
  EXPECT_EQ(filter.chains["input_ext_access_ctrl"],
            (Lines{"-p tcp --dport 23 -j DROP", "-p tcp --dport 26 -j DROP"}));
}

TEST(ManagementAccess, FailedCommandsDoNotStopTheWebCall) {
  world.system = [](const std::string&) { return exited(1); };
  EXPECT_EQ(record([] { EXPECT_EQ(omci_set_web_state(0, 80), 0); }),
            lines({ran_and_failed("iptables -D INPUT -j input_ext_access_ctrl"),
                   ran_and_failed("iptables -D input_ext_access_ctrl -p tcp --dport 80 -j DROP"),
                   ran_and_failed("iptables -I INPUT -j input_ext_access_ctrl"),
                   ran_and_failed("iptables -A input_ext_access_ctrl -p tcp --dport 80 -j DROP")}));
}

TEST(PageJump, EnablingAppendsTheRedirect) {
  world.dhcp_server_buffer = "10.0.0.138";
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_cfg_page_jump(1, network, target), 0); }),
            lines({refresh(), asks_dhcp_server(),
                   ran("iptables -t nat -A PREROUTING -i br0 -s 192.168.1.0/24 ! -d 10.0.0.138 -p "
                       "tcp --dport 80 -j DNAT --to 192.168.1.1:8080")}));
  EXPECT_FALSE(file_exists(config_path));
}

TEST(PageJump, DisablingDeletesTheSameRule) {
  world.dhcp_server_buffer = "10.0.0.138";
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_cfg_page_jump(0, network, target), 0); }),
            lines({refresh(), asks_dhcp_server(),
                   ran("iptables -t nat -D PREROUTING -i br0 -s 192.168.1.0/24 ! -d 10.0.0.138 -p "
                       "tcp --dport 80 -j DNAT --to 192.168.1.1:8080")}));
}

TEST(PageJump, AllThirtyTwoBitsOfEnableCount) {
  for (const uint32_t enable : {2U, 256U, 0x80000000U}) {
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_cfg_page_jump(enable, network, target), 0); }),
              lines({refresh(), asks_dhcp_server(),
                     ran("iptables -t nat -A PREROUTING -i br0 -s 192.168.1.0/24 ! -d 192.168.1.1 "
                         "-p tcp --dport 80 -j DNAT --to 192.168.1.1:8080")}));
  }
}

TEST(PageJump, WithoutAKnownServerTheGatewayIsTheUsualAddress) {
  world.dhcp_server_buffer = "";
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_cfg_page_jump(1, network, target), 0); }),
            lines({refresh(), asks_dhcp_server(),
                   ran("iptables -t nat -A PREROUTING -i br0 -s 192.168.1.0/24 ! -d 192.168.1.1 -p "
                       "tcp --dport 80 -j DNAT --to 192.168.1.1:8080")}));
}

TEST(PageJump, AZeroByteInFrontHidesWhatFollows) {
  world.dhcp_server_buffer = std::string(
      "\0"
      "0.0.0.1",
      8);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_cfg_page_jump(1, network, target), 0); }),
            lines({refresh(), asks_dhcp_server(),
                   ran("iptables -t nat -A PREROUTING -i br0 -s 192.168.1.0/24 ! -d 192.168.1.1 -p "
                       "tcp --dport 80 -j DNAT --to 192.168.1.1:8080")}));
}

TEST(PageJump, AShorterServerAddressLeavesNothingOfTheUsualOne) {
  world.dhcp_server_buffer = std::string("10.1.1.1\0garbage", 16);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_cfg_page_jump(1, network, target), 0); }),
            lines({refresh(), asks_dhcp_server(),
                   ran("iptables -t nat -A PREROUTING -i br0 -s 192.168.1.0/24 ! -d 10.1.1.1 -p "
                       "tcp --dport 80 -j DNAT --to 192.168.1.1:8080")}));
}

TEST(PageJump, AServerAddressIsTakenUpToFifteenCharacters) {
  const std::string expected = lines(
      {refresh(), asks_dhcp_server(),
       ran("iptables -t nat -A PREROUTING -i br0 -s 192.168.1.0/24 ! -d 192.168.100.200 -p tcp "
           "--dport 80 -j DNAT --to 192.168.1.1:8080")});
  for (const std::string& buffer : {std::string("192.168.100.200"), std::string("192.168.100.2001"),
                                    "192.168.100.200" + std::string(33, '7')}) {
    world.dhcp_server_buffer = buffer;
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_cfg_page_jump(1, network, target), 0); }), expected)
        << buffer;
  }
}

TEST(PageJump, TheServersResultIsNotLookedAt) {
  world.dhcp_server_result = -1;
  world.dhcp_server_buffer = "10.0.0.138";
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_cfg_page_jump(1, network, target), 0); }),
            lines({refresh(), asks_dhcp_server(),
                   ran("iptables -t nat -A PREROUTING -i br0 -s 192.168.1.0/24 ! -d 10.0.0.138 -p "
                       "tcp --dport 80 -j DNAT --to 192.168.1.1:8080")}));
}

TEST(PageJump, ANullTextIsRefused) {
  const std::string no_network =
      lines({refresh(), error("gl3_web_cfg_page_jump::pLanNet NULLP err\r\n")});
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_cfg_page_jump(1, nullptr, target), -1); }), no_network);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_cfg_page_jump(0, nullptr, nullptr), -1); }), no_network);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_cfg_page_jump(1, network, nullptr), -1); }),
            lines({refresh(), error("gl3_web_cfg_page_jump::pJumpIp NULLP err\r\n")}));
}

TEST(PageJump, BothTextsReachTheShellAsTheyAre) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_cfg_page_jump(1, "$(a) %s", "`b`;\"c\""), 0); }),
            lines({refresh(), asks_dhcp_server(),
                   ran("iptables -t nat -A PREROUTING -i br0 -s $(a) %s ! -d 192.168.1.1 -p tcp "
                       "--dport 80 -j DNAT --to `b`;\"c\"")}));
}

TEST(PageJump, AFailedCommandIsOnlyLogged) {
  world.system = [](const std::string&) { return exited(2); };
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_cfg_page_jump(0, network, target), 0); }),
            lines({refresh(), asks_dhcp_server(),
                   ran_and_failed("iptables -t nat -D PREROUTING -i br0 -s 192.168.1.0/24 ! -d "
                                  "192.168.1.1 -p tcp --dport 80 -j DNAT --to 192.168.1.1:8080",
                                  2)}));
}

TEST(PageJump, ALineOf255CharactersRuns) {
  const std::string around =
      "iptables -t nat -A PREROUTING -i br0 -s  ! -d 192.168.1.1 -p tcp "
      "--dport 80 -j DNAT --to ";
  const std::string long_target(255 - around.size() - 1, 'j');
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_cfg_page_jump(1, "n", long_target.c_str()), 0); }),
            lines({refresh(), asks_dhcp_server(),
                   ran("iptables -t nat -A PREROUTING -i br0 -s n ! -d 192.168.1.1 -p tcp --dport "
                       "80 -j DNAT --to " +
                       long_target)}));
}

TEST(PageJump, ALongerLineIsLoggedAndNeverRun) {
  const std::string around =
      "iptables -t nat -A PREROUTING -i br0 -s  ! -d 192.168.1.1 -p tcp "
      "--dport 80 -j DNAT --to ";
  const std::string kept(255 - around.size() - 1, 'j');
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_cfg_page_jump(1, "n", (kept + "k").c_str()), 0); }),
            lines({refresh(), asks_dhcp_server(),
                   error("command is too long: [iptables -t nat -A PREROUTING -i br0 -s n ! -d "
                         "192.168.1.1 -p tcp --dport 80 -j DNAT --to " +
                         kept + "]\n")}));
}
