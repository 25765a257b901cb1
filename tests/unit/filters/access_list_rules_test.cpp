/* The local-service access control list: the rules that a list becomes. */
#include <cstdint>

#include "access_list_image.hpp"

using namespace harness;
using namespace harness::access_list;

namespace {

std::string generated(const l3_acl& list, int32_t result = 0) {
  fw_rules_table.acl = list;
  return record([=] { EXPECT_EQ(config_fw_acl(), result); });
}

}  // namespace

TEST(AccessListRules, OneSourceIsOneRuleAndACatchAllDrop) {
  EXPECT_EQ(generated(web_from_host()), rules_of_web_from_host());
}

TEST(AccessListRules, EveryServiceFromAnywhereInBothDirections) {
  EXPECT_EQ(generated(list_of({{1, 0, 0, 0, 0},
                               {1, 1, 0, 0, 0},
                               {1, 2, 0, 0, 0},
                               {1, 3, 0, 0, 0},
                               {1, 4, 0, 0, 0},
                               {1, 5, 0, 0, 0},
                               {1, 0, 1, 0, 0},
                               {1, 1, 1, 0, 0},
                               {1, 2, 1, 0, 0},
                               {1, 3, 1, 0, 0},
                               {1, 4, 1, 0, 0},
                               {1, 5, 1, 0, 0}})),
            lines({debug("\n==iptables -A input_ext_us_acl -p all -j ACCEPT==\n"),
                   ran("iptables -A input_ext_us_acl -p all -j ACCEPT"),
                   debug("\n==iptables -A input_ext_us_acl -p tcp --dport 80 -j ACCEPT==\n"),
                   ran("iptables -A input_ext_us_acl -p tcp --dport 80 -j ACCEPT"),
                   debug("\n==iptables -A input_ext_us_acl -p tcp --dport 21 -j ACCEPT==\n"),
                   ran("iptables -A input_ext_us_acl -p tcp --dport 21 -j ACCEPT"),
                   debug("\n==iptables -A input_ext_us_acl -p udp --dport 161 -j ACCEPT==\n"),
                   ran("iptables -A input_ext_us_acl -p udp --dport 161 -j ACCEPT"),
                   debug("\n==iptables -A input_ext_us_acl -p tcp --dport 23 -j ACCEPT==\n"),
                   ran("iptables -A input_ext_us_acl -p tcp --dport 23 -j ACCEPT"),
                   debug("\n==iptables -A input_ext_us_acl -p icmp -j ACCEPT==\n"),
                   ran("iptables -A input_ext_us_acl -p icmp -j ACCEPT"),
                   debug("\n==iptables -A input_ext_ds_acl -p all -j ACCEPT==\n"),
                   ran("iptables -A input_ext_ds_acl -p all -j ACCEPT"),
                   debug("\n==iptables -A input_ext_ds_acl -p tcp --dport 80 -j ACCEPT==\n"),
                   ran("iptables -A input_ext_ds_acl -p tcp --dport 80 -j ACCEPT"),
                   debug("\n==iptables -A input_ext_ds_acl -p tcp --dport 21 -j ACCEPT==\n"),
                   ran("iptables -A input_ext_ds_acl -p tcp --dport 21 -j ACCEPT"),
                   debug("\n==iptables -A input_ext_ds_acl -p udp --dport 161 -j ACCEPT==\n"),
                   ran("iptables -A input_ext_ds_acl -p udp --dport 161 -j ACCEPT"),
                   debug("\n==iptables -A input_ext_ds_acl -p tcp --dport 23 -j ACCEPT==\n"),
                   ran("iptables -A input_ext_ds_acl -p tcp --dport 23 -j ACCEPT"),
                   debug("\n==iptables -A input_ext_ds_acl -p icmp -j ACCEPT==\n"),
                   ran("iptables -A input_ext_ds_acl -p icmp -j ACCEPT"),
                   ran("iptables -A input_ext_us_acl -j DROP"),
                   ran("iptables -A input_ext_ds_acl -j DROP")}));
}

TEST(AccessListRules, EveryServiceFromASource) {
  EXPECT_EQ(
      generated(list_of(
          {{1, 0, 0, 4, 4}, {1, 2, 1, 4, 4}, {1, 3, 0, 4, 4}, {1, 4, 1, 4, 4}, {1, 5, 0, 4, 4}})),
      lines({debug("------------ip_start=4, ip_end=4\n"),
             debug("------------[24]##cmd_string=iptables -A input_ext_us_acl -p all -s \n"),
             ran("iptables -A input_ext_us_acl -p all -s 0.0.0.4/32  -j ACCEPT"),
             debug("------------ip_start=4, ip_end=4\n"),
             debug("------------[24]##cmd_string=iptables -A input_ext_ds_acl -p tcp --dport 21 "
                   "-s \n"),
             ran("iptables -A input_ext_ds_acl -p tcp --dport 21 -s 0.0.0.4/32  -j ACCEPT"),
             debug("------------ip_start=4, ip_end=4\n"),
             debug("------------[24]##cmd_string=iptables -A input_ext_us_acl -p udp --dport 161 "
                   "-s \n"),
             ran("iptables -A input_ext_us_acl -p udp --dport 161 -s 0.0.0.4/32  -j ACCEPT"),
             debug("------------ip_start=4, ip_end=4\n"),
             debug("------------[24]##cmd_string=iptables -A input_ext_ds_acl -p tcp --dport 23 "
                   "-s \n"),
             ran("iptables -A input_ext_ds_acl -p tcp --dport 23 -s 0.0.0.4/32  -j ACCEPT"),
             debug("------------ip_start=4, ip_end=4\n"),
             debug("------------[24]##cmd_string=iptables -A input_ext_us_acl -p icmp -s \n"),
             ran("iptables -A input_ext_us_acl -p icmp -s 0.0.0.4/32  -j ACCEPT"),
             ran("iptables -A input_ext_us_acl -j DROP"),
             ran("iptables -A input_ext_ds_acl -j DROP")}));
}

TEST(AccessListRules, ARangeIsARuleForEachPrefix) {
  EXPECT_EQ(
      generated(list_of({{1, 4, 2, 0x0a000004, 0x0a000006}})),
      lines({debug("------------ip_start=a000004, ip_end=a000006\n"),
             debug("------------[24]##cmd_string=iptables -A input_ext_ds_acl -p tcp --dport 23 "
                   "-s \n"),
             debug("------------[24]##cmd_string=iptables -A input_ext_ds_acl -p tcp --dport 23 "
                   "-s \n"),
             ran("iptables -A input_ext_ds_acl -p tcp --dport 23 -s 10.0.0.4/31  -j ACCEPT"),
             debug("------------[24]##cmd_string=iptables -A input_ext_ds_acl -p tcp --dport 23 "
                   "-s \n"),
             ran("iptables -A input_ext_ds_acl -p tcp --dport 23 -s 10.0.0.6/32  -j ACCEPT"),
             ran("iptables -A input_ext_ds_acl -j DROP")}));
}

TEST(AccessListRules, EveryOtherDirectionIsDownstream) {
  for (const uint32_t direction : {1U, 2U, 0x80000000U, 0xffffffffU}) {
    EXPECT_EQ(generated(list_of({{1, 5, direction, 0, 0}})),
              lines({debug("\n==iptables -A input_ext_ds_acl -p icmp -j ACCEPT==\n"),
                     ran("iptables -A input_ext_ds_acl -p icmp -j ACCEPT"),
                     ran("iptables -A input_ext_ds_acl -j DROP")}));
  }
}

TEST(AccessListRules, ADirectionWithoutAnEntryStaysOpen) {
  EXPECT_EQ(generated(list_of({})), "");
  EXPECT_EQ(generated(list_of({{0, 1, 0, 0, 0}, {1, 5, 0, 0, 0}, {0, 1, 1, 0, 0}})),
            lines({debug("\n==iptables -A input_ext_us_acl -p icmp -j ACCEPT==\n"),
                   ran("iptables -A input_ext_us_acl -p icmp -j ACCEPT"),
                   ran("iptables -A input_ext_us_acl -j DROP")}));
}

TEST(AccessListRules, AnEmptySlotIsNotLookedInto) {
  EXPECT_EQ(generated(list_of({{0, 6, 0, host, host}})), "");
}

TEST(AccessListRules, AnySlotValueButZeroIsInUse) {
  EXPECT_EQ(generated(list_of({{0x80000000U, 5, 0, 0, 0}})),
            lines({debug("\n==iptables -A input_ext_us_acl -p icmp -j ACCEPT==\n"),
                   ran("iptables -A input_ext_us_acl -p icmp -j ACCEPT"),
                   ran("iptables -A input_ext_us_acl -j DROP")}));
}

TEST(AccessListRules, TheLastAddressAloneMakesNoSource) {
  EXPECT_EQ(generated(list_of({{1, 5, 0, 0, host}})),
            lines({debug("\n==iptables -A input_ext_us_acl -p icmp -j ACCEPT==\n"),
                   ran("iptables -A input_ext_us_acl -p icmp -j ACCEPT"),
                   ran("iptables -A input_ext_us_acl -j DROP")}));
}

TEST(AccessListRules, ARefusedSourceClosesItsDirectionAllTheSame) {
  EXPECT_EQ(generated(list_of({{1, 1, 0, host, 0}, {1, 1, 1, 0x0a000001, 0x0a010001}})),
            lines({debug("------------ip_start=c0a80102, ip_end=0\n"),
                   error("config_acl_ip_range:netmask=-1 isn't support err!\n"),
                   debug("------------ip_start=a000001, ip_end=a010001\n"),
                   error("config_acl_ip_range:netmask=8 isn't support err!\n"),
                   ran("iptables -A input_ext_us_acl -j DROP"),
                   ran("iptables -A input_ext_ds_acl -j DROP")}));
}

TEST(AccessListRules, AReversedSourceClosesItsDirectionAllTheSame) {
  EXPECT_EQ(generated(list_of({{1, 5, 0, host, host - 1}})),
            lines({debug("------------ip_start=c0a80102, ip_end=c0a80101\n"),
                   debug("------------[24]##cmd_string=iptables -A input_ext_us_acl -p icmp -s \n"),
                   error("config_acl_ip_range_24_mask:start_ip is bigger than end_ip err!\n"),
                   ran("iptables -A input_ext_us_acl -j DROP")}));
}

TEST(AccessListRules, AnUnknownServiceStopsWithoutACatchAll) {
  EXPECT_EQ(generated(list_of({{1, 5, 0, 0, 0}, {1, 6, 0, 0, 0}, {1, 5, 1, 0, 0}}), -1),
            lines({debug("\n==iptables -A input_ext_us_acl -p icmp -j ACCEPT==\n"),
                   ran("iptables -A input_ext_us_acl -p icmp -j ACCEPT"),
                   error("config_fw_acl::app_type=6 is err!\n")}));
  EXPECT_EQ(generated(list_of({{1, 0xffffffffU, 1, host, host}}), -1),
            lines({error("config_fw_acl::app_type=-1 is err!\n")}));
}

TEST(AccessListRules, AFailedRuleEmptiesBothChains) {
  fail_command("iptables -A input_ext_ds_acl -p icmp -j ACCEPT", 2);
  EXPECT_EQ(
      generated(list_of({{1, 0, 0, 0, 0}, {1, 5, 1, 0, 0}, {1, 0, 1, 0, 0}}), -1),
      lines({debug("\n==iptables -A input_ext_us_acl -p all -j ACCEPT==\n"),
             ran("iptables -A input_ext_us_acl -p all -j ACCEPT"),
             debug("\n==iptables -A input_ext_ds_acl -p icmp -j ACCEPT==\n"),
             ran_and_failed("iptables -A input_ext_ds_acl -p icmp -j ACCEPT", 2),
             ran("iptables -t filter -F input_ext_us_acl"),
             ran("iptables -t filter -F input_ext_ds_acl"),
             error("config_fw_acl::str_system(iptables -A input_ext_ds_acl -p icmp -j ACCEPT) is "
                   "err!\n")}));
}

TEST(AccessListRules, AFailedRuleStaysTheFailureWhenTheFlushesFailToo) {
  world.system = [](const std::string&) { return exited(1); };
  EXPECT_EQ(
      generated(list_of({{1, 0, 0, 0, 0}}), -1),
      lines({debug("\n==iptables -A input_ext_us_acl -p all -j ACCEPT==\n"),
             ran_and_failed("iptables -A input_ext_us_acl -p all -j ACCEPT"),
             ran_and_failed("iptables -t filter -F input_ext_us_acl"),
             ran_and_failed("iptables -t filter -F input_ext_ds_acl"),
             error("config_fw_acl::str_system(iptables -A input_ext_us_acl -p all -j ACCEPT) is "
                   "err!\n")}));
}

TEST(AccessListRules, AFailedRuleOfASourceIsNotNoticed) {
  fail_command("iptables -A input_ext_us_acl -p tcp --dport 80 -s 192.168.1.2/32  -j ACCEPT");
  EXPECT_EQ(
      generated(web_from_host()),
      lines({debug("------------ip_start=c0a80102, ip_end=c0a80102\n"),
             debug("------------[24]##cmd_string=iptables -A input_ext_us_acl -p tcp --dport 80 "
                   "-s \n"),
             ran_and_failed(
                 "iptables -A input_ext_us_acl -p tcp --dport 80 -s 192.168.1.2/32  -j ACCEPT"),
             ran("iptables -A input_ext_us_acl -j DROP")}));
}

TEST(AccessListRules, AFailedCatchAllIsNotNoticed) {
  fail_command("iptables -A input_ext_us_acl -j DROP");
  fail_command("iptables -A input_ext_ds_acl -j DROP");
  EXPECT_EQ(generated(list_of({{1, 5, 0, 0, 0}, {1, 5, 1, 0, 0}})),
            lines({debug("\n==iptables -A input_ext_us_acl -p icmp -j ACCEPT==\n"),
                   ran("iptables -A input_ext_us_acl -p icmp -j ACCEPT"),
                   debug("\n==iptables -A input_ext_ds_acl -p icmp -j ACCEPT==\n"),
                   ran("iptables -A input_ext_ds_acl -p icmp -j ACCEPT"),
                   ran_and_failed("iptables -A input_ext_us_acl -j DROP"),
                   ran_and_failed("iptables -A input_ext_ds_acl -j DROP")}));
}

TEST(AccessListRules, ACountOfZeroOrLessWalksNothing) {
  l3_acl list = list_of({{1, 5, 0, 0, 0}});
  for (const int32_t count : {0, -1, INT32_MIN}) {
    list.count = count;
    EXPECT_EQ(generated(list), "") << count;
  }
}

TEST(AccessListRules, EntriesBehindTheCountAreNotRead) {
  l3_acl list = list_of({{1, 5, 0, 0, 0}, {1, 6, 0, 0, 0}});
  list.count = 1;
  EXPECT_EQ(generated(list), lines({debug("\n==iptables -A input_ext_us_acl -p icmp -j ACCEPT==\n"),
                                    ran("iptables -A input_ext_us_acl -p icmp -j ACCEPT"),
                                    ran("iptables -A input_ext_us_acl -j DROP")}));
}

TEST(AccessListRules, ACountAboveTheEntriesReadsOnBehindThem) {
  // The switch is the seventeenth entry's "in use", the portal's count its service, the portal's
  // first entry its direction and source.
  l3_acl list = {};
  list.count = 17;
  list.acl_filter_ctrl = 1;
  fw_rules_table.caporl.count = 5;
  fw_rules_table.caporl.entries[0].caporl_enable = 1;
  EXPECT_EQ(generated(list), lines({debug("\n==iptables -A input_ext_ds_acl -p icmp -j ACCEPT==\n"),
                                    ran("iptables -A input_ext_ds_acl -p icmp -j ACCEPT"),
                                    ran("iptables -A input_ext_ds_acl -j DROP")}));
}

TEST(AccessListRules, TheWalkEndsWithTheLastWholeEntryOfTheRecord) {
  // The fifty-fifth entry stands in the last portal entry's text; the fifty-sixth would reach
  // behind the record.
  l3_acl list = {};
  list.count = INT32_MAX;
  fw_rules_table.security_level = 1;
  const std::string text = word(0) + word(1) + word(5) + word(0) + word(0);
  text.copy(fw_rules_table.caporl.entries[31].caporl_ip, 20);
  EXPECT_EQ(generated(list), lines({debug("\n==iptables -A input_ext_us_acl -p icmp -j ACCEPT==\n"),
                                    ran("iptables -A input_ext_us_acl -p icmp -j ACCEPT"),
                                    ran("iptables -A input_ext_us_acl -j DROP")}));
}
