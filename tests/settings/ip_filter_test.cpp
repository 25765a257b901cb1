/* The IP filter's sections: region images from words and back, and what is refused. */
#include <cstring>

#include "reading.hpp"

namespace {

/* One rule around the given members. */
std::string rule(const std::string& members) {
  return "{\"ip_filter\": {\"enabled\": true, \"rules\": [{" + members + "}]}}";
}

std::string rule6(const std::string& members) {
  return "{\"ip6_filter\": {\"enabled\": true, \"rules\": [{" + members + "}]}}";
}

std::string tcp(const std::string& members) {
  return rule(R"("direction": "upstream", "protocol": "tcp", )" + members);
}

constexpr const char* an_address = "an IPv4 address such as \"192.168.1.20\", or \"any\"";
constexpr const char* a_port = "a port from 1 to 65535, a range such as \"1024-65535\", or \"any\"";

}  // namespace

TEST(SettingsIpFilter, EveryMemberReachesTheRegion) {
  const settings::Settings read = settings_of(R"({"ip_filter": {
    "enabled": false, "upstream": "white-list", "downstream": "black-list",
    "rules": [
      {"direction": "downstream", "protocol": "udp", "source": "192.168.1.1", "destination": "10.0.0.255",
       "source_ports": "1024-65535", "destination_ports": "53", "index": 7, "second_source": "1.2.3.4",
       "second_destination": "255.255.255.255", "reserved": 4294967295},
      {"direction": "upstream", "protocol": "icmp"}
    ]}})");
  l3_ip_filter expected = {};
  expected.count = 2;
  expected.entries[0].reserved = 0xFFFFFFFF;
  expected.entries[0].index = 7;
  expected.entries[0].protocol = 17;
  expected.entries[0].dst_ip = 0x0A0000FF;
  expected.entries[0].dst_ip_2 = 0xFFFFFFFF;
  expected.entries[0].dst_port_s = 53;
  expected.entries[0].dst_port_e = 53;
  expected.entries[0].src_ip = 0xC0A80101;
  expected.entries[0].src_ip_2 = 0x01020304;
  expected.entries[0].src_port_s = 1024;
  expected.entries[0].src_port_e = 65535;
  expected.entries[0].direction = 1;
  expected.entries[1].protocol = 1;
  expected.us_black_white = 1;
  expected.ip_filter_ctrl = 1;
  ASSERT_TRUE(read.ip_filter.has_value());
  EXPECT_EQ(std::memcmp(&*read.ip_filter, &expected, sizeof expected), 0);
  EXPECT_FALSE(read.ip6_filter.has_value());
}

TEST(SettingsIpFilter, TheIpv6ListTakesSixteenBytes) {
  const settings::Settings read = settings_of(R"({"ip6_filter": {"enabled": true, "rules": [
      {"direction": "upstream", "protocol": "tcp", "source": "2001:DB8::20", "destination": "::ffff:1.2.3.4",
       "second_source": "fe80::1", "second_destination": "::1", "destination_ports": "80-88"}]}})");
  const uint8_t source[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x20};
  const uint8_t destination[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 1, 2, 3, 4};
  const uint8_t second_source[16] = {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  const uint8_t second_destination[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  l3_ip6_filter expected = {};
  expected.count = 1;
  l3_ip6_filter_entry& entry = expected.entries[0];
  entry.protocol = 6;
  std::memcpy(entry.src_ip, source, 16);
  std::memcpy(entry.dst_ip, destination, 16);
  std::memcpy(entry.src_ip_2, second_source, 16);
  std::memcpy(entry.dst_ip_2, second_destination, 16);
  entry.dst_port_s = 80;
  entry.dst_port_e = 88;
  ASSERT_TRUE(read.ip6_filter.has_value());
  EXPECT_EQ(std::memcmp(&*read.ip6_filter, &expected, sizeof expected), 0);
}

TEST(SettingsIpFilter, BothListsComeOutAsTheyWentIn) {
  expect_round_trip(
      R"({
  "ip_filter": {
    "enabled": false,
    "upstream": "white-list",
    "downstream": "white-list",
    "rules": [
      {"direction": "upstream", "protocol": "tcp", "source": "192.168.1.20", "destination": "203.0.113.2", "source_ports": "1024-65535", "destination_ports": "80", "index": 4, "second_source": "192.168.1.21", "second_destination": "203.0.113.3", "reserved": 9},
      {"direction": "downstream", "protocol": "all"},
      {"direction": "downstream", "protocol": "icmp", "source": "203.0.113.7"}
    ]
  },
  "ip6_filter": {
    "enabled": true,
    "upstream": "black-list",
    "downstream": "black-list",
    "rules": [
      {"direction": "upstream", "protocol": "udp", "source": "fd00:1::10", "destination": "2001:db8::53", "destination_ports": "53", "index": 1, "second_source": "::1", "second_destination": "fe80::1", "reserved": 1}
    ]
  }
}
)");
}

TEST(SettingsIpFilter, ModesAreBlackListsAndTheListEmptyUnlessSaid) {
  const settings::Settings read = settings_of(R"({"ip_filter": {"enabled": true}})");
  l3_ip_filter expected = {};
  EXPECT_EQ(std::memcmp(&*read.ip_filter, &expected, sizeof expected), 0);
}

TEST(SettingsIpFilter, WordsAreTheOnlyModesDirectionsAndProtocols) {
  EXPECT_EQ(
      errors_of(R"({"ip_filter": {"upstream": 1, "downstream": "whitelist"}})"),
      (Messages{"home.json:1: ip_filter.enabled: missing; it must be true or false",
                "home.json:1: ip_filter.upstream: 1 is not allowed; it must be \"black-list\" or "
                "\"white-list\"",
                "home.json:1: ip_filter.downstream: \"whitelist\" is not allowed; it must be "
                "\"black-list\" or \"white-list\""}));
  EXPECT_EQ(
      errors_of(rule("")),
      (Messages{"home.json:1: ip_filter.rules[0].direction: missing; it must be \"upstream\" or "
                "\"downstream\"",
                "home.json:1: ip_filter.rules[0].protocol: missing; it must be \"all\", "
                "\"icmp\", \"tcp\" or \"udp\""}));
  EXPECT_EQ(
      errors_of(rule(R"("direction": "UPSTREAM", "protocol": "sctp")")),
      (Messages{"home.json:1: ip_filter.rules[0].direction: \"UPSTREAM\" is not allowed; it must "
                "be \"upstream\" or \"downstream\"",
                "home.json:1: ip_filter.rules[0].protocol: \"sctp\" is not allowed; it must be "
                "\"all\", \"icmp\", \"tcp\" or \"udp\""}));
}

TEST(SettingsIpFilter, AddressesAreSingleAndIpv4) {
  for (const char* bad :
       {"", "0.0.0.0", "192.168.1", "192.168.1.256", "192.168.01.1", " 192.168.1.1", "192.168.1.1 ",
        "192.168.1.0/24", "192.168.1.1;reboot", "$(reboot)", "`id`", "192.168.1.1\\n", "any ",
        "ANY", "example.com", "192.168.1.1\\u0000"}) {
    for (const char* key : {"source", "destination", "second_source", "second_destination"}) {
      EXPECT_EQ(errors_of(tcp("\"" + std::string(key) + "\": \"" + bad + "\"")),
                Messages{"home.json:1: ip_filter.rules[0]." + std::string(key) + ": \"" + bad +
                         "\" is not allowed; it must be " + an_address});
    }
  }
  EXPECT_EQ(
      errors_of(tcp("\"source\": 3232235777")),
      Messages{std::string("home.json:1: ip_filter.rules[0].source: 3232235777 is not allowed; "
                           "it must be ") +
               an_address});
}

TEST(SettingsIpFilter, Ipv6AddressesAreSingleAndIpv6) {
  for (const char* bad : {"", "::", "192.168.1.256", "fe80::1%br0", "2001:db8::/32", "fe80::1;id",
                          "2001:db8:::1", "::1\\u0000"}) {
    for (const char* key : {"source", "destination", "second_source", "second_destination"}) {
      EXPECT_EQ(
          errors_of(rule6(R"("direction": "upstream", "protocol": "tcp", ")" + std::string(key) +
                          "\": \"" + bad + "\"")),
          Messages{"home.json:1: ip6_filter.rules[0]." + std::string(key) + ": \"" + bad +
                   "\" is not allowed; it must be an IPv6 address such as \"2001:db8::20\", or "
                   "\"any\""});
    }
  }
}

TEST(SettingsIpFilter, AnAddressOfTheOtherFamilyIsToldAsSuch) {
  for (const std::string key : {"source", "destination", "second_source", "second_destination"}) {
    EXPECT_EQ(errors_of(tcp("\"" + key + R"(": "fe80::1")")),
              Messages{"home.json:1: ip_filter.rules[0]." + key +
                       ": \"fe80::1\" is an IPv6 address, and this list is for IPv4; ip6_filter is "
                       "the one for IPv6"});
    EXPECT_EQ(errors_of(rule6(R"("direction": "upstream", "protocol": "tcp", ")" + key +
                              R"(": "192.168.1.1")")),
              Messages{"home.json:1: ip6_filter.rules[0]." + key +
                       ": \"192.168.1.1\" is an IPv4 address, and this list is for IPv6; ip_filter "
                       "is the one for IPv4"});
  }
}

TEST(SettingsIpFilter, ARuleOfBothFamiliesIsToldAsSuchAndAlone) {
  const std::string addresses = R"("source": "192.168.1.20", "destination": "2001:db8::1")";
  const std::string what =
      "mixes address families: source is IPv4, destination is IPv6; a rule is for one of them";
  EXPECT_EQ(errors_of(tcp(addresses)), Messages{"home.json:1: ip_filter.rules[0]: " + what});
  const std::string text = rule6(R"("direction": "upstream", "protocol": "tcp", )" + addresses);
  EXPECT_EQ(errors_of(text), Messages{"home.json:1: ip6_filter.rules[0]: " + what});
  EXPECT_EQ(texts_of(settings::read(text).warnings), Messages{});
  EXPECT_EQ(
      errors_of(
          tcp(R"("destination": "any", "second_source": "::1", "second_destination": "1.2.3.4")")),
      Messages{
          "home.json:1: ip_filter.rules[0]: mixes address families: second_destination is IPv4, "
          "second_source is IPv6; a rule is for one of them"});
}

TEST(SettingsIpFilter, AnAddressThatIsRefusedIsNotAnOpenOne) {
  const auto warnings = [](const std::string& addresses) {
    return texts_of(
        settings::read(rule6(R"("direction": "upstream", "protocol": "tcp", )" + addresses))
            .warnings);
  };
  const std::string is_open =
      " is open, so this rule matches no packet: an IPv6 rule needs both addresses";
  EXPECT_EQ(warnings(R"("source": "fd00::zz", "destination": "2001:db8::1")"), Messages{});
  EXPECT_EQ(warnings(R"("source": "fd00::1", "destination": 7)"), Messages{});
  EXPECT_EQ(warnings(R"("source": "fd00::zz")"),
            Messages{"home.json:1: ip6_filter.rules[0].destination:" + is_open});
  EXPECT_EQ(warnings(R"("destination": "fd00::zz")"),
            Messages{"home.json:1: ip6_filter.rules[0].source:" + is_open});
}

TEST(SettingsIpFilter, PortsAreOneOrARangeUpTo65535) {
  for (const char* bad :
       {"", "0", "65536", "100000", "4294967376", "80-", "-80", "80-90-100", "080", "+80", "80 ",
        "http", "80:90", "1-65536", "0-0", "80;id", "$(id)"}) {
    for (const char* key : {"source_ports", "destination_ports"}) {
      EXPECT_EQ(errors_of(tcp("\"" + std::string(key) + "\": \"" + bad + "\"")),
                Messages{"home.json:1: ip_filter.rules[0]." + std::string(key) + ": \"" + bad +
                         "\" is not allowed; it must be " + a_port});
    }
  }
  EXPECT_EQ(
      errors_of(tcp("\"source_ports\": 80")),
      Messages{std::string("home.json:1: ip_filter.rules[0].source_ports: 80 is not allowed; it "
                           "must be ") +
               a_port});
  EXPECT_EQ(
      errors_of(tcp("\"source_ports\": \"90-80\"")),
      Messages{"home.json:1: ip_filter.rules[0].source_ports: \"90-80\" is not allowed; it must "
               "be a range that does not end below its first port"});
  const auto entry = settings_of(tcp(R"("source_ports": "any", "destination_ports": "65535")"))
                         .ip_filter->entries[0];
  EXPECT_EQ(entry.src_port_s, 0U);
  EXPECT_EQ(entry.src_port_e, 0U);
  EXPECT_EQ(entry.dst_port_s, 65535U);
  EXPECT_EQ(entry.dst_port_e, 65535U);
}

TEST(SettingsIpFilter, NumbersAreWholeAndFitAWord) {
  for (const char* bad :
       {"-1", "4294967296", "1.5", "1e3", "\"1\"", "true", "18446744073709551616"}) {
    for (const char* key : {"index", "reserved"}) {
      EXPECT_EQ(errors_of(tcp("\"" + std::string(key) + "\": " + bad)),
                Messages{"home.json:1: ip_filter.rules[0]." + std::string(key) + ": " + bad +
                         " is not allowed; it must be a whole number from 0 to 4294967295"});
    }
  }
}

TEST(SettingsIpFilter, FiftyRulesFitAndNoMore) {
  std::string rules = R"({"direction": "upstream", "protocol": "all"})";
  for (int i = 1; i < 50; ++i) {
    rules += R"(, {"direction": "upstream", "protocol": "all"})";
  }
  const std::string head = "{\"ip_filter\": {\"enabled\": true, \"rules\": [";
  EXPECT_EQ(settings_of(head + rules + "]}}").ip_filter->count, 50);
  EXPECT_EQ(errors_of(head + rules + ", {}]}}"),
            Messages{"home.json:1: ip_filter.rules: 51 entries; there is room for 50"});
  EXPECT_EQ(errors_of("{\"ip6_filter\": {\"enabled\": true, \"rules\": [" + rules + ", {}]}}"),
            Messages{"home.json:1: ip6_filter.rules: 51 entries; there is room for 50"});
}

TEST(SettingsIpFilter, AListIsAListOfObjects) {
  EXPECT_EQ(errors_of(R"({"ip_filter": {"enabled": true, "rules": {}}})"),
            Messages{"home.json:1: ip_filter.rules: an object is not allowed; it must be a list"});
  EXPECT_EQ(
      errors_of(R"({"ip_filter": {"enabled": true, "rules": ["tcp"]}})"),
      Messages{"home.json:1: ip_filter.rules[0]: \"tcp\" is not allowed; it must be an object"});
}

TEST(SettingsIpFilter, AnOpenIpv6AddressIsStoredWithAWarning) {
  EXPECT_EQ(
      warnings_of(rule6(R"("direction": "upstream", "protocol": "tcp", "source": "fd00::1")")),
      Messages{"home.json:1: ip6_filter.rules[0].destination: is open, so this rule matches no "
               "packet: an IPv6 rule needs both addresses"});
  EXPECT_EQ(
      warnings_of(rule6(R"("direction": "upstream", "protocol": "tcp", "source": "any")")),
      Messages{"home.json:1: ip6_filter.rules[0].source: is open, so this rule matches no packet: "
               "an IPv6 rule needs both addresses"});
  EXPECT_EQ(warnings_of(rule(R"("direction": "upstream", "protocol": "tcp")")), Messages{});
}

TEST(SettingsIpFilter, PortsWithoutEffectAreWarnedAbout) {
  EXPECT_EQ(
      warnings_of(rule(R"("direction": "upstream", "protocol": "icmp", "source_ports": "80")")),
      Messages{
          "home.json:1: ip_filter.rules[0].source_ports: has no effect: only tcp and udp rules "
          "look at ports"});
  EXPECT_EQ(warnings_of(tcp("\"destination_ports\": \"80-0\"")),
            Messages{"home.json:1: ip_filter.rules[0].destination_ports: has no effect: a range of "
                     "which one end is 0 matches every port"});
  const std::string half_open =
      "{\n  \"ip_filter\": {\n    \"enabled\": true,\n    \"upstream\": \"black-list\",\n    "
      "\"downstream\": \"black-list\",\n    \"rules\": [\n      {\"direction\": \"upstream\", "
      "\"protocol\": \"tcp\", \"source_ports\": \"0-80\", \"destination_ports\": \"80-0\"}\n    "
      "]\n  "
      "}\n}\n";
  expect_round_trip(half_open);
}

TEST(SettingsIpFilter, StoredValuesWithoutAWordAreShownAndRefused) {
  settings::Settings stored;
  stored.ip_filter.emplace();
  stored.ip_filter->count = 60;
  stored.ip_filter->us_black_white = 2;
  stored.ip_filter->ds_black_white = 7;
  for (auto& entry : stored.ip_filter->entries) {
    entry.protocol = 6;
  }
  stored.ip_filter->entries[0].protocol = 42;
  stored.ip_filter->entries[0].direction = 9;
  stored.ip_filter->entries[1].src_port_s = 90;
  stored.ip_filter->entries[1].src_port_e = 80;
  const std::string text = settings::write(stored);
  EXPECT_EQ(
      errors_of(text),
      (Messages{"home.json:7: ip_filter.rules[0].protocol: 42 is not allowed; it must be \"all\", "
                "\"icmp\", \"tcp\" or \"udp\"",
                "home.json:8: ip_filter.rules[1].source_ports: \"90-80\" is not allowed; it must "
                "be a range that does not end below its first port"}));
  stored.ip_filter->count = 2;
  EXPECT_EQ(
      settings::write(stored),
      "{\n"
      "  \"ip_filter\": {\n"
      "    \"enabled\": true,\n"
      "    \"upstream\": \"white-list\",\n"
      "    \"downstream\": \"white-list\",\n"
      "    \"rules\": [\n"
      "      {\"direction\": \"downstream\", \"protocol\": 42},\n"
      "      {\"direction\": \"upstream\", \"protocol\": \"tcp\", \"source_ports\": \"90-80\"}\n"
      "    ]\n"
      "  }\n"
      "}\n");
}

TEST(SettingsIpFilter, ANegativeCountHasNoRules) {
  settings::Settings stored;
  stored.ip6_filter.emplace();
  stored.ip6_filter->count = -1;
  EXPECT_EQ(
      settings::write(stored),
      "{\n  \"ip6_filter\": {\n    \"enabled\": true,\n    \"upstream\": \"black-list\",\n    "
      "\"downstream\": \"black-list\",\n    \"rules\": []\n  }\n}\n");
}
