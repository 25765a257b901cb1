/* Captive-portal redirection: from entries to command lines. */
#include <cstring>

#include "portal_image.hpp"

using namespace harness;
using namespace harness::portal;

namespace {

l3_caporl image_of(const std::string& bytes) {
  l3_caporl image;
  EXPECT_EQ(bytes.size(), sizeof(image));
  memcpy(&image, bytes.data(), sizeof(image));
  return image;
}

/* Puts a region straight into the library's record. */
void store(const std::string& bytes) {
  memcpy(&fw_rules_table.caporl, bytes.data(), bytes.size());
}

int32_t set(const std::string& bytes) {
  const l3_caporl image = image_of(bytes);
  return gl3_web_set_caporl_cfg(&image);
}

Lines failed_rule(const std::string& line, int exit_code = 1) {
  return debug("\n==" + line + "==\n") + ran_and_failed(line, exit_code);
}

constexpr char flush[] = "iptables -t filter -F forward_ext_captiveportal";
constexpr char save[] = "iptables-save -t filter >/ztcfg/firewall.conf";

Lines trace(const std::string& values) {
  return debug("\n==[" + values + "]\n");
}

}  // namespace

TEST(CaptivePortal, AnEnabledPortalWithAnEmptyListDropsEverything) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(set(region(0, "", 0x2a)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,caporl_filter_ctrl=2a,caporlTable=0"),
                   ran(all_the_rest), ran(save)}));
}

TEST(CaptivePortal, AnEntryThatIsNotEnabledMakesNoRule) {
  store(region(3, entry(0, "192.0.2.1") + entry(2, "192.168.1.1") + entry(0, "192.0.2.2"), 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({rule(gateway), ran(all_the_rest)}));
}

TEST(CaptivePortal, AnEnableWordCountsByAllItsBits) {
  store(region(1, entry(0x80000000, "192.168.1.1"), 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({rule(gateway), ran(all_the_rest)}));
}

TEST(CaptivePortal, EntriesAtAndAboveTheCountMakeNoRule) {
  store(region(1, entry(1, "192.168.1.1") + entry(1, "203.0.113.0/24"), 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({rule(gateway), ran(all_the_rest)}));
}

TEST(CaptivePortal, ThirtyTwoActiveEntriesMakeThirtyTwoRulesAndOneDrop) {
  std::string entries;
  Lines expected;
  for (int i = 0; i < 32; ++i) {
    const std::string address = "198.51.100." + std::to_string(100 + i);
    entries += entry(1, address);
    expected =
        expected + rule("iptables -A forward_ext_captiveportal  -d " + address + " -j ACCEPT");
  }
  for (const int32_t count : {32, 33, 1000000, 2147483647}) {
    store(region(count, entries, 1));
    EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
              lines({expected, ran(all_the_rest)}))
        << "count " << count;
  }
}

TEST(CaptivePortal, ANegativeCountDropsEverything) {
  load_firewall_switch(true);
  EXPECT_EQ(
      record([] { EXPECT_EQ(set(region(-2, entry(1, "192.168.1.1"), 1)), 0); }),
      lines({refresh(), ran(flush), trace("fw_enable=1,caporl_filter_ctrl=1,caporlTable=fffffffe"),
             ran(all_the_rest), ran(save)}));
}

TEST(CaptivePortal, AnAddressOfNineteenCharactersFillsItsField) {
  store(region(1, entry(1, "198.51.100.199/32.xy"), 1));
  fw_rules_table.caporl.entries[0].caporl_ip[19] = '\0';
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({rule("iptables -A forward_ext_captiveportal  -d 198.51.100.199/32.x -j ACCEPT"),
                   ran(all_the_rest)}));
}

TEST(CaptivePortal, AnAddressWithoutItsZeroEndsWithItsField) {
  store(region(2, entry(1, "198.51.100.199/32.xy") + entry(1, "192.168.1.1"), 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({rule("iptables -A forward_ext_captiveportal  -d 198.51.100.199/32.xy -j ACCEPT"),
                   rule(gateway), ran(all_the_rest)}));
}

TEST(CaptivePortal, TheTextReachesTheShellAsItIs) {
  store(region(2, entry(1, "$(x) `y`;\"z\"\\%s") + entry(1, ""), 1));
  EXPECT_EQ(
      record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
      lines({rule("iptables -A forward_ext_captiveportal  -d $(x) `y`;\"z\"\\%s -j ACCEPT"),
             rule("iptables -A forward_ext_captiveportal  -d  -j ACCEPT"), ran(all_the_rest)}));
}

TEST(CaptivePortal, TheGeneratorAsksNoSwitchAndFlushesNothing) {
  store(two_places(0));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({rule(gateway), rule(network), ran(all_the_rest)}));
}

TEST(CaptivePortal, AFailedRuleEmptiesTheChainAndLeavesRequestsFree) {
  store(two_places(1));
  fail_command(network, 2);
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), -1); }),
            lines({rule(gateway), failed_rule(network, 2), ran(flush),
                   error("flush_fw_ip::str_system(" + std::string(network) + ") is err!\n")}));
}

TEST(CaptivePortal, AFailedFlushAfterAFailedRuleChangesNothing) {
  store(two_places(1));
  fail_command(gateway);
  fail_command(flush);
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), -1); }),
            lines({failed_rule(gateway), ran_and_failed(flush),
                   error("flush_fw_ip::str_system(" + std::string(gateway) + ") is err!\n")}));
}

TEST(CaptivePortal, AFailedDropIsIgnored) {
  store(region(0, "", 1));
  fail_command(all_the_rest);
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({ran_and_failed(all_the_rest)}));
}

TEST(CaptivePortal, AnImageThatDiffersInItsCountAloneIsApplied) {
  load_firewall_switch(true);
  const std::string entries = entry(1, "192.168.1.1") + entry(1, "203.0.113.0/24");
  static_cast<void>(record([&] { set(region(2, entries, 1)); }));
  EXPECT_EQ(record([&] { EXPECT_EQ(set(region(1, entries, 1)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,caporl_filter_ctrl=1,caporlTable=1"),
                   rule(gateway), ran(all_the_rest), ran(save)}));
}
