/* The DHCP client MAC filter: the rules that a list becomes. */
#include <cstring>

#include "dhcp_image.hpp"

using namespace harness;
using namespace harness::dhcp;

TEST(DhcpFilter, AWhiteListEndsWithACatchAllDrop) {
  load_firewall_switch(true);
  EXPECT_EQ(
      record([] { EXPECT_EQ(set(two_devices(1, 0x1f)), 0); }),
      lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1f,dhcpTable=2"),
             rule(first_accept), rule(third_accept), generated("1f"), ran(catch_all), ran(save)}));
  EXPECT_EQ(stored(), two_devices(1, 0x1f));
  EXPECT_EQ(read_file(config_path), file_with('1', two_devices(1, 0x1f)));
}

TEST(DhcpFilter, OnlyTheModeOneIsAWhiteList) {
  load_firewall_switch(true);
  for (const uint32_t mode : {2U, 0x101U, 0xffffffffU}) {
    EXPECT_EQ(record([&] { EXPECT_EQ(set(two_devices(mode, 1)), 0); }),
              lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=2"),
                     rule(first_drop), rule(third_drop), generated("1"), ran(save)}))
        << "mode " << mode;
  }
}

TEST(DhcpFilter, AnEmptyWhiteListLeavesTheCatchAllAlone) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(set(region(0, "", 1, 1)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=0"),
                   generated("1"), ran(catch_all), ran(save)}));
}

TEST(DhcpFilter, AnEmptyBlackListMakesNoRule) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(set(region(0, "", 0, 1)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=0"),
                   generated("1"), ran(save)}));
}

TEST(DhcpFilter, AnEntryWhoseFlagIsZeroMakesARule) {
  store(region(2, entry(0, first_mac) + entry(0xffffffff, third_mac), 0, 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }),
            lines({rule(first_drop), rule(third_drop), generated("1")}));
}

TEST(DhcpFilter, EntriesAtAndAboveTheCountMakeNone) {
  store(region(1, entry(1, first_mac) + entry(1, second_mac), 0, 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }),
            lines({rule(first_drop), generated("1")}));
}

TEST(DhcpFilter, TheGeneratorAsksNoSwitchAndFlushesNothing) {
  store(region(1, entry(1, first_mac), 1, 0));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }),
            lines({rule(first_accept), generated("0"), ran(catch_all)}));
}

TEST(DhcpFilter, TenEntriesFillTheList) {
  std::string entries;
  Lines expected;
  for (int i = 0; i < 10; ++i) {
    const std::string digit = std::to_string(i);
    entries += entry(1, std::string("\x02\x00\x00\x00\x00", 5) + static_cast<char>(i));
    expected = expected + rule("iptables -A input_ext_dhcp -m mac --mac-source 02:00:00:00:00:0" +
                               digit + " -j DROP");
  }
  store(region(10, entries, 0, 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }), lines({expected, generated("1")}));
}

TEST(DhcpFilter, ANegativeCountWalksNothing) {
  load_firewall_switch(true);
  EXPECT_EQ(
      record([] { EXPECT_EQ(set(region(-1, entry(1, first_mac), 1, 1)), 0); }),
      lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=ffffffff"),
             generated("1"), ran(catch_all), ran(save)}));
}

TEST(DhcpFilter, ACountAboveTheListReadsTheBytesBehindIt) {
  store(region(11, "", 0, 0));
  memcpy(&fw_rules_table.dhcp_filter.dhcp_mac_filter_ctrl, "\x01\x02\x02\x01",
         4);  // the same in either byte order
  memcpy(&fw_rules_table.acl.count, "\xab\xcd\xef\x77", 4);
  Lines expected;
  for (int i = 0; i < 10; ++i) {
    expected = expected + rule(nobody);
  }
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }),
            lines({expected,
                   rule("iptables -A input_ext_dhcp -m mac --mac-source 01:02:02:01:ab:cd -j DROP"),
                   generated("1020201")}));
}

TEST(DhcpFilter, ACountPastTheRecordStopsAtItsEnd) {
  for (const int32_t count : {65, 66, 1000000, 2147483647}) {
    store(region(count, "", 0, 1));
    Lines expected;
    for (int i = 0; i < 10; ++i) {
      expected = expected + rule(nobody);
    }
    // The switch word itself lies in the eleventh place.
    const std::string first_byte = word(1)[0] == 1 ? "01:00:00:00" : "00:00:00:01";
    expected = expected + rule("iptables -A input_ext_dhcp -m mac --mac-source " + first_byte +
                               ":00:00 -j DROP");
    for (int i = 11; i < 65; ++i) {
      expected = expected + rule(nobody);
    }
    EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }), lines({expected, generated("1")}))
        << "count " << count;
  }
}

TEST(DhcpFilter, AFailedRuleFlushesTheChainAndEndsTheList) {
  store(region(3, entry(1, first_mac) + entry(1, second_mac) + entry(1, third_mac), 0, 1));
  fail_command(second_drop, 2);
  EXPECT_EQ(
      record([] { EXPECT_EQ(config_fw_dhcp(), -1); }),
      lines({rule(first_drop), failed_rule(second_drop, 2), ran(flush),
             error("config_fw_dhcp::str_system(" + std::string(second_drop) + ") is err!\n")}));
}

TEST(DhcpFilter, AFailedRuleOfAWhiteListLeavesNoCatchAll) {
  store(region(1, entry(1, first_mac), 1, 1));
  fail_command(first_accept);
  fail_command(flush);
  EXPECT_EQ(
      record([] { EXPECT_EQ(config_fw_dhcp(), -1); }),
      lines({failed_rule(first_accept), ran_and_failed(flush),
             error("config_fw_dhcp::str_system(" + std::string(first_accept) + ") is err!\n")}));
}

TEST(DhcpFilter, AFailedCatchAllIsIgnored) {
  store(region(0, "", 1, 1));
  fail_command(catch_all);
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }),
            lines({generated("1"), ran_and_failed(catch_all)}));
}

TEST(DhcpFilter, AnImageThatDiffersInItsCountAloneIsApplied) {
  load_firewall_switch(true);
  const std::string entries = entry(1, first_mac) + entry(1, third_mac);
  static_cast<void>(record([&] { set(region(2, entries, 0, 1)); }));
  EXPECT_EQ(record([&] { EXPECT_EQ(set(region(1, entries, 0, 1)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=1"),
                   rule(first_drop), generated("1"), ran(save)}));
}
