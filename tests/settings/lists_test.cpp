/* The sections of the DHCP filter, the access list and the captive portal. */
#include <cstring>

#include "reading.hpp"

namespace {

std::string dhcp(const std::string& device) {
  return "{\"dhcp_filter\": {\"enabled\": true, \"devices\": [" + device + "]}}";
}

std::string acl(const std::string& sources) {
  return R"({"acl": {"enabled": true, "entries": [{"service": "web", "from": "lan", "sources": )" +
         sources + "}]}}";
}

std::string portal(const std::string& destination) {
  return "{\"captive_portal\": {\"enabled\": true, \"destinations\": [" + destination + "]}}";
}

constexpr const char* a_mac =
    "a hardware address of six pairs such as \"02:00:00:00:00:01\", not all of them zero";
constexpr const char* a_destination =
    "an IPv4 address such as \"203.0.113.2\" or a prefix such as \"198.51.100.0/24\"";
constexpr const char* sources =
    "an IPv4 address, a range such as \"192.168.1.2-192.168.1.10\", or \"any\"";

}  // namespace

TEST(SettingsDhcpFilter, EveryMemberReachesTheRegion) {
  const settings::Settings read = settings_of(R"({"dhcp_filter": {
    "enabled": true, "mode": "white-list",
    "devices": ["02:00:00:00:00:01", {"mac": "02:00:00:00:00:02", "flag": 1, "reserved": "0a0b"}]}})");
  l3_dhcp_filter expected = {};
  expected.count = 2;
  expected.entries[0].mac[0] = 2;
  expected.entries[0].mac[5] = 1;
  expected.entries[1].dhcp_entry_flag = 1;
  expected.entries[1].mac[0] = 2;
  expected.entries[1].mac[5] = 2;
  expected.entries[1].reserved[0] = 0x0a;
  expected.entries[1].reserved[1] = 0x0b;
  expected.dhcp_black_white = 1;
  expected.dhcp_mac_filter_ctrl = 1;
  EXPECT_EQ(std::memcmp(&*read.dhcp_filter, &expected, sizeof expected), 0);
}

TEST(SettingsDhcpFilter, ComesOutAsItWentIn) {
  expect_round_trip(R"({
  "dhcp_filter": {
    "enabled": true,
    "mode": "white-list",
    "devices": [
      "02:00:00:00:00:01",
      {"mac": "02:00:00:00:00:02", "flag": 4294967295},
      {"mac": "02:00:00:00:00:03", "reserved": "00000000000000000001"}
    ]
  }
}
)");
}

TEST(SettingsDhcpFilter, NothingButADeviceIsTaken) {
  for (const char* bad :
       {"\"\"", "\"02:00:00:00:00\"", "\"02:00:00:00:00:01;id\"", "7", "null", "true"}) {
    EXPECT_EQ(errors_of(dhcp(bad)),
              Messages{"home.json:1: dhcp_filter.devices[0]: " + std::string(bad) +
                       " is not allowed; it must be " + a_mac});
  }
  EXPECT_EQ(
      errors_of(dhcp("[]")),
      Messages{std::string("home.json:1: dhcp_filter.devices[0]: a list is not allowed; it must "
                           "be ") +
               a_mac});
  EXPECT_EQ(
      errors_of(dhcp(R"({"mac": "02:00:00:00:00:0x", "active": "all day"})")),
      (Messages{std::string("home.json:1: dhcp_filter.devices[0].mac: \"02:00:00:00:00:0x\" is not "
                            "allowed; it must be ") +
                    a_mac,
                "home.json:1: dhcp_filter.devices[0].active: unknown; known here: mac, flag, "
                "reserved"}));
}

TEST(SettingsDhcpFilter, TenDevicesFitAndNoMore) {
  std::string devices = "\"02:00:00:00:00:01\"";
  for (int i = 1; i < 10; ++i) {
    devices += ", \"02:00:00:00:00:01\"";
  }
  EXPECT_EQ(settings_of(dhcp(devices)).dhcp_filter->count, 10);
  EXPECT_EQ(errors_of(dhcp(devices + ", \"\"")),
            Messages{"home.json:1: dhcp_filter.devices: 11 entries; there is room for 10"});
}

TEST(SettingsAcl, EveryMemberReachesTheRegion) {
  const settings::Settings read = settings_of(R"({"acl": {"enabled": true, "entries": [
    {"service": "all", "from": "lan", "sources": "any"},
    {"service": "web", "from": "wan", "sources": "203.0.113.9"},
    {"service": "ftp", "from": "lan", "sources": "192.168.1.2-192.168.2.10"},
    {"service": "snmp", "from": "lan", "sources": "192.168.0.0-192.168.255.255"},
    {"service": "telnet", "from": "lan", "sources": "10.0.0.1-10.0.0.1"},
    {"service": "ping", "from": "lan", "sources": "any", "enabled": false}]}})");
  l3_acl expected = {};
  expected.count = 6;
  expected.acl_filter_ctrl = 1;
  expected.entries[0] = {1, 0, 0, 0, 0};
  expected.entries[1] = {1, 1, 1, 0xCB007109, 0xCB007109};
  expected.entries[2] = {1, 2, 0, 0xC0A80102, 0xC0A8020A};
  expected.entries[3] = {1, 3, 0, 0xC0A80000, 0xC0A8FFFF};
  expected.entries[4] = {1, 4, 0, 0x0A000001, 0x0A000001};
  expected.entries[5] = {0, 5, 0, 0, 0};
  EXPECT_EQ(std::memcmp(&*read.acl, &expected, sizeof expected), 0);
}

TEST(SettingsAcl, ComesOutAsItWentIn) {
  expect_round_trip(R"({
  "acl": {
    "enabled": true,
    "entries": [
      {"service": "all", "from": "lan", "sources": "any"},
      {"enabled": false, "service": "web", "from": "wan", "sources": "203.0.113.9"},
      {"service": "ping", "from": "lan", "sources": "192.168.1.2-192.168.2.10"}
    ]
  }
}
)");
}

TEST(SettingsAcl, NothingButSourcesIsTaken) {
  for (const char* bad :
       {"\"\"", "\"192.168.1.0/24\"", "\"192.168.1.1-\"", "\"-192.168.1.1\"", "\"192.168.1.2-10\"",
        "\"192.168.1.1-192.168.1.2-192.168.1.3\"", "\"192.168.1.1 - 192.168.1.2\"", "\"0.0.0.0\"",
        "\"0.0.0.0-0.0.0.9\"", "\"any-192.168.1.1\"", "\"192.168.1.1-any\"", "\"192.168.1.1;id\"",
        "\"$(id)\"", "1"}) {
    EXPECT_EQ(errors_of(acl(bad)),
              Messages{"home.json:1: acl.entries[0].sources: " + std::string(bad) +
                       " is not allowed; it must be " + sources});
  }
  EXPECT_EQ(
      errors_of(acl("\"192.168.1.10-192.168.1.2\"")),
      Messages{"home.json:1: acl.entries[0].sources: \"192.168.1.10-192.168.1.2\" is not allowed; "
               "it must be a range that does not end before its first address"});
  for (const char* wide : {"\"192.168.1.1-192.169.1.1\"", "\"10.0.0.1-11.0.0.1\"",
                           "\"192.168.255.255-192.169.0.0\""}) {
    EXPECT_EQ(
        errors_of(acl(wide)),
        Messages{"home.json:1: acl.entries[0].sources: " + std::string(wide) +
                 " is not allowed; it must be a range inside one /16, whose first and last address "
                 "begin with the same two numbers: no rule can be made from a wider one"});
  }
}

TEST(SettingsAcl, ServicesAndSidesAreWords) {
  EXPECT_EQ(
      errors_of(R"({"acl": {"enabled": true, "entries": [{"service": "ssh", "from": "br0"}]}})"),
      (Messages{
          "home.json:1: acl.entries[0].service: \"ssh\" is not allowed; it must be \"all\", "
          "\"web\", \"ftp\", \"snmp\", \"telnet\" or \"ping\"",
          "home.json:1: acl.entries[0].from: \"br0\" is not allowed; it must be \"lan\" or "
          "\"wan\"",
          std::string("home.json:1: acl.entries[0].sources: missing; it must be ") + sources}));
}

TEST(SettingsAcl, SixteenEntriesFitAndNoMore) {
  std::string entries = R"({"service": "web", "from": "lan", "sources": "any"})";
  const std::string one = ", " + entries;
  for (int i = 1; i < 16; ++i) {
    entries += one;
  }
  const std::string head = "{\"acl\": {\"enabled\": true, \"entries\": [" + entries;
  EXPECT_EQ(settings_of(head + "]}}").acl->count, 16);
  EXPECT_EQ(errors_of(head + one + "]}}"),
            Messages{"home.json:1: acl.entries: 17 entries; there is room for 16"});
}

TEST(SettingsAcl, StoredValuesWithoutAWordAreShownAndRefused) {
  settings::Settings stored;
  stored.acl.emplace();
  stored.acl->count = 3;
  stored.acl->entries[0] = {2, 6, 5, 0xC0A80102, 0};
  stored.acl->entries[1] = {1, 1, 0, 0, 0xC0A80102};
  stored.acl->entries[2] = {1, 1, 0, 0xC0A80109, 0xC0A80102};
  EXPECT_EQ(settings::write(stored),
            "{\n"
            "  \"acl\": {\n"
            "    \"enabled\": false,\n"
            "    \"entries\": [\n"
            "      {\"service\": 6, \"from\": \"wan\", \"sources\": \"192.168.1.2-0.0.0.0\"},\n"
            "      {\"service\": \"web\", \"from\": \"lan\", \"sources\": \"any\"},\n"
            "      {\"service\": \"web\", \"from\": \"lan\", \"sources\": "
            "\"192.168.1.9-192.168.1.2\"}\n"
            "    ]\n"
            "  }\n"
            "}\n");
  EXPECT_EQ(errors_of(settings::write(stored)).size(), 3U);
}

TEST(SettingsCaptivePortal, EveryMemberReachesTheRegion) {
  const settings::Settings read =
      settings_of(R"({"captive_portal": {"enabled": true, "destinations": [
    "203.0.113.2", "255.255.255.255/32", {"destination": "0.0.0.0/0", "enabled": false}]}})");
  l3_caporl expected = {};
  expected.count = 3;
  expected.entries[0].caporl_enable = 1;
  std::strcpy(expected.entries[0].caporl_ip, "203.0.113.2");
  expected.entries[1].caporl_enable = 1;
  std::strcpy(expected.entries[1].caporl_ip, "255.255.255.255/32");
  std::strcpy(expected.entries[2].caporl_ip, "0.0.0.0/0");
  expected.caporl_filter_ctrl = 1;
  EXPECT_EQ(std::memcmp(&*read.captive_portal, &expected, sizeof expected), 0);
}

TEST(SettingsCaptivePortal, ComesOutAsItWentIn) {
  expect_round_trip(R"({
  "captive_portal": {
    "enabled": true,
    "destinations": [
      "203.0.113.2",
      {"enabled": false, "destination": "198.51.100.0/24"}
    ]
  }
}
)");
}

TEST(SettingsCaptivePortal, NothingButAnAddressOrPrefixReachesTheShell) {
  for (const char* bad : {"",
                          "any",
                          "example.com",
                          "203.0.113.2/33",
                          "203.0.113.2/",
                          "203.0.113.2/08",
                          "203.0.113.2/-1",
                          "203.0.113.2/255.255.255.0",
                          "203.0.113/24",
                          "/24",
                          "203.0.113.2 ",
                          "203.0.113.2 -j ACCEPT",
                          "203.0.113.2;reboot",
                          "203.0.113.2\\nreboot",
                          "$(reboot)",
                          "`reboot`",
                          "203.0.113.2&",
                          "!203.0.113.2",
                          "203.0.113.2/24;id",
                          "203.0.113.2|sh",
                          "203.0.113.2>/x",
                          "2001:db8::1",
                          "203.0.113.2\\u0000"}) {
    EXPECT_EQ(errors_of(portal("\"" + std::string(bad) + "\"")),
              Messages{"home.json:1: captive_portal.destinations[0]: \"" + std::string(bad) +
                       "\" is not allowed; it must be " + a_destination});
    EXPECT_EQ(errors_of(portal("{\"destination\": \"" + std::string(bad) + "\"}")),
              Messages{"home.json:1: captive_portal.destinations[0].destination: \"" +
                       std::string(bad) + "\" is not allowed; it must be " + a_destination});
  }
}

TEST(SettingsCaptivePortal, ThirtyTwoDestinationsFitAndNoMore) {
  std::string destinations = "\"203.0.113.2\"";
  for (int i = 1; i < 32; ++i) {
    destinations += ", \"203.0.113.2\"";
  }
  EXPECT_EQ(settings_of(portal(destinations)).captive_portal->count, 32);
  EXPECT_EQ(errors_of(portal(destinations + ", 1")),
            Messages{"home.json:1: captive_portal.destinations: 33 entries; there is room for 32"});
}

TEST(SettingsCaptivePortal, AStoredTextThatIsNoAddressIsShownAndRefused) {
  settings::Settings stored;
  stored.captive_portal.emplace();
  stored.captive_portal->count = 1;
  stored.captive_portal->entries[0].caporl_enable = 1;
  std::memset(stored.captive_portal->entries[0].caporl_ip, 'x', 20);  // no terminator
  EXPECT_EQ(settings::write(stored),
            "{\n  \"captive_portal\": {\n    \"enabled\": false,\n    \"destinations\": [\n      "
            "\"xxxxxxxxxxxxxxxxxxxx\"\n    ]\n  }\n}\n");
  EXPECT_EQ(errors_of(settings::write(stored)).size(), 1U);
}
