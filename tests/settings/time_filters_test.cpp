/* The URL filter's and the MAC filters' sections, and the daily span that both share. */
#include <cstring>

#include "reading.hpp"

namespace {

std::string url(const std::string& members) {
  return "{\"url_filter\": {\"enabled\": true, \"entries\": [{" + members + "}]}}";
}

std::string host(const std::string& name) {
  return url("\"host\": \"" + name + "\"");
}

std::string mac(const std::string& members) {
  return "{\"mac_filter\": {\"enabled\": true, \"devices\": [{" + members + "}]}}";
}

constexpr const char* a_host =
    "a host name such as \"example.com\": labels of letters, digits and inner hyphens joined by "
    "dots, at "
    "most 31 characters";
constexpr const char* a_span =
    "a span in UTC such as \"08:00-21:30\", with an end of at most 24:00, or \"all day\"";
constexpr const char* a_mac =
    "a hardware address of six pairs such as \"02:00:00:00:00:01\", not all of them zero";

}  // namespace

TEST(SettingsUrlFilter, EveryMemberReachesTheRegion) {
  const settings::Settings read = settings_of(R"({"url_filter": {
    "enabled": true, "mode": "white-list",
    "entries": [
      {"host": "example.com", "active": "08:05-21:30", "reserved": 5},
      {"enabled": false, "host": "printer"}
    ]}})");
  l3_url_filter expected = {};
  expected.count = 2;
  expected.entries[0].url_enable = 1;
  expected.entries[0].url_reserved = 5;
  std::strcpy(expected.entries[0].url, "example.com");
  expected.entries[0].start_hour = 8;
  expected.entries[0].start_minute = 5;
  expected.entries[0].stop_hour = 21;
  expected.entries[0].stop_minute = 30;
  std::strcpy(expected.entries[1].url, "printer");
  expected.entries[1].stop_hour = 24;
  expected.url_black_white = 1;
  expected.url_filter_ctrl = 1;
  EXPECT_EQ(std::memcmp(&*read.url_filter, &expected, sizeof expected), 0);
}

TEST(SettingsUrlFilter, ComesOutAsItWentIn) {
  expect_round_trip(R"({
  "url_filter": {
    "enabled": false,
    "mode": "white-list",
    "entries": [
      {"host": "example.com", "active": "08:00-21:30"},
      {"enabled": false, "host": "a", "active": "all day", "reserved": 7},
      {"host": ".example.org", "active": "22:00-06:00"},
      {"host": "example.net.", "active": "12:00-24:00"}
    ]
  }
}
)");
}

TEST(SettingsUrlFilter, HostNamesOfUpTo31CharactersAreTaken) {
  const std::string longest = "abcdefghijklmnopqrstuvwxyz.1234";
  ASSERT_EQ(longest.size(), 31U);
  const auto entry = settings_of(host(longest)).url_filter->entries[0];
  EXPECT_STREQ(entry.url, longest.c_str());
  EXPECT_EQ(errors_of(host(longest + "5")),
            Messages{"home.json:1: url_filter.entries[0].host: \"" + longest +
                     "5\" is not allowed; it must be " + a_host});
}

TEST(SettingsUrlFilter, NothingButAHostNameIsTaken) {
  for (const char* bad :
       {"",    ".",        "..",    "a..b",     "..a",       "a..",      "-a",
        "a-",  "a.-b",     "a-.b",  "a_b",      "a b",       " a",       "a ",
        "a/b", "http://a", "a:80",  "a;reboot", "$(reboot)", "`reboot`", "a&b",
        "a|b", "a>b",      "a<b",   "a'b",      "a*",        "a?",       "a(b",
        "a{b", "a#b",      "a!b",   "a~b",      "a%b",       "a=b",      "a,b",
        "a@b", "a\\u0000", "a\\nb", "a\\tb",    "a\\\"b",    "a\\\\b",   "\\u00e9.fr"}) {
    EXPECT_EQ(errors_of(host(bad)),
              Messages{"home.json:1: url_filter.entries[0].host: \"" + std::string(bad) +
                       "\" is not allowed; it must be " + a_host});
  }
  EXPECT_EQ(
      errors_of(url("\"host\": 7")),
      Messages{std::string("home.json:1: url_filter.entries[0].host: 7 is not allowed; it must "
                           "be ") +
               a_host});
  EXPECT_EQ(errors_of(url("")),
            Messages{std::string("home.json:1: url_filter.entries[0].host: missing; it must be ") +
                     a_host});
}

TEST(SettingsUrlFilter, DotsAndCapitalsWithoutEffectAreWarnedAbout) {
  const Messages dot = {
      "home.json:1: url_filter.entries[0].host: the outer dot has no effect: a name always matches "
      "its "
      "subdomains too"};
  EXPECT_EQ(warnings_of(host(".example.com")), dot);
  EXPECT_EQ(warnings_of(host("example.com.")), dot);
  EXPECT_EQ(
      warnings_of(host("Example.com")),
      Messages{"home.json:1: url_filter.entries[0].host: capital letters match only queries that "
               "are written with them too"});
  EXPECT_EQ(warnings_of(host("xn--80ak6aa92e.com")), Messages{});
}

TEST(SettingsUrlFilter, FiftyEntriesFitAndNoMore) {
  std::string entries = "{\"host\": \"a\"}";
  for (int i = 1; i < 50; ++i) {
    entries += ", {\"host\": \"a\"}";
  }
  const std::string head = "{\"url_filter\": {\"enabled\": true, \"entries\": [";
  EXPECT_EQ(settings_of(head + entries + "]}}").url_filter->count, 50);
  EXPECT_EQ(errors_of(head + entries + ", {}]}}"),
            Messages{"home.json:1: url_filter.entries: 51 entries; there is room for 50"});
}

TEST(SettingsUrlFilter, AStoredNameThatIsNoneIsShownAndRefused) {
  settings::Settings stored;
  stored.url_filter.emplace();
  stored.url_filter->count = 2;
  stored.url_filter->url_black_white = 3;
  std::memset(stored.url_filter->entries[0].url, 'a', 32);  // no terminator
  std::strcpy(stored.url_filter->entries[1].url, "a\xff\x1b[2J");
  stored.url_filter->entries[1].start_hour = 30;
  stored.url_filter->entries[1].stop_minute = 99;
  EXPECT_EQ(settings::write(stored),
            "{\n"
            "  \"url_filter\": {\n"
            "    \"enabled\": false,\n"
            "    \"mode\": \"white-list\",\n"
            "    \"entries\": [\n"
            "      {\"enabled\": false, \"host\": \"" +
                std::string(32, 'a') +
                "\", \"active\": \"00:00-00:00\"},\n"
                "      {\"enabled\": false, \"host\": \"a\\ufffd\\u001b[2J\", \"active\": "
                "\"30:00-00:99\"}\n"
                "    ]\n"
                "  }\n"
                "}\n");
  EXPECT_EQ(errors_of(settings::write(stored)).size(), 3U);
}

TEST(SettingsTimeSpan, EveryMinuteOfTheDayIsTaken) {
  for (int minute = 0; minute < 24 * 60; ++minute) {
    char span[32];
    std::snprintf(span, sizeof span, "%02d:%02d-%02d:%02d", minute / 60, minute % 60,
                  23 - minute / 60, 59 - minute % 60);
    const auto entry =
        settings_of(url("\"host\": \"a\", \"active\": \"" + std::string(span) + "\""))
            .url_filter->entries[0];
    EXPECT_EQ(entry.start_hour, minute / 60);
    EXPECT_EQ(entry.start_minute, minute % 60);
    EXPECT_EQ(entry.stop_hour, 23 - minute / 60);
    EXPECT_EQ(entry.stop_minute, 59 - minute % 60);
  }
}

TEST(SettingsTimeSpan, AllDayIsMidnightToHour24) {
  for (const char* span : {"all day", "00:00-24:00"}) {
    const auto entry =
        settings_of(url("\"host\": \"a\", \"active\": \"" + std::string(span) + "\""))
            .url_filter->entries[0];
    EXPECT_EQ(entry.start_hour, 0);
    EXPECT_EQ(entry.start_minute, 0);
    EXPECT_EQ(entry.stop_hour, 24);
    EXPECT_EQ(entry.stop_minute, 0);
  }
}

TEST(SettingsTimeSpan, StoredStopHoursOf24AndMoreAreTheEndOfTheDay) {
  settings::Settings stored;
  stored.mac_filter.emplace();
  stored.mac_filter->count = 2;
  stored.mac_filter->entries[0].stop_hour = 255;
  stored.mac_filter->entries[0].stop_minute = 30;
  stored.mac_filter->entries[1].start_minute = 1;
  stored.mac_filter->entries[1].stop_hour = 25;
  EXPECT_EQ(
      settings::write(stored),
      "{\n"
      "  \"mac_filter\": {\n"
      "    \"enabled\": false,\n"
      "    \"mode\": \"black-list\",\n"
      "    \"devices\": [\n"
      "      {\"enabled\": false, \"mac\": \"00:00:00:00:00:00\", \"active\": \"all day\"},\n"
      "      {\"enabled\": false, \"mac\": \"00:00:00:00:00:00\", \"active\": \"00:01-24:00\"}\n"
      "    ]\n"
      "  }\n"
      "}\n");
}

TEST(SettingsTimeSpan, NothingButASpanIsTaken) {
  for (const char* bad :
       {"", "08:00", "8:00-21:30", "08:00-9:30", "24:00-24:00", "08:00-24:01", "08:60-09:00",
        "25:00-26:00", "08:00-21:30 ", "08:00 - 21:30", "08:00-21:30;id", "08.00-21.30",
        "-8:00-21:30", "All day", "allday", "08:00-21:30-22:00", "08:00-$(id)"}) {
    EXPECT_EQ(errors_of(url("\"host\": \"a\", \"active\": \"" + std::string(bad) + "\"")),
              Messages{"home.json:1: url_filter.entries[0].active: \"" + std::string(bad) +
                       "\" is not allowed; it must be " + a_span});
    EXPECT_EQ(
        errors_of(mac("\"mac\": \"02:00:00:00:00:01\", \"active\": \"" + std::string(bad) + "\"")),
        Messages{"home.json:1: mac_filter.devices[0].active: \"" + std::string(bad) +
                 "\" is not allowed; it must be " + a_span});
  }
}

TEST(SettingsMacFilter, EveryMemberReachesTheRegionOfItsFamily) {
  const std::string section = R"({"enabled": true, "mode": "white-list", "devices": [
      {"mac": "02:aB:Cd:00:fe:FF", "active": "22:00-06:30", "reserved": "0102030405ff"},
      {"enabled": false, "mac": "02:00:00:00:00:01"}]})";
  const settings::Settings read =
      settings_of("{\"mac_filter\": " + section + ", \"mac6_filter\": " + section + "}");
  l3_mac_filter expected = {};
  expected.count = 2;
  const uint8_t first[6] = {0x02, 0xab, 0xcd, 0x00, 0xfe, 0xff};
  const uint8_t second[6] = {0x02, 0, 0, 0, 0, 0x01};
  const uint8_t reserved[6] = {1, 2, 3, 4, 5, 0xff};
  expected.entries[0].mac_enable = 1;
  std::memcpy(expected.entries[0].mac, first, 6);
  std::memcpy(expected.entries[0].mac_reserved, reserved, 6);
  expected.entries[0].start_hour = 22;
  expected.entries[0].stop_hour = 6;
  expected.entries[0].stop_minute = 30;
  std::memcpy(expected.entries[1].mac, second, 6);
  expected.entries[1].stop_hour = 24;
  expected.mac_black_white = 1;
  expected.mac_filter_ctrl = 1;
  EXPECT_EQ(std::memcmp(&*read.mac_filter, &expected, sizeof expected), 0);
  EXPECT_EQ(std::memcmp(&*read.mac6_filter, &expected, sizeof expected), 0);
}

TEST(SettingsMacFilter, BothListsComeOutAsTheyWentIn) {
  expect_round_trip(R"({
  "mac_filter": {
    "enabled": true,
    "mode": "black-list",
    "devices": [
      {"mac": "02:00:00:00:00:01", "active": "20:30-07:00"},
      {"enabled": false, "mac": "fe:ff:ff:ff:ff:ff", "active": "all day", "reserved": "000000000001"}
    ]
  },
  "mac6_filter": {
    "enabled": false,
    "mode": "white-list",
    "devices": [
      {"mac": "02:00:00:00:00:01", "active": "all day"}
    ]
  }
}
)");
}

TEST(SettingsMacFilter, NothingButSixPairsIsTaken) {
  for (const char* bad : {"", "02:00:00:00:00", "02:00:00:00:00:01:02", "02-00-00:00-00-01",
                          "02000000000", "02:00:00:00:00:0g", "2:0:0:0:0:1", " 02:00:00:00:00:01",
                          "02:00:00:00:00:01 ", "02:00:00:00:00:1;", "02:00:00:00:00:$1", "any"}) {
    EXPECT_EQ(errors_of(mac("\"mac\": \"" + std::string(bad) + "\"")),
              Messages{"home.json:1: mac_filter.devices[0].mac: \"" + std::string(bad) +
                       "\" is not allowed; it must be " + a_mac});
  }
  EXPECT_EQ(
      errors_of(mac("\"mac\": \"02:00:00:00:00:01\", \"reserved\": \"00000000000000\"")),
      Messages{"home.json:1: mac_filter.devices[0].reserved: \"00000000000000\" is not allowed; it "
               "must be pairs of hexadecimal digits, at most 6"});
}

TEST(SettingsMacFilter, DashesCapitalsAndNoSeparatorsAreTaken) {
  for (const char* words : {"02-00-5E-00-0A-01", "02005e000a01", "02:00:5E:00:0a:01"}) {
    const settings::Settings read = settings_of(mac("\"mac\": \"" + std::string(words) + "\""));
    EXPECT_EQ(settings::mac_text(read.mac_filter->entries[0].mac), "02:00:5e:00:0a:01");
  }
}

TEST(SettingsMacFilter, AnAddressThatNoDeviceHasIsRefusedOnceAndForAll) {
  for (const auto& [address, group] :
       {std::pair("ff:ff:ff:ff:ff:ff", "broadcast"), std::pair("01:00:5e:00:00:01", "multicast"),
        std::pair("33:33:00:00:00:01", "multicast"), std::pair("FF:ff:FF:ff:FF:fe", "multicast")}) {
    const std::string what = "\"" + std::string(address) +
                             "\" is not allowed; it must be the address of one device: this is a " +
                             group + " address, from which no device sends";
    for (const std::string section : {"mac_filter", "mac6_filter"}) {
      const std::string text =
          "{\"" + section + R"(": {"enabled": true, "devices": [{"mac": ")" + address + "\"}]}}";
      EXPECT_EQ(errors_of(text), Messages{"home.json:1: " + section + ".devices[0].mac: " + what});
    }
    const std::string plain =
        R"({"dhcp_filter": {"enabled": true, "devices": [")" + std::string(address) + "\"]}}";
    EXPECT_EQ(errors_of(plain), Messages{"home.json:1: dhcp_filter.devices[0]: " + what});
    const std::string object = R"({"dhcp_filter": {"enabled": true, "devices": [{"mac": ")" +
                               std::string(address) + "\"}]}}";
    EXPECT_EQ(errors_of(object), Messages{"home.json:1: dhcp_filter.devices[0].mac: " + what});
  }
}

TEST(SettingsMacFilter, AnAddressThatNoDeviceHasIsReadWhereItIsStored) {
  settings::Settings stored;
  stored.mac_filter.emplace();
  stored.mac_filter->count = 1;
  stored.mac_filter->entries[0].stop_hour = 24;
  std::memset(stored.mac_filter->entries[0].mac, 0xFF, 6);
  stored.dhcp_filter.emplace();
  stored.dhcp_filter->count = 1;
  std::memset(stored.dhcp_filter->entries[0].mac, 0x33, 6);
  const std::string text = settings::write(stored);
  const settings::Reading reading = settings::read(text, settings::Origin::stored);
  EXPECT_EQ(texts_of(reading.errors), Messages{});
  EXPECT_EQ(texts_of(reading.warnings), Messages{});
  EXPECT_EQ(settings::write(reading.settings), text);
  EXPECT_EQ(settings::read(text).errors.size(), 2U);
}

TEST(SettingsMacFilter, OnlyTheStoredModeOneIsAWhiteList) {
  settings::Settings stored;
  stored.mac6_filter.emplace();
  stored.mac6_filter->mac_black_white = 2;
  stored.mac6_filter->mac_filter_ctrl = 9;
  EXPECT_EQ(settings::write(stored),
            "{\n  \"mac6_filter\": {\n    \"enabled\": true,\n    \"mode\": \"black-list\",\n    "
            "\"devices\": []\n  }\n}\n");
}

TEST(SettingsMacFilter, TenDevicesFitAndNoMore) {
  std::string devices = "{\"mac\": \"02:00:00:00:00:01\"}";
  for (int i = 1; i < 10; ++i) {
    devices += ", {\"mac\": \"02:00:00:00:00:01\"}";
  }
  for (const char* section : {"mac_filter", "mac6_filter"}) {
    const std::string head =
        "{\"" + std::string(section) + "\": {\"enabled\": true, \"devices\": [" + devices;
    EXPECT_EQ(errors_of(head + "]}}"), Messages{});
    EXPECT_EQ(errors_of(head + ", 1]}}"), Messages{"home.json:1: " + std::string(section) +
                                                   ".devices: 11 entries; there is room for 10"});
  }
}
