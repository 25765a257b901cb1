/* The IP filter of both families: from entries to command lines. */
#include "ip_filter_images.hpp"

using namespace ip_filter;
using families::in_family;

namespace {

struct Ports {
  uint32_t first, last;
};

/* An entry that matches everything upstream, in an IPv4 filter. */
template <typename Filter>
auto entry(uint32_t protocol, Ports source = {0, 0}, Ports destination = {0, 0}) {
  std::remove_reference_t<decltype(Filter::entries[0])> result = {};
  result.protocol = protocol;
  result.src_port_s = source.first;
  result.src_port_e = source.last;
  result.dst_port_s = destination.first;
  result.dst_port_e = destination.last;
  return result;
}

template <typename Entry, typename Filter>
Entry& append(Filter& filter, const Entry& added) {
  return filter.entries[filter.count++] = added;
}

/* 2001:db8::<last>. */
void put_address(uint8_t (&place)[16], uint8_t last) {
  memcpy(place, "\x20\x01\x0d\xb8", 4);
  place[15] = last;
}

/* As generated: IPv4 by config_fw_ip(), IPv6 by config_fw6_ip(). */
struct Rules4 : Ipv4 {
  static constexpr auto generate = config_fw_ip;
};

/* A rule of the IPv6 filter always has both addresses; an open one is "::". */
struct Rules6 : Ipv6 {
  static constexpr auto generate = config_fw6_ip;
  static families::Renames renames() {
    families::Renames all = Ipv6::renames();
    for (const char* protocol : {"all", "icmp", "tcp", "udp"}) {
      const std::string option = std::string(" -p ") + protocol;
      all.emplace_back(option + " ", option + " -s :: -d :: ");
    }
    return all;
  }
};

}  // namespace

template <typename Family>
class IpFilterRules : public testing::Test {
 protected:
  using Filter = typename Family::Region;
  using Entry = std::remove_reference_t<decltype(Filter::entries[0])>;
  Filter& filter = Family::record().ip_filter;

  static Entry entry(uint32_t protocol, Ports source = {0, 0}, Ports destination = {0, 0}) {
    return ::entry<Filter>(protocol, source, destination);
  }
  Entry& add(const Entry& added) { return append(filter, added); }
  static std::string generate(int32_t expected_result) {
    return record([&] { EXPECT_EQ(Family::generate(), expected_result); });
  }
  static void expect_rules(int32_t result, std::initializer_list<Lines> expected) {
    EXPECT_EQ(generate(result), in_family<Family>(expected));
  }
  /* The port clauses of one entry's command. */
  void expect_ports(const Entry& given, const std::string& clauses) {
    filter = {};
    add(given);
    expect_rules(0, {rule("iptables -A forward_ext_us_ip -p tcp" + clauses + " -j DROP")});
  }
};

using Ip4FilterRules = IpFilterRules<Rules4>;
using Ip6FilterRules = IpFilterRules<Rules6>;
using RuleFamilies = testing::Types<Rules4, Rules6>;
TYPED_TEST_SUITE(IpFilterRules, RuleFamilies, families::Name);

TYPED_TEST(IpFilterRules, AnEmptyBlackListMakesNoRule) {
  this->expect_rules(0, {});
}

TYPED_TEST(IpFilterRules, AnEmptyWhiteListIsItsCatchAllDropAlone) {
  this->filter.us_black_white = 1;
  this->expect_rules(0, {ran("iptables -A forward_ext_us_ip -j DROP")});
  this->filter.us_black_white = 0;
  this->filter.ds_black_white = 1;
  this->expect_rules(0, {ran("iptables -A forward_ext_ds_ip -j DROP")});
}

TYPED_TEST(IpFilterRules, EachDirectionHasItsOwnListMode) {
  this->add(this->entry(0));
  this->add(this->entry(0)).direction = 1;
  this->filter.us_black_white = 1;
  this->expect_rules(0, {rule("iptables -A forward_ext_us_ip -p all -j ACCEPT"),
                         rule("iptables -A forward_ext_ds_ip -p all -j DROP"),
                         ran("iptables -A forward_ext_us_ip -j DROP")});
  this->filter.us_black_white = 0;
  this->filter.ds_black_white = 1;
  this->expect_rules(0, {rule("iptables -A forward_ext_us_ip -p all -j DROP"),
                         rule("iptables -A forward_ext_ds_ip -p all -j ACCEPT"),
                         ran("iptables -A forward_ext_ds_ip -j DROP")});
}

TYPED_TEST(IpFilterRules, AnyModeButZeroIsAWhiteList) {
  this->add(this->entry(0));
  this->add(this->entry(0)).direction = 1;
  for (const uint32_t mode : {2U, 0x80000000U, 0xFFFFFFFFU}) {
    this->filter.us_black_white = mode;
    this->filter.ds_black_white = mode;
    this->expect_rules(0, {rule("iptables -A forward_ext_us_ip -p all -j ACCEPT"),
                           rule("iptables -A forward_ext_ds_ip -p all -j ACCEPT"),
                           ran("iptables -A forward_ext_us_ip -j DROP"),
                           ran("iptables -A forward_ext_ds_ip -j DROP")});
  }
}

TYPED_TEST(IpFilterRules, AnyDirectionButZeroIsDownstream) {
  for (const uint32_t direction : {1U, 2U, 0xFFFFFFFFU}) {
    this->filter = {};
    this->add(this->entry(0)).direction = direction;
    this->expect_rules(0, {rule("iptables -A forward_ext_ds_ip -p all -j DROP")});
  }
}

TYPED_TEST(IpFilterRules, PortsAreARangeEvenWhenBothEndsAreOne) {
  this->expect_ports(this->entry(6, {80, 80}, {0, 0}), " --sport 80:80");
  this->expect_ports(this->entry(6, {0, 0}, {80, 80}), " --dport 80:80");
  this->expect_ports(this->entry(6, {1, 65535}, {1, 2}), " --sport 1:65535 --dport 1:2");
}

TYPED_TEST(IpFilterRules, AnOpenEndLeavesThePortsOpen) {
  this->expect_ports(this->entry(6, {100, 0}, {0, 0}), "");
  this->expect_ports(this->entry(6, {0, 100}, {0, 0}), "");
  this->expect_ports(this->entry(6, {0, 0}, {100, 0}), "");
  this->expect_ports(this->entry(6, {0, 0}, {0, 100}), "");
  this->expect_ports(this->entry(6, {100, 0}, {80, 81}), " --dport 80:81");
}

TYPED_TEST(IpFilterRules, PortsArePrintedWholeAndComparedUnsigned) {
  this->expect_ports(this->entry(6, {65535, 70000}, {70000, 70000}),
                     " --sport 65535:70000 --dport 70000:70000");
  this->expect_ports(this->entry(6, {1, 0xFFFFFFFF}, {0xFFFFFFFF, 0xFFFFFFFF}),
                     " --sport 1:-1 --dport -1:-1");
  this->expect_ports(this->entry(6, {0x7FFFFFFF, 0x80000000}, {0, 0}),
                     " --sport 2147483647:-2147483648");
}

TYPED_TEST(IpFilterRules, AllAndIcmpNeverGetPorts) {
  this->add(this->entry(0, {100, 50}, {80, 88}));
  this->add(this->entry(1, {80, 88}, {100, 50}));
  this->expect_rules(0, {rule("iptables -A forward_ext_us_ip -p all -j DROP"),
                         rule("iptables -A forward_ext_us_ip -p icmp -j DROP")});
}

TYPED_TEST(IpFilterRules, AReversedSourceRangeStopsTheRun) {
  this->filter.us_black_white = 1;
  this->add(this->entry(0));
  this->add(this->entry(6, {100, 50}, {100, 50}));
  this->add(this->entry(0));
  this->expect_rules(-1, {rule("iptables -A forward_ext_us_ip -p all -j ACCEPT"),
                          error("config_fw_ip::sport1=100 > sport2=50 ERROR!\n")});
}

TYPED_TEST(IpFilterRules, AReversedDestinationRangeStopsTheRun) {
  this->filter.ds_black_white = 1;
  this->add(this->entry(17, {1, 2}, {0xFFFFFFFF, 1}));
  this->add(this->entry(0));
  this->expect_rules(-1, {error("config_fw_ip::dport1=-1 > dport2=1 ERROR!\n")});
}

TYPED_TEST(IpFilterRules, AnUnknownProtocolStopsTheRunAndLeavesTheRulesBeforeIt) {
  this->filter.us_black_white = 1;
  this->add(this->entry(17));
  this->add(this->entry(2, {100, 50}, {0, 0}));
  this->add(this->entry(0));
  this->expect_rules(-1, {rule("iptables -A forward_ext_us_ip -p udp -j ACCEPT"),
                          error("config_fw_ip::protocol=2 is err!\n")});
  for (const auto& [protocol, shown] :
       {std::pair(58U, "58"), std::pair(255U, "255"), std::pair(0xFFFFFFFFU, "-1")}) {
    this->filter = {};
    this->add(this->entry(protocol));
    EXPECT_EQ(this->generate(-1),
              in_family<TypeParam>(
                  {error("config_fw_ip::protocol=" + std::string(shown) + " is err!\n")}));
  }
}

TYPED_TEST(IpFilterRules, AFailedCommandFlushesBothChainsAndStopsTheRun) {
  this->filter.us_black_white = 1;
  this->add(this->entry(6));
  this->add(this->entry(17));
  this->add(this->entry(1));
  families::fail_command<TypeParam>("iptables -A forward_ext_us_ip -p udp -j ACCEPT", 2);
  EXPECT_EQ(this->generate(-1),
            in_family<TypeParam>(
                {rule("iptables -A forward_ext_us_ip -p tcp -j ACCEPT"),
                 debug("\n==iptables -A forward_ext_us_ip -p udp -j ACCEPT==\n"),
                 ran_and_failed("iptables -A forward_ext_us_ip -p udp -j ACCEPT", 2),
                 ran("iptables -t filter -F forward_ext_us_ip"),
                 ran("iptables -t filter -F forward_ext_ds_ip"),
                 error("config_fw_ip::str_system(iptables -A forward_ext_us_ip -p udp -j ACCEPT)"
                       " is err!\n")}));
}

TYPED_TEST(IpFilterRules, FlushesThatFailAfterAFailedCommandChangeNothing) {
  this->add(this->entry(0));
  world.system = [](const std::string&) { return exited(1); };
  EXPECT_EQ(this->generate(-1),
            in_family<TypeParam>(
                {debug("\n==iptables -A forward_ext_us_ip -p all -j DROP==\n"),
                 ran_and_failed("iptables -A forward_ext_us_ip -p all -j DROP"),
                 ran_and_failed("iptables -t filter -F forward_ext_us_ip"),
                 ran_and_failed("iptables -t filter -F forward_ext_ds_ip"),
                 error("config_fw_ip::str_system(iptables -A forward_ext_us_ip -p all -j DROP)"
                       " is err!\n")}));
}

TYPED_TEST(IpFilterRules, ACatchAllThatFailsIsOnlyLogged) {
  this->filter.us_black_white = 1;
  this->filter.ds_black_white = 1;
  world.system = [](const std::string&) { return exited(1); };
  this->expect_rules(0, {ran_and_failed("iptables -A forward_ext_us_ip -j DROP"),
                         ran_and_failed("iptables -A forward_ext_ds_ip -j DROP")});
}

TYPED_TEST(IpFilterRules, ACountOfZeroOrLessWalksNothing) {
  this->filter.entries[0] = this->entry(99);
  this->filter.us_black_white = 1;
  for (const int32_t count : {0, -1, INT32_MIN}) {
    this->filter.count = count;
    this->expect_rules(0, {ran("iptables -A forward_ext_us_ip -j DROP")});
  }
}

/* ---- addresses and places, which differ ---- */

TEST_F(Ip4FilterRules, AWhiteListEndsWithACatchAllDrop) {
  Entry web = entry(6, {0, 0}, {80, 88});
  web.src_ip = 0xC0A8010A;
  add(web);
  filter.us_black_white = 1;
  EXPECT_EQ(generate(0), lines({rule("iptables -A forward_ext_us_ip -p tcp -s 192.168.1.10"
                                     " --dport 80:88 -j ACCEPT"),
                                ran("iptables -A forward_ext_us_ip -j DROP")}));
}

TEST_F(Ip6FilterRules, AWhiteListEndsWithACatchAllDrop) {
  Entry& web = add(entry(6, {0, 0}, {80, 88}));
  put_address(web.src_ip, 0x10);
  put_address(web.dst_ip, 0x20);
  filter.us_black_white = 1;
  EXPECT_EQ(generate(0), lines({rule("ip6tables -A forward_ext_us_ip -p tcp -s 2001:db8::10"
                                     " -d 2001:db8::20 --dport 80:88 -j ACCEPT"),
                                ran("ip6tables -A forward_ext_us_ip -j DROP")}));
}

TEST_F(Ip4FilterRules, EntriesBecomeRulesInTheirOrder) {
  add(entry(0)).src_ip = 0x01020304;
  add(entry(1)).dst_ip = 0x05060708;
  Entry both = entry(17, {1000, 2000}, {53, 53});
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

TEST_F(Ip4FilterRules, TheLongestLineFits) {
  Entry longest = entry(6, {0x80000000, 0x80000000}, {0x80000000, 0x80000000});
  longest.src_ip = 0xFFFFFFFF;
  longest.dst_ip = 0xFFFFFFFF;
  add(longest);
  filter.us_black_white = 1;
  EXPECT_EQ(generate(0), lines({rule("iptables -A forward_ext_us_ip -p tcp -s 255.255.255.255"
                                     " -d 255.255.255.255 --sport -2147483648:-2147483648"
                                     " --dport -2147483648:-2147483648 -j ACCEPT"),
                                ran("iptables -A forward_ext_us_ip -j DROP")}));
}

TEST_F(Ip6FilterRules, TheLongestLineFits) {
  Entry& longest = add(entry(6, {0x80000000, 0x80000000}, {0x80000000, 0x80000000}));
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

TEST_F(Ip4FilterRules, FiftyEntriesAreFiftyRules) {
  filter.count = 50;
  filter.entries[49].src_ip = 0x32323232;
  // The bytes behind the entry area would be a refused protocol.
  filter.ip_filter_ctrl = 99;
  EXPECT_EQ(generate(0),
            lines({rules(49, "iptables -A forward_ext_us_ip -p all -j DROP"),
                   rule("iptables -A forward_ext_us_ip -p all -s 50.50.50.50 -j DROP")}));
}

TEST_F(Ip6FilterRules, FiftyEntriesAreFiftyRules) {
  filter.count = 50;
  put_address(filter.entries[49].src_ip, 0x50);
  // The bytes behind the entry area would be a refused protocol.
  filter.ip_filter_ctrl = 99;
  EXPECT_EQ(generate(0),
            lines({rules(49, "ip6tables -A forward_ext_us_ip -p all -s :: -d :: -j DROP"),
                   rule("ip6tables -A forward_ext_us_ip -p all -s 2001:db8::50 -d :: -j DROP")}));
}

TEST_F(Ip4FilterRules, AnEntryBeyondTheFiftiethIsReadFromWhatLiesBehindThem) {
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

TEST_F(Ip6FilterRules, AnEntryBeyondTheFiftiethIsReadFromWhatLiesBehindThem) {
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

TEST_F(Ip4FilterRules, TheWalkEndsInsideTheRecord) {
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

TEST_F(Ip6FilterRules, TheWalkEndsInsideTheRecord) {
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

TEST_F(Ip4FilterRules, TheSecondAddressesAndTheFirstWordsAreInNoRule) {
  Entry given = entry(6);
  given.reserved = 7;
  given.index = 8;
  given.dst_ip_2 = 0x01010101;
  given.src_ip_2 = 0x02020202;
  add(given);
  EXPECT_EQ(generate(0), lines({rule("iptables -A forward_ext_us_ip -p tcp -j DROP")}));
}

TEST_F(Ip6FilterRules, TheSecondAddressesAndTheFirstWordsAreInNoRule) {
  Entry& given = add(entry(17));
  given.reserved = 7;
  given.index = 8;
  put_address(given.dst_ip_2, 1);
  put_address(given.src_ip_2, 2);
  EXPECT_EQ(generate(0),
            lines({rule("ip6tables -A forward_ext_us_ip -p udp -s :: -d :: -j DROP")}));
}

TEST_F(Ip6FilterRules, AnAllZeroAddressIsNotLeftOutButBecomesTwoColons) {
  add(entry(0));
  put_address(add(entry(0)).src_ip, 1);
  put_address(add(entry(0)).dst_ip, 2);
  EXPECT_EQ(generate(0),
            lines({rule("ip6tables -A forward_ext_us_ip -p all -s :: -d :: -j DROP"),
                   rule("ip6tables -A forward_ext_us_ip -p all -s 2001:db8::1 -d :: -j DROP"),
                   rule("ip6tables -A forward_ext_us_ip -p all -s :: -d 2001:db8::2 -j DROP")}));
}

TEST_F(Ip6FilterRules, ProtocolOneIsIcmpHereToo) {
  add(entry(1));
  EXPECT_EQ(generate(0),
            lines({rule("ip6tables -A forward_ext_us_ip -p icmp -s :: -d :: -j DROP")}));
}

TEST_F(Ip6FilterRules, AnAddressThatCannotBeWrittenIsLeftOutOfTheRule) {
  put_address(add(entry(6)).src_ip, 1);
  world.inet_ntop_fails = true;
  EXPECT_EQ(generate(0), lines({error("gl3_web_ip6_bin_to_str:xo_str is NULLP err!\n"),
                                error("gl3_web_ip6_bin_to_str:xo_str is NULLP err!\n"),
                                rule("ip6tables -A forward_ext_us_ip -p tcp -j DROP")}));
}
