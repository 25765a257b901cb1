/* Warnings about settings that undo each other, or stop more than they name. */
#include "reading.hpp"

namespace {

std::string url_entry(const std::string& span) {
  return R"({"url_filter": {"enabled": true, "mode": "black-list", "entries": [{"host": "a.example", "active": ")" +
         span + R"("}]}})";
}

std::string white_list(const std::string& rule, const std::string& other_section) {
  return R"({"ip_filter": {"enabled": true, "upstream": "white-list", "rules": [)" + rule + "]}" +
         (other_section.empty() ? "" : ", " + other_section) + "}";
}

const std::string url_on =
    R"("url_filter": {"enabled": true, "mode": "black-list", "entries": []})";
const std::string mac_on =
    R"("mac_filter": {"enabled": true, "mode": "black-list", "devices": []})";
const std::string portal_on = R"("captive_portal": {"enabled": true, "destinations": []})";

}  // namespace

TEST(SettingsEffects, ASpanThatEndsWhereItStartsIsTheWholeDay) {
  const Messages expected{
      "home.json:1: url_filter.entries[0].active: starts where it ends, which is the whole day"};
  EXPECT_EQ(warnings_of(url_entry("08:00-08:00")), expected);
  EXPECT_EQ(warnings_of(url_entry("23:59-24:00")), expected);
  EXPECT_EQ(warnings_of(url_entry("all day")), Messages{});
  EXPECT_EQ(warnings_of(url_entry("08:00-08:01")), Messages{});
}

TEST(SettingsEffects, ASpanPastMidnightIsSaidToBeOne) {
  EXPECT_EQ(warnings_of(url_entry("20:30-06:30")),
            (Messages{"home.json:1: url_filter.entries[0].active: goes past midnight, UTC, into "
                      "the next day"}));
  EXPECT_EQ(
      warnings_of(
          R"({"mac6_filter": {"enabled": true, "mode": "black-list", "devices": [{"mac": "02:00:00:00:00:01", "active": "22:00-06:00"}]}})"),
      (Messages{"home.json:1: mac6_filter.devices[0].active: goes past midnight, UTC, into the "
                "next day"}));
}

TEST(SettingsEffects, AnUpstreamWhiteListThatAcceptsLookUpsBypassesTheUrlFilter) {
  const Messages expected{
      "home.json:1: ip_filter.rules[0]: accepts look-ups of names before url_filter sees them"};
  const std::string any = R"({"direction": "upstream", "protocol": "all"})";
  const std::string dns =
      R"({"direction": "upstream", "protocol": "udp", "destination_ports": "50-60"})";
  EXPECT_EQ(warnings_of(white_list(any, url_on)), expected);
  EXPECT_EQ(warnings_of(white_list(dns, url_on)), expected);
  EXPECT_EQ(warnings_of(white_list(dns, "")), Messages{});
  const std::string tcp = R"({"direction": "upstream", "protocol": "tcp"})";
  const std::string other =
      R"({"direction": "upstream", "protocol": "udp", "destination_ports": "54"})";
  const std::string downstream = R"({"direction": "downstream", "protocol": "all"})";
  for (const std::string& rule : {tcp, other, downstream}) {
    EXPECT_EQ(warnings_of(white_list(rule, url_on)), Messages{}) << rule;
  }
}

TEST(SettingsEffects, AnUpstreamWhiteListBypassesTheMacFilterAndThePortal) {
  const std::string web =
      R"({"direction": "upstream", "protocol": "tcp", "destination_ports": "80"})";
  EXPECT_EQ(
      warnings_of(white_list(web, mac_on)),
      (Messages{"home.json:1: ip_filter.rules[0]: accepts packets before mac_filter sees them"}));
  EXPECT_EQ(warnings_of(white_list(web, portal_on)),
            (Messages{"home.json:1: ip_filter.rules[0]: accepts web requests before "
                      "captive_portal sees them"}));
}

TEST(SettingsEffects, AMacWhiteListBypassesThePortal) {
  const std::string white =
      R"("mac_filter": {"enabled": true, "mode": "white-list", "devices": []})";
  EXPECT_EQ(warnings_of("{" + white + ", " + portal_on + "}"),
            (Messages{"home.json:1: mac_filter.mode: a white list accepts its devices before "
                      "captive_portal sees their requests"}));
  EXPECT_EQ(warnings_of("{" + mac_on + ", " + portal_on + "}"), Messages{});
}

TEST(SettingsEffects, ADownstreamWhiteListStopsAnswersToo) {
  const std::string what =
      ".downstream: a white list drops the answers to the LAN's own connections too, unless a rule "
      "accepts them";
  for (const std::string section : {"ip_filter", "ip6_filter"}) {
    EXPECT_EQ(warnings_of("{\"" + section + R"(": {"enabled": true, "downstream": "white-list"}})"),
              (Messages{"home.json:1: " + section + what}));
    EXPECT_EQ(
        warnings_of("{\"" + section + R"(": {"enabled": false, "downstream": "white-list"}})"),
        Messages{});
  }
}

TEST(SettingsEffects, AnAccessListForTheWanWithoutPingStopsAnswersToPing) {
  const auto entries = [](const std::string& list) {
    return R"({"acl": {"enabled": true, "entries": [)" + list + "]}}";
  };
  const std::string web = R"({"service": "web", "from": "wan", "sources": "any"})";
  const std::string ping = R"({"service": "ping", "from": "wan", "sources": "any"})";
  EXPECT_EQ(warnings_of(entries(web)),
            (Messages{"home.json:1: acl.entries: none takes ping from the wan, so the gateway's "
                      "own pings get no answers"}));
  EXPECT_EQ(warnings_of(entries(web + ", " + ping)), Messages{});
  EXPECT_EQ(warnings_of(entries(R"({"service": "web", "from": "lan", "sources": "any"})")),
            Messages{});
}

TEST(SettingsEffects, AWarningNamesTheLineOfWhatItIsAbout) {
  const std::string text = R"({
  "mac_filter": {
    "enabled": true,
    "devices": [
      {"mac": "02:00:00:00:00:01", "active": "08:00-09:00"},
      {"mac": "02:00:00:00:00:02",
       "active": "22:00-06:00"}
    ]
  },
  "acl": {
    "enabled": true,
    "entries": [
      {"service": "web", "from": "wan", "sources": "any"}
    ]
  },
  "ip_filter": {
    "enabled": true,
    "downstream": "white-list"
  }
})";
  EXPECT_EQ(warnings_of(text),
            (Messages{"home.json:18: ip_filter.downstream: a white list drops the answers to the "
                      "LAN's own connections too, unless a rule accepts them",
                      "home.json:7: mac_filter.devices[1].active: goes past midnight, UTC, into "
                      "the next day",
                      "home.json:12: acl.entries: none takes ping from the wan, so the gateway's "
                      "own pings get no answers"}));
}
