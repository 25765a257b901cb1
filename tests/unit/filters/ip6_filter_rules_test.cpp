/* The IPv6 IP filter: from entries to command lines. */
#include "ip_filter_images.hpp"

using namespace ip_filter;

namespace {

l3_ip6_filter& filter = fw6_rules_table.ip_filter;

/* An entry for everything upstream. */
l3_ip6_filter_entry entry(uint32_t protocol) {
  l3_ip6_filter_entry result = {};
  result.protocol = protocol;
  return result;
}

struct Ports {
  uint32_t first, last;
};

l3_ip6_filter_entry entry(uint32_t protocol, Ports source, Ports destination) {
  l3_ip6_filter_entry result = entry(protocol);
  result.src_port_s = source.first;
  result.src_port_e = source.last;
  result.dst_port_s = destination.first;
  result.dst_port_e = destination.last;
  return result;
}

l3_ip6_filter_entry& add(const l3_ip6_filter_entry& added) {
  return filter.entries[filter.count++] = added;
}

/* 2001:db8::<last>. */
void put_address(uint8_t (&place)[16], uint8_t last) {
  memcpy(place, "\x20\x01\x0d\xb8", 4);
  place[15] = last;
}

std::string generate(int32_t expected_result) {
  return record([&] { EXPECT_EQ(config_fw6_ip(), expected_result); });
}

/* The port clauses of one entry's command. */
void expect_ports(const l3_ip6_filter_entry& given, const std::string& clauses) {
  filter = {};
  add(given);
  EXPECT_EQ(
      generate(0),
      lines({rule("ip6tables -A forward_ext_us_ip -p tcp -s :: -d ::" + clauses + " -j DROP")}));
}

}  // namespace

TEST(Ip6FilterRules, AnEmptyBlackListMakesNoRule) {
  EXPECT_EQ(generate(0), lines({}));
}

TEST(Ip6FilterRules, AnEmptyWhiteListIsItsCatchAllDropAlone) {
  filter.us_black_white = 1;
  EXPECT_EQ(generate(0), lines({ran("ip6tables -A forward_ext_us_ip -j DROP")}));
  filter.us_black_white = 0;
  filter.ds_black_white = 1;
  EXPECT_EQ(generate(0), lines({ran("ip6tables -A forward_ext_ds_ip -j DROP")}));
}

TEST(Ip6FilterRules, AWhiteListEndsWithACatchAllDrop) {
  l3_ip6_filter_entry& web = add(entry(6, {0, 0}, {80, 88}));
  put_address(web.src_ip, 0x10);
  put_address(web.dst_ip, 0x20);
  filter.us_black_white = 1;
  EXPECT_EQ(generate(0), lines({rule("ip6tables -A forward_ext_us_ip -p tcp -s 2001:db8::10"
                                     " -d 2001:db8::20 --dport 80:88 -j ACCEPT"),
                                ran("ip6tables -A forward_ext_us_ip -j DROP")}));
}

TEST(Ip6FilterRules, AnAllZeroAddressIsNotLeftOutButBecomesTwoColons) {
  add(entry(0));
  put_address(add(entry(0)).src_ip, 1);
  put_address(add(entry(0)).dst_ip, 2);
  EXPECT_EQ(generate(0),
            lines({rule("ip6tables -A forward_ext_us_ip -p all -s :: -d :: -j DROP"),
                   rule("ip6tables -A forward_ext_us_ip -p all -s 2001:db8::1 -d :: -j DROP"),
                   rule("ip6tables -A forward_ext_us_ip -p all -s :: -d 2001:db8::2 -j DROP")}));
}

TEST(Ip6FilterRules, ProtocolOneIsIcmpHereToo) {
  add(entry(1));
  EXPECT_EQ(generate(0),
            lines({rule("ip6tables -A forward_ext_us_ip -p icmp -s :: -d :: -j DROP")}));
}

TEST(Ip6FilterRules, EachDirectionHasItsOwnListMode) {
  add(entry(0));
  add(entry(0)).direction = 1;
  filter.us_black_white = 1;
  EXPECT_EQ(generate(0), lines({rule("ip6tables -A forward_ext_us_ip -p all -s :: -d :: -j ACCEPT"),
                                rule("ip6tables -A forward_ext_ds_ip -p all -s :: -d :: -j DROP"),
                                ran("ip6tables -A forward_ext_us_ip -j DROP")}));
  filter.us_black_white = 0;
  filter.ds_black_white = 1;
  EXPECT_EQ(generate(0), lines({rule("ip6tables -A forward_ext_us_ip -p all -s :: -d :: -j DROP"),
                                rule("ip6tables -A forward_ext_ds_ip -p all -s :: -d :: -j ACCEPT"),
                                ran("ip6tables -A forward_ext_ds_ip -j DROP")}));
}

TEST(Ip6FilterRules, AnyModeButZeroIsAWhiteList) {
  add(entry(0));
  add(entry(0)).direction = 1;
  for (const uint32_t mode : {2U, 0x80000000U, 0xFFFFFFFFU}) {
    filter.us_black_white = mode;
    filter.ds_black_white = mode;
    EXPECT_EQ(generate(0),
              lines({rule("ip6tables -A forward_ext_us_ip -p all -s :: -d :: -j ACCEPT"),
                     rule("ip6tables -A forward_ext_ds_ip -p all -s :: -d :: -j ACCEPT"),
                     ran("ip6tables -A forward_ext_us_ip -j DROP"),
                     ran("ip6tables -A forward_ext_ds_ip -j DROP")}));
  }
}

TEST(Ip6FilterRules, AnyDirectionButZeroIsDownstream) {
  for (const uint32_t direction : {1U, 2U, 0xFFFFFFFFU}) {
    filter = {};
    add(entry(0)).direction = direction;
    EXPECT_EQ(generate(0),
              lines({rule("ip6tables -A forward_ext_ds_ip -p all -s :: -d :: -j DROP")}));
  }
}

TEST(Ip6FilterRules, TheSecondAddressesAndTheFirstWordsAreInNoRule) {
  l3_ip6_filter_entry& given = add(entry(17));
  given.reserved = 7;
  given.index = 8;
  put_address(given.dst_ip_2, 1);
  put_address(given.src_ip_2, 2);
  EXPECT_EQ(generate(0),
            lines({rule("ip6tables -A forward_ext_us_ip -p udp -s :: -d :: -j DROP")}));
}

TEST(Ip6FilterRules, PortsAreARangeEvenWhenBothEndsAreOne) {
  expect_ports(entry(6, {80, 80}, {0, 0}), " --sport 80:80");
  expect_ports(entry(6, {0, 0}, {80, 80}), " --dport 80:80");
  expect_ports(entry(6, {1, 65535}, {1, 2}), " --sport 1:65535 --dport 1:2");
}

TEST(Ip6FilterRules, AnOpenEndLeavesThePortsOpen) {
  expect_ports(entry(6, {100, 0}, {0, 0}), "");
  expect_ports(entry(6, {0, 100}, {0, 0}), "");
  expect_ports(entry(6, {0, 0}, {100, 0}), "");
  expect_ports(entry(6, {0, 0}, {0, 100}), "");
}

TEST(Ip6FilterRules, PortsArePrintedWholeAndComparedUnsigned) {
  expect_ports(entry(6, {65535, 70000}, {70000, 70000}),
               " --sport 65535:70000 --dport 70000:70000");
  expect_ports(entry(6, {1, 0xFFFFFFFF}, {0xFFFFFFFF, 0xFFFFFFFF}), " --sport 1:-1 --dport -1:-1");
}

TEST(Ip6FilterRules, AllAndIcmpNeverGetPorts) {
  add(entry(0, {100, 50}, {80, 88}));
  add(entry(1, {80, 88}, {100, 50}));
  EXPECT_EQ(generate(0),
            lines({rule("ip6tables -A forward_ext_us_ip -p all -s :: -d :: -j DROP"),
                   rule("ip6tables -A forward_ext_us_ip -p icmp -s :: -d :: -j DROP")}));
}

TEST(Ip6FilterRules, AReversedSourceRangeStopsTheRun) {
  filter.us_black_white = 1;
  add(entry(0));
  add(entry(6, {100, 50}, {100, 50}));
  add(entry(0));
  EXPECT_EQ(generate(-1),
            lines({rule("ip6tables -A forward_ext_us_ip -p all -s :: -d :: -j ACCEPT"),
                   error("config_fw_ip6::sport1=100 > sport2=50 ERROR!\n")}));
}

TEST(Ip6FilterRules, AReversedDestinationRangeStopsTheRun) {
  filter.ds_black_white = 1;
  add(entry(17, {1, 2}, {0xFFFFFFFF, 1}));
  add(entry(0));
  EXPECT_EQ(generate(-1), lines({error("config_fw_ip6::dport1=-1 > dport2=1 ERROR!\n")}));
}

TEST(Ip6FilterRules, AnUnknownProtocolStopsTheRunAndLeavesTheRulesBeforeIt) {
  filter.us_black_white = 1;
  add(entry(17));
  add(entry(58));
  add(entry(0));
  EXPECT_EQ(generate(-1),
            lines({rule("ip6tables -A forward_ext_us_ip -p udp -s :: -d :: -j ACCEPT"),
                   error("config_fw_ip6::protocol=58 is err!\n")}));
  filter = {};
  add(entry(0xFFFFFFFF));
  EXPECT_EQ(generate(-1), lines({error("config_fw_ip6::protocol=-1 is err!\n")}));
}

TEST(Ip6FilterRules, AFailedCommandFlushesBothChainsAndStopsTheRun) {
  filter.us_black_white = 1;
  add(entry(6));
  add(entry(17));
  add(entry(1));
  fail_command("ip6tables -A forward_ext_us_ip -p udp -s :: -d :: -j ACCEPT", 2);
  EXPECT_EQ(
      generate(-1),
      lines({rule("ip6tables -A forward_ext_us_ip -p tcp -s :: -d :: -j ACCEPT"),
             debug("\n==ip6tables -A forward_ext_us_ip -p udp -s :: -d :: -j ACCEPT==\n"),
             ran_and_failed("ip6tables -A forward_ext_us_ip -p udp -s :: -d :: -j ACCEPT", 2),
             ran("ip6tables -t filter -F forward_ext_us_ip"),
             ran("ip6tables -t filter -F forward_ext_ds_ip"),
             error("config_fw_ip6::str_system(ip6tables -A forward_ext_us_ip -p udp -s :: -d ::"
                   " -j ACCEPT) is err!\n")}));
}

TEST(Ip6FilterRules, FlushesThatFailAfterAFailedCommandChangeNothing) {
  add(entry(0));
  world.system = [](const std::string&) { return exited(1); };
  EXPECT_EQ(generate(-1),
            lines({debug("\n==ip6tables -A forward_ext_us_ip -p all -s :: -d :: -j DROP==\n"),
                   ran_and_failed("ip6tables -A forward_ext_us_ip -p all -s :: -d :: -j DROP"),
                   ran_and_failed("ip6tables -t filter -F forward_ext_us_ip"),
                   ran_and_failed("ip6tables -t filter -F forward_ext_ds_ip"),
                   error("config_fw_ip6::str_system(ip6tables -A forward_ext_us_ip -p all -s :: "
                         "-d :: -j DROP) is err!\n")}));
}

TEST(Ip6FilterRules, ACatchAllThatFailsIsOnlyLogged) {
  filter.us_black_white = 1;
  filter.ds_black_white = 1;
  world.system = [](const std::string&) { return exited(1); };
  EXPECT_EQ(generate(0), lines({ran_and_failed("ip6tables -A forward_ext_us_ip -j DROP"),
                                ran_and_failed("ip6tables -A forward_ext_ds_ip -j DROP")}));
}

TEST(Ip6FilterRules, AnAddressThatCannotBeWrittenIsLeftOutOfTheRule) {
  put_address(add(entry(6)).src_ip, 1);
  world.inet_ntop_fails = true;
  EXPECT_EQ(generate(0), lines({error("gl3_web_ip6_bin_to_str:xo_str is NULLP err!\n"),
                                error("gl3_web_ip6_bin_to_str:xo_str is NULLP err!\n"),
                                rule("ip6tables -A forward_ext_us_ip -p tcp -j DROP")}));
}

TEST(Ip6FilterRules, TheLongestLineFits) {
  l3_ip6_filter_entry& longest = add(entry(6, {0x80000000, 0x80000000}, {0x80000000, 0x80000000}));
  memset(longest.src_ip, 0xff, sizeof(longest.src_ip));
  memset(longest.dst_ip, 0xee, sizeof(longest.dst_ip));
  filter.us_black_white = 1;
  EXPECT_EQ(generate(0),
            lines({rule("ip6tables -A forward_ext_us_ip -p tcp"
                        " -s ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"
                        " -d eeee:eeee:eeee:eeee:eeee:eeee:eeee:eeee"
                        " --sport -2147483648:-2147483648 --dport -2147483648:-2147483648"
                        " -j ACCEPT"),
                   ran("ip6tables -A forward_ext_us_ip -j DROP")}));
}

TEST(Ip6FilterRules, ACountOfZeroOrLessWalksNothing) {
  filter.entries[0] = entry(99);
  filter.us_black_white = 1;
  for (const int32_t count : {0, -1, INT32_MIN}) {
    filter.count = count;
    EXPECT_EQ(generate(0), lines({ran("ip6tables -A forward_ext_us_ip -j DROP")}));
  }
}

TEST(Ip6FilterRules, FiftyEntriesAreFiftyRules) {
  filter.count = 50;
  put_address(filter.entries[49].src_ip, 0x50);
  // The bytes behind the entry area would be a refused protocol.
  filter.ip_filter_ctrl = 99;
  EXPECT_EQ(generate(0),
            lines({rules(49, "ip6tables -A forward_ext_us_ip -p all -s :: -d :: -j DROP"),
                   rule("ip6tables -A forward_ext_us_ip -p all -s 2001:db8::50 -d :: -j DROP")}));
}

TEST(Ip6FilterRules, AnEntryBeyondTheFiftiethIsReadFromWhatLiesBehindThem) {
  // Byte 4804 of the record on: the three control words, then the URL filter.
  l3_url_entry(&urls)[50] = fw6_rules_table.url_filter.entries;
  filter.count = 51;
  filter.us_black_white = 0;
  filter.ds_black_white = 2;
  filter.ip_filter_ctrl = 17;                       // its protocol
  urls[0].url[3] = 1;                               // the last byte of its dst_ip
  memset(urls[0].url + 4, 0xff, 16);                // its dst_ip_2
  put_word(urls[0].url + 20, 53);                   // its dst_port_s
  put_word(urls[0].url + 24, 54);                   // its dst_port_e
  memcpy(urls[0].url + 28, "\x20\x01\x0d\xb8", 4);  // the first bytes of its src_ip
  urls[0].start_hour = 0x08;                        // and the next two
  urls[0].stop_hour = 0x11;
  memset(urls[1].url, 0xff, 16);     // its src_ip_2
  put_word(urls[1].url + 16, 1000);  // its src_port_s
  put_word(urls[1].url + 20, 2000);  // its src_port_e
  put_word(urls[1].url + 24, 1);     // its direction
  EXPECT_EQ(generate(0),
            lines({rules(50, "ip6tables -A forward_ext_us_ip -p all -s :: -d :: -j DROP"),
                   rule("ip6tables -A forward_ext_ds_ip -p udp -s 2001:db8:811:: -d ::1"
                        " --sport 1000:2000 --dport 53:54 -j ACCEPT"),
                   ran("ip6tables -A forward_ext_ds_ip -j DROP")}));
}

TEST(Ip6FilterRules, TheWalkEndsInsideTheRecord) {
  // 89 entries of 96 bytes fit the 8568 bytes behind the count. The last one, at byte 8452, ends its
  // destination in the captive portal's entry 28; the one behind it would have a refused protocol.
  fw6_rules_table.caporl.entries[28].caporl_ip[11] = 1;
  put_word(fw6_rules_table.caporl.entries[31].caporl_ip + 16, 99);
  for (const int32_t count : {89, 90, 1000, INT32_MAX}) {
    filter.count = count;
    EXPECT_EQ(generate(0),
              lines({rules(88, "ip6tables -A forward_ext_us_ip -p all -s :: -d :: -j DROP"),
                     rule("ip6tables -A forward_ext_us_ip -p all -s :: -d ::1 -j DROP")}));
  }
}
