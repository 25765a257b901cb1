/* The IPv4 IP filter: from entries to command lines. */
#include "ip_filter_images.hpp"

using namespace ip_filter;

namespace {

l3_ip_filter& filter = fw_rules_table.ip_filter;

/* An entry that matches everything upstream. */
l3_ip_filter_entry entry(uint32_t protocol) {
  l3_ip_filter_entry result = {};
  result.protocol = protocol;
  return result;
}

struct Ports {
  uint32_t first, last;
};

l3_ip_filter_entry entry(uint32_t protocol, Ports source, Ports destination) {
  l3_ip_filter_entry result = entry(protocol);
  result.src_port_s = source.first;
  result.src_port_e = source.last;
  result.dst_port_s = destination.first;
  result.dst_port_e = destination.last;
  return result;
}

l3_ip_filter_entry& add(const l3_ip_filter_entry& added) {
  return filter.entries[filter.count++] = added;
}

std::string generate(int32_t expected_result) {
  return record([&] { EXPECT_EQ(config_fw_ip(), expected_result); });
}

/* The port clauses of one entry's command. */
void expect_ports(const l3_ip_filter_entry& given, const std::string& clauses) {
  filter = {};
  add(given);
  EXPECT_EQ(generate(0),
            lines({rule("iptables -A forward_ext_us_ip -p tcp" + clauses + " -j DROP")}));
}

}  // namespace

TEST(IpFilterRules, AnEmptyBlackListMakesNoRule) {
  EXPECT_EQ(generate(0), lines({}));
}

TEST(IpFilterRules, AnEmptyWhiteListIsItsCatchAllDropAlone) {
  filter.us_black_white = 1;
  EXPECT_EQ(generate(0), lines({ran("iptables -A forward_ext_us_ip -j DROP")}));
  filter.us_black_white = 0;
  filter.ds_black_white = 1;
  EXPECT_EQ(generate(0), lines({ran("iptables -A forward_ext_ds_ip -j DROP")}));
}

TEST(IpFilterRules, AWhiteListEndsWithACatchAllDrop) {
  l3_ip_filter_entry web = entry(6, {0, 0}, {80, 88});
  web.src_ip = 0xC0A8010A;
  add(web);
  filter.us_black_white = 1;
  EXPECT_EQ(generate(0), lines({rule("iptables -A forward_ext_us_ip -p tcp -s 192.168.1.10"
                                     " --dport 80:88 -j ACCEPT"),
                                ran("iptables -A forward_ext_us_ip -j DROP")}));
}

TEST(IpFilterRules, EachDirectionHasItsOwnListMode) {
  add(entry(0));
  add(entry(0)).direction = 1;
  filter.us_black_white = 1;
  EXPECT_EQ(generate(0), lines({rule("iptables -A forward_ext_us_ip -p all -j ACCEPT"),
                                rule("iptables -A forward_ext_ds_ip -p all -j DROP"),
                                ran("iptables -A forward_ext_us_ip -j DROP")}));
  filter.us_black_white = 0;
  filter.ds_black_white = 1;
  EXPECT_EQ(generate(0), lines({rule("iptables -A forward_ext_us_ip -p all -j DROP"),
                                rule("iptables -A forward_ext_ds_ip -p all -j ACCEPT"),
                                ran("iptables -A forward_ext_ds_ip -j DROP")}));
}

TEST(IpFilterRules, AnyModeButZeroIsAWhiteList) {
  add(entry(0));
  add(entry(0)).direction = 1;
  for (const uint32_t mode : {2U, 0x80000000U, 0xFFFFFFFFU}) {
    filter.us_black_white = mode;
    filter.ds_black_white = mode;
    EXPECT_EQ(generate(0), lines({rule("iptables -A forward_ext_us_ip -p all -j ACCEPT"),
                                  rule("iptables -A forward_ext_ds_ip -p all -j ACCEPT"),
                                  ran("iptables -A forward_ext_us_ip -j DROP"),
                                  ran("iptables -A forward_ext_ds_ip -j DROP")}));
  }
}

TEST(IpFilterRules, AnyDirectionButZeroIsDownstream) {
  for (const uint32_t direction : {1U, 2U, 0xFFFFFFFFU}) {
    filter = {};
    add(entry(0)).direction = direction;
    EXPECT_EQ(generate(0), lines({rule("iptables -A forward_ext_ds_ip -p all -j DROP")}));
  }
}

TEST(IpFilterRules, EntriesBecomeRulesInTheirOrder) {
  add(entry(0)).src_ip = 0x01020304;
  add(entry(1)).dst_ip = 0x05060708;
  l3_ip_filter_entry both = entry(17, {1000, 2000}, {53, 53});
  both.src_ip = 0x0A000001;
  both.dst_ip = 0xFFFFFFFF;
  both.direction = 1;
  add(both);
  EXPECT_EQ(generate(0), lines({rule("iptables -A forward_ext_us_ip -p all -s 1.2.3.4 -j DROP"),
                                rule("iptables -A forward_ext_us_ip -p icmp -d 5.6.7.8 -j DROP"),
                                rule("iptables -A forward_ext_ds_ip -p udp -s 10.0.0.1"
                                     " -d 255.255.255.255 --sport 1000:2000 --dport 53:53"
                                     " -j DROP")}));
}

TEST(IpFilterRules, TheSecondAddressesAndTheFirstWordsAreInNoRule) {
  l3_ip_filter_entry given = entry(6);
  given.reserved = 7;
  given.index = 8;
  given.dst_ip_2 = 0x01010101;
  given.src_ip_2 = 0x02020202;
  add(given);
  EXPECT_EQ(generate(0), lines({rule("iptables -A forward_ext_us_ip -p tcp -j DROP")}));
}

TEST(IpFilterRules, PortsAreARangeEvenWhenBothEndsAreOne) {
  expect_ports(entry(6, {80, 80}, {0, 0}), " --sport 80:80");
  expect_ports(entry(6, {0, 0}, {80, 80}), " --dport 80:80");
  expect_ports(entry(6, {1, 65535}, {1, 2}), " --sport 1:65535 --dport 1:2");
}

TEST(IpFilterRules, AnOpenEndLeavesThePortsOpen) {
  expect_ports(entry(6, {100, 0}, {0, 0}), "");
  expect_ports(entry(6, {0, 100}, {0, 0}), "");
  expect_ports(entry(6, {0, 0}, {100, 0}), "");
  expect_ports(entry(6, {0, 0}, {0, 100}), "");
  expect_ports(entry(6, {100, 0}, {80, 81}), " --dport 80:81");
}

TEST(IpFilterRules, PortsArePrintedWholeAndComparedUnsigned) {
  expect_ports(entry(6, {65535, 70000}, {70000, 70000}),
               " --sport 65535:70000 --dport 70000:70000");
  expect_ports(entry(6, {1, 0xFFFFFFFF}, {0xFFFFFFFF, 0xFFFFFFFF}), " --sport 1:-1 --dport -1:-1");
  expect_ports(entry(6, {0x7FFFFFFF, 0x80000000}, {0, 0}), " --sport 2147483647:-2147483648");
}

TEST(IpFilterRules, AllAndIcmpNeverGetPorts) {
  add(entry(0, {100, 50}, {80, 88}));
  add(entry(1, {80, 88}, {100, 50}));
  EXPECT_EQ(generate(0), lines({rule("iptables -A forward_ext_us_ip -p all -j DROP"),
                                rule("iptables -A forward_ext_us_ip -p icmp -j DROP")}));
}

TEST(IpFilterRules, AReversedSourceRangeStopsTheRun) {
  filter.us_black_white = 1;
  add(entry(0));
  add(entry(6, {100, 50}, {100, 50}));
  add(entry(0));
  EXPECT_EQ(generate(-1), lines({rule("iptables -A forward_ext_us_ip -p all -j ACCEPT"),
                                 error("config_fw_ip::sport1=100 > sport2=50 ERROR!\n")}));
}

TEST(IpFilterRules, AReversedDestinationRangeStopsTheRun) {
  filter.ds_black_white = 1;
  add(entry(17, {1, 2}, {0xFFFFFFFF, 1}));
  add(entry(0));
  EXPECT_EQ(generate(-1), lines({error("config_fw_ip::dport1=-1 > dport2=1 ERROR!\n")}));
}

TEST(IpFilterRules, AnUnknownProtocolStopsTheRunAndLeavesTheRulesBeforeIt) {
  filter.us_black_white = 1;
  add(entry(17));
  add(entry(2, {100, 50}, {0, 0}));
  add(entry(0));
  EXPECT_EQ(generate(-1), lines({rule("iptables -A forward_ext_us_ip -p udp -j ACCEPT"),
                                 error("config_fw_ip::protocol=2 is err!\n")}));
  for (const auto& [protocol, shown] :
       {std::pair(58U, "58"), std::pair(255U, "255"), std::pair(0xFFFFFFFFU, "-1")}) {
    filter = {};
    add(entry(protocol));
    EXPECT_EQ(generate(-1),
              lines({error("config_fw_ip::protocol=" + std::string(shown) + " is err!\n")}));
  }
}

TEST(IpFilterRules, AFailedCommandFlushesBothChainsAndStopsTheRun) {
  filter.us_black_white = 1;
  add(entry(6));
  add(entry(17));
  add(entry(1));
  fail_command("iptables -A forward_ext_us_ip -p udp -j ACCEPT", 2);
  EXPECT_EQ(generate(-1),
            lines({rule("iptables -A forward_ext_us_ip -p tcp -j ACCEPT"),
                   debug("\n==iptables -A forward_ext_us_ip -p udp -j ACCEPT==\n"),
                   ran_and_failed("iptables -A forward_ext_us_ip -p udp -j ACCEPT", 2),
                   ran("iptables -t filter -F forward_ext_us_ip"),
                   ran("iptables -t filter -F forward_ext_ds_ip"),
                   error("config_fw_ip::str_system(iptables -A forward_ext_us_ip -p udp -j ACCEPT)"
                         " is err!\n")}));
}

TEST(IpFilterRules, FlushesThatFailAfterAFailedCommandChangeNothing) {
  add(entry(0));
  world.system = [](const std::string&) { return exited(1); };
  EXPECT_EQ(generate(-1),
            lines({debug("\n==iptables -A forward_ext_us_ip -p all -j DROP==\n"),
                   ran_and_failed("iptables -A forward_ext_us_ip -p all -j DROP"),
                   ran_and_failed("iptables -t filter -F forward_ext_us_ip"),
                   ran_and_failed("iptables -t filter -F forward_ext_ds_ip"),
                   error("config_fw_ip::str_system(iptables -A forward_ext_us_ip -p all -j DROP)"
                         " is err!\n")}));
}

TEST(IpFilterRules, ACatchAllThatFailsIsOnlyLogged) {
  filter.us_black_white = 1;
  filter.ds_black_white = 1;
  world.system = [](const std::string&) { return exited(1); };
  EXPECT_EQ(generate(0), lines({ran_and_failed("iptables -A forward_ext_us_ip -j DROP"),
                                ran_and_failed("iptables -A forward_ext_ds_ip -j DROP")}));
}

TEST(IpFilterRules, TheLongestLineFits) {
  l3_ip_filter_entry longest = entry(6, {0x80000000, 0x80000000}, {0x80000000, 0x80000000});
  longest.src_ip = 0xFFFFFFFF;
  longest.dst_ip = 0xFFFFFFFF;
  add(longest);
  filter.us_black_white = 1;
  EXPECT_EQ(generate(0), lines({rule("iptables -A forward_ext_us_ip -p tcp -s 255.255.255.255"
                                     " -d 255.255.255.255 --sport -2147483648:-2147483648"
                                     " --dport -2147483648:-2147483648 -j ACCEPT"),
                                ran("iptables -A forward_ext_us_ip -j DROP")}));
}

TEST(IpFilterRules, ACountOfZeroOrLessWalksNothing) {
  filter.entries[0] = entry(99);
  filter.us_black_white = 1;
  for (const int32_t count : {0, -1, INT32_MIN}) {
    filter.count = count;
    EXPECT_EQ(generate(0), lines({ran("iptables -A forward_ext_us_ip -j DROP")}));
  }
}

TEST(IpFilterRules, FiftyEntriesAreFiftyRules) {
  filter.count = 50;
  filter.entries[49].src_ip = 0x32323232;
  // The bytes behind the entry area would be a refused protocol.
  filter.ip_filter_ctrl = 99;
  EXPECT_EQ(generate(0),
            lines({rules(49, "iptables -A forward_ext_us_ip -p all -j DROP"),
                   rule("iptables -A forward_ext_us_ip -p all -s 50.50.50.50 -j DROP")}));
}

TEST(IpFilterRules, AnEntryBeyondTheFiftiethIsReadFromWhatLiesBehindThem) {
  // Byte 2404 of the record on: the three control words, then the first words of the URL filter.
  filter.count = 51;
  filter.us_black_white = 1;
  filter.ds_black_white = 0;
  filter.ip_filter_ctrl = 6;                                           // its protocol
  fw_rules_table.url_filter.count = 0x0A000002;                        // its dst_ip
  fw_rules_table.url_filter.entries[0].url_enable = 0x01010101;        // its dst_ip_2
  fw_rules_table.url_filter.entries[0].url_reserved = 80;              // its dst_port_s
  put_word(fw_rules_table.url_filter.entries[0].url, 88);              // its dst_port_e
  put_word(fw_rules_table.url_filter.entries[0].url + 4, 0xC0A80109);  // its src_ip
  put_word(fw_rules_table.url_filter.entries[0].url + 8, 0x02020202);  // its src_ip_2
  put_word(fw_rules_table.url_filter.entries[0].url + 12, 1000);       // its src_port_s
  put_word(fw_rules_table.url_filter.entries[0].url + 16, 2000);       // its src_port_e
  put_word(fw_rules_table.url_filter.entries[0].url + 20, 2);          // its direction
  EXPECT_EQ(generate(0), lines({rules(50, "iptables -A forward_ext_us_ip -p all -j ACCEPT"),
                                rule("iptables -A forward_ext_ds_ip -p tcp -s 192.168.1.9"
                                     " -d 10.0.0.2 --sport 1000:2000 --dport 80:88 -j DROP"),
                                ran("iptables -A forward_ext_us_ip -j DROP")}));
}

TEST(IpFilterRules, TheWalkEndsInsideTheRecord) {
  // 128 entries of 48 bytes fit the 6164 bytes behind the count. The last one, at byte 6100, takes
  // its destination from the captive portal's entry 30; the one behind it would have a refused
  // protocol.
  fw_rules_table.caporl.entries[30].caporl_enable = 0x01020304;
  put_word(fw_rules_table.caporl.entries[31].caporl_ip + 16, 99);
  for (const int32_t count : {128, 129, 1000, INT32_MAX}) {
    filter.count = count;
    EXPECT_EQ(generate(0),
              lines({rules(127, "iptables -A forward_ext_us_ip -p all -j DROP"),
                     rule("iptables -A forward_ext_us_ip -p all -d 1.2.3.4 -j DROP")}));
  }
}
