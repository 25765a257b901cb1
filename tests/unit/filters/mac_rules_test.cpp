/* The rules that the generators of the MAC filter append, IPv4 and IPv6. */
#include <climits>

#include "mac_image.hpp"

using namespace harness;

namespace {

const std::string tablet("\x00\x1a\x2b\x3c\x4d\x5e", 6);
const std::string console("\xff\xfe\x0a\x00\x09\x80", 6);
const std::string morning("\x08\x0c\x05\x1e", 4);

constexpr char rule[] =
    "iptables -A forward_ext_mac -i br0 -m mac --mac-source 00:1a:2b:3c:4d:5e "
    "-m time --timestart 8:5 --timestop 12:30 -j DROP";
constexpr char rule6[] =
    "ip6tables -A forward_ext_mac -i br0 -m mac --mac-source 00:1a:2b:3c:4d:5e "
    "-m time --timestart 8:5 --timestop 12:30 -j DROP";

/* Puts a region in place in one record, with another in the other one, and generates its rules. */
std::string rules_of(const std::string& image, int32_t expected_result = 0) {
  fw_rules_table.mac_filter = mac_region(image);
  fw6_rules_table.mac_filter = mac_region(mac_image(1, {mac_entry(console, "\1\2\3\4")}, 5, 1));
  return record([&] { EXPECT_EQ(config_fw_mac(), expected_result); });
}

std::string rules6_of(const std::string& image, int32_t expected_result = 0) {
  fw6_rules_table.mac_filter = mac_region(image);
  fw_rules_table.mac_filter = mac_region(mac_image(1, {mac_entry(console, "\1\2\3\4")}, 5, 1));
  return record([&] { EXPECT_EQ(config_fw6_mac(), expected_result); });
}

std::string one_tablet(uint32_t mode) {
  return mac_image(1, {mac_entry(tablet, morning)}, mode, 1);
}

}  // namespace

TEST(MacRules, ABlackListDropsEachDevice) {
  const std::string two = mac_image(
      2, {mac_entry(tablet, morning), mac_entry(console, std::string("\0\x18\0\0", 4))}, 0, 1);
  EXPECT_EQ(rules_of(two),
            lines({mac_rule("00:1a:2b:3c:4d:5e", rule),
                   mac_rule("ff:fe:0a:00:09:80",
                            "iptables -A forward_ext_mac -i br0 -m mac --mac-source "
                            "ff:fe:0a:00:09:80 -m time --timestart 0:0 --timestop 23:59 -j DROP"),
                   debug("[mac_black_white=0]\n")}));
  EXPECT_EQ(rules6_of(two),
            lines({mac_rule("00:1a:2b:3c:4d:5e", rule6),
                   mac_rule("ff:fe:0a:00:09:80",
                            "ip6tables -A forward_ext_mac -i br0 -m mac --mac-source "
                            "ff:fe:0a:00:09:80 -m time --timestart 0:0 --timestop 23:59 -j DROP"),
                   debug("[mac_black_white=0]\n")}));
}

TEST(MacRules, AWhiteListEndsWithACatchAllDrop) {
  EXPECT_EQ(
      rules_of(one_tablet(1)),
      lines({mac_rule("00:1a:2b:3c:4d:5e",
                      "iptables -A forward_ext_mac -i br0 -m mac --mac-source "
                      "00:1a:2b:3c:4d:5e -m time --timestart 8:5 --timestop 12:30 -j ACCEPT"),
             debug("[mac_black_white=1]\n"), ran("iptables -A forward_ext_mac -i br0 -j DROP")}));
  EXPECT_EQ(
      rules6_of(one_tablet(1)),
      lines({mac_rule("00:1a:2b:3c:4d:5e",
                      "ip6tables -A forward_ext_mac -i br0 -m mac --mac-source "
                      "00:1a:2b:3c:4d:5e -m time --timestart 8:5 --timestop 12:30 -j ACCEPT"),
             debug("[mac_black_white=1]\n"), ran("ip6tables -A forward_ext_mac -i br0 -j DROP")}));
}

TEST(MacRules, EveryModeButOneIsABlackListWithoutACatchAll) {
  EXPECT_EQ(rules_of(one_tablet(2)),
            lines({mac_rule("00:1a:2b:3c:4d:5e", rule), debug("[mac_black_white=2]\n")}));
  EXPECT_EQ(rules6_of(one_tablet(2)),
            lines({mac_rule("00:1a:2b:3c:4d:5e", rule6), debug("[mac_black_white=2]\n")}));
  EXPECT_EQ(rules_of(mac_image(0, {}, 0x80000001, 1)),
            lines({debug("[mac_black_white=80000001]\n")}));
  EXPECT_EQ(rules6_of(mac_image(0, {}, 0x01000000, 1)),
            lines({debug("[mac_black_white=1000000]\n")}));
}

TEST(MacRules, TheResultOfTheCatchAllIsIgnored) {
  fail_command("iptables -A forward_ext_mac -i br0 -j DROP");
  fail_command("ip6tables -A forward_ext_mac -i br0 -j DROP");
  EXPECT_EQ(rules_of(mac_image(0, {}, 1, 1)),
            lines({debug("[mac_black_white=1]\n"),
                   ran_and_failed("iptables -A forward_ext_mac -i br0 -j DROP")}));
  EXPECT_EQ(rules6_of(mac_image(0, {}, 1, 1)),
            lines({debug("[mac_black_white=1]\n"),
                   ran_and_failed("ip6tables -A forward_ext_mac -i br0 -j DROP")}));
}

TEST(MacRules, ADisabledEntryMakesNoRule) {
  const std::string image =
      mac_image(3,
                {mac_entry(console, morning, 0), mac_entry(tablet, morning, 9),
                 mac_entry(console, morning, 0)},
                0, 1);
  EXPECT_EQ(rules_of(image),
            lines({mac_rule("00:1a:2b:3c:4d:5e", rule), debug("[mac_black_white=0]\n")}));
  EXPECT_EQ(rules6_of(image),
            lines({mac_rule("00:1a:2b:3c:4d:5e", rule6), debug("[mac_black_white=0]\n")}));
}

TEST(MacRules, TenEntriesMakeTenRules) {
  const std::string image = mac_image(10, Lines(10, mac_entry(tablet, morning)), 0, 1);
  std::string expected;
  std::string expected6;
  for (int i = 0; i < 10; ++i) {
    expected += lines({mac_rule("00:1a:2b:3c:4d:5e", rule)});
    expected6 += lines({mac_rule("00:1a:2b:3c:4d:5e", rule6)});
  }
  EXPECT_EQ(rules_of(image), expected + lines({debug("[mac_black_white=0]\n")}));
  EXPECT_EQ(rules6_of(image), expected6 + lines({debug("[mac_black_white=0]\n")}));
}

TEST(MacRules, EntriesBehindTheCountAreNotReadAndNegativeCountsMakeNoRule) {
  for (const int32_t count : {0, -1, INT_MIN}) {
    const std::string image = mac_image(count, {mac_entry(tablet, morning)}, 0, 1);
    EXPECT_EQ(rules_of(image), lines({debug("[mac_black_white=0]\n")}));
    EXPECT_EQ(rules6_of(image), lines({debug("[mac_black_white=0]\n")}));
  }
}

TEST(MacRules, ACountOfElevenReadsOnBehindTheEntryArea) {
  // List mode 2 reads as "enabled"; switch and DHCP count are the address.
  fw_rules_table.dhcp_filter.entries[0].mac[0] = 1;
  fw_rules_table.dhcp_filter.entries[0].mac[1] = 2;
  fw_rules_table.dhcp_filter.entries[0].mac[2] = 3;
  fw_rules_table.dhcp_filter.entries[0].mac[3] = 4;
  EXPECT_EQ(rules_of(mac_image(11, {}, 2, 0x11111111)),
            lines({mac_rule("11:11:11:11:00:00",
                            "iptables -A forward_ext_mac -i br0 -m mac --mac-source "
                            "11:11:11:11:00:00 -m time --timestart 1:3 --timestop 2:4 -j DROP"),
                   debug("[mac_black_white=2]\n")}));
}

TEST(MacRules, ACountAboveTheEntryAreaEndsWithTheRecord) {
  // The last whole entry of either record is number 75.
  const std::string entry = mac_entry(tablet, morning);
  entry.copy(reinterpret_cast<char*>(&fw_rules_table) + 6140, entry.size());
  for (const int32_t count : {76, 77, INT_MAX}) {
    EXPECT_EQ(rules_of(mac_image(count, {}, 0, 0)),
              lines({mac_rule("00:1a:2b:3c:4d:5e", rule), debug("[mac_black_white=0]\n")}));
  }
  EXPECT_EQ(rules_of(mac_image(75, {}, 0, 0)), lines({debug("[mac_black_white=0]\n")}));
}

TEST(MacRules, AnIpv6CountAboveTheEntryAreaEndsWithTheRecord) {
  const std::string entry = mac_entry(tablet, morning);
  entry.copy(reinterpret_cast<char*>(&fw6_rules_table) + 8540, entry.size());
  for (const int32_t count : {76, 77, INT_MAX}) {
    EXPECT_EQ(rules6_of(mac_image(count, {}, 0, 0)),
              lines({mac_rule("00:1a:2b:3c:4d:5e", rule6), debug("[mac_black_white=0]\n")}));
  }
  EXPECT_EQ(rules6_of(mac_image(75, {}, 0, 0)), lines({debug("[mac_black_white=0]\n")}));
}

TEST(MacRules, AStopHourOf24OrMoreIsTheEndOfTheDay) {
  for (const std::string& hours :
       {std::string("\x16\x18\x1e\x00", 4), std::string("\x16\x19\x1e\x3b", 4),
        std::string("\x16\xff\x1e\xff", 4)}) {
    const std::string image = mac_image(1, {mac_entry(tablet, hours)}, 0, 1);
    EXPECT_EQ(rules_of(image),
              lines({mac_rule("00:1a:2b:3c:4d:5e",
                              "iptables -A forward_ext_mac -i br0 -m mac --mac-source "
                              "00:1a:2b:3c:4d:5e -m time --timestart 22:30 --timestop 23:59 "
                              "-j DROP"),
                     debug("[mac_black_white=0]\n")}));
    EXPECT_EQ(rules6_of(image),
              lines({mac_rule("00:1a:2b:3c:4d:5e",
                              "ip6tables -A forward_ext_mac -i br0 -m mac --mac-source "
                              "00:1a:2b:3c:4d:5e -m time --timestart 22:30 --timestop 23:59 "
                              "-j DROP"),
                     debug("[mac_black_white=0]\n")}));
  }
}

TEST(MacRules, AStartTimeIsNeverBounded) {
  EXPECT_EQ(rules_of(mac_image(1, {mac_entry(tablet, "\xff\x17\xff\xff")}, 0, 1)),
            lines({mac_rule("00:1a:2b:3c:4d:5e",
                            "iptables -A forward_ext_mac -i br0 -m mac --mac-source "
                            "00:1a:2b:3c:4d:5e -m time --timestart 255:255 --timestop 23:255 "
                            "-j DROP"),
                   debug("[mac_black_white=0]\n")}));
}

TEST(MacRules, AFailedRuleEmptiesTheChainAndEndsTheWalk) {
  const std::string image = mac_image(
      3, {mac_entry(console, "\1\2\3\4"), mac_entry(tablet, morning), mac_entry(console, morning)},
      1, 1);
  constexpr char accept[] =
      "iptables -A forward_ext_mac -i br0 -m mac --mac-source 00:1a:2b:3c:4d:5e "
      "-m time --timestart 8:5 --timestop 12:30 -j ACCEPT";
  fail_command(accept, 2);
  EXPECT_EQ(rules_of(image, -1),
            lines({mac_rule("ff:fe:0a:00:09:80",
                            "iptables -A forward_ext_mac -i br0 -m mac --mac-source "
                            "ff:fe:0a:00:09:80 -m time --timestart 1:3 --timestop 2:4 -j ACCEPT"),
                   mac_traced("00:1a:2b:3c:4d:5e", accept), ran_and_failed(accept, 2),
                   ran("iptables -t filter -F forward_ext_mac"),
                   error("config_fw_mac::str_system(" + std::string(accept) + ") is err!\n")}));

  constexpr char accept6[] =
      "ip6tables -A forward_ext_mac -i br0 -m mac --mac-source 00:1a:2b:3c:4d:5e "
      "-m time --timestart 8:5 --timestop 12:30 -j ACCEPT";
  fail_command(accept6, 2);
  EXPECT_EQ(rules6_of(image, -1),
            lines({mac_rule("ff:fe:0a:00:09:80",
                            "ip6tables -A forward_ext_mac -i br0 -m mac --mac-source "
                            "ff:fe:0a:00:09:80 -m time --timestart 1:3 --timestop 2:4 -j ACCEPT"),
                   mac_traced("00:1a:2b:3c:4d:5e", accept6), ran_and_failed(accept6, 2),
                   ran("ip6tables -t filter -F forward_ext_mac"),
                   error("config_fw6_mac::str_system(" + std::string(accept6) + ") is err!\n")}));
}

TEST(MacRules, AFailedFlushAfterAFailedRuleChangesNothing) {
  fail_command(rule);
  fail_command(rule6);
  fail_command("iptables -t filter -F forward_ext_mac");
  fail_command("ip6tables -t filter -F forward_ext_mac");
  EXPECT_EQ(rules_of(one_tablet(0), -1),
            lines({mac_traced("00:1a:2b:3c:4d:5e", rule), ran_and_failed(rule),
                   ran_and_failed("iptables -t filter -F forward_ext_mac"),
                   error("config_fw_mac::str_system(" + std::string(rule) + ") is err!\n")}));
  EXPECT_EQ(rules6_of(one_tablet(0), -1),
            lines({mac_traced("00:1a:2b:3c:4d:5e", rule6), ran_and_failed(rule6),
                   ran_and_failed("ip6tables -t filter -F forward_ext_mac"),
                   error("config_fw6_mac::str_system(" + std::string(rule6) + ") is err!\n")}));
}
