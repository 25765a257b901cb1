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
const std::string portal_on =
    R"("captive_portal": {"enabled": true, "destinations": ["203.0.113.2"]})";

}  // namespace

TEST(SettingsLint, ASpanThatEndsWhereItStartsIsTheWholeDay) {
  const Messages expected{
      "home.json:1: url_filter.entries[0].active: starts where it ends, which is the whole day"};
  EXPECT_EQ(warnings_of(url_entry("08:00-08:00")), expected);
  EXPECT_EQ(warnings_of(url_entry("23:59-24:00")), expected);
  EXPECT_EQ(warnings_of(url_entry("all day")), Messages{});
  EXPECT_EQ(warnings_of(url_entry("08:00-08:01")), Messages{});
}

TEST(SettingsLint, ASpanPastMidnightIsSaidToBeOne) {
  EXPECT_EQ(warnings_of(url_entry("20:30-06:30")),
            (Messages{"home.json:1: url_filter.entries[0].active: goes past midnight, UTC, into "
                      "the next day"}));
  EXPECT_EQ(
      warnings_of(
          R"({"mac6_filter": {"enabled": true, "mode": "black-list", "devices": [{"mac": "02:00:00:00:00:01", "active": "22:00-06:00"}]}})"),
      (Messages{"home.json:1: mac6_filter.devices[0].active: goes past midnight, UTC, into the "
                "next day"}));
}

TEST(SettingsLint, AnUpstreamWhiteListThatAcceptsLookUpsBypassesTheUrlFilter) {
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
  const std::string downstream = other + R"(, {"direction": "downstream", "protocol": "all"})";
  for (const std::string& rule : {tcp, other, downstream}) {
    EXPECT_EQ(warnings_of(white_list(rule, url_on)), Messages{}) << rule;
  }
}

TEST(SettingsLint, AnUpstreamWhiteListBypassesTheMacFilterAndThePortal) {
  const std::string web =
      R"({"direction": "upstream", "protocol": "tcp", "destination_ports": "80"})";
  EXPECT_EQ(
      warnings_of(white_list(web, mac_on)),
      (Messages{"home.json:1: ip_filter.rules[0]: accepts packets before mac_filter sees them"}));
  EXPECT_EQ(warnings_of(white_list(web, portal_on)),
            (Messages{"home.json:1: ip_filter.rules[0]: accepts web requests before "
                      "captive_portal sees them"}));
}

TEST(SettingsLint, AMacWhiteListBypassesThePortal) {
  const std::string white =
      R"("mac_filter": {"enabled": true, "mode": "white-list", "devices": [{"mac": "02:00:00:00:00:01"}]})";
  EXPECT_EQ(warnings_of("{" + white + ", " + portal_on + "}"),
            (Messages{"home.json:1: mac_filter.mode: a white list accepts its devices before "
                      "captive_portal sees their requests"}));
  EXPECT_EQ(warnings_of("{" + mac_on + ", " + portal_on + "}"), Messages{});
}

TEST(SettingsLint, ADownstreamWhiteListStopsAnswersToo) {
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

namespace {

std::string access_list(const std::string& entries, const char* enabled = "true") {
  return std::string(R"({"acl": {"enabled": )") + enabled + R"(, "entries": [)" + entries + "]}}";
}

std::string access(const std::string& service, const std::string& from) {
  return R"({"service": ")" + service + R"(", "from": ")" + from + R"(", "sources": "any"})";
}

const std::string no_ping_from_wan =
    "home.json:1: acl.entries: none takes ping from the wan, so the gateway's own pings get no "
    "answers";

/* What of a text's warnings are lock-outs. */
Messages lock_outs_of(const std::string& text) {
  std::vector<settings::Problem> found;
  for (const settings::Problem& warning : settings::read(text).warnings) {
    if (warning.locks_out) {
      found.push_back(warning);
    }
  }
  return texts_of(found);
}

}  // namespace

TEST(SettingsLint, AnAccessListForTheWanWithoutPingStopsAnswersToPing) {
  EXPECT_EQ(warnings_of(access_list(access("web", "wan"))),
            (Messages{"home.json:1: acl.entries: web alone is open to the WAN; ftp, snmp, telnet "
                      "and ping from the WAN to the gateway are closed over IPv4",
                      no_ping_from_wan}));
  EXPECT_EQ(warnings_of(access_list(access("web", "wan") + ", " + access("ping", "wan"))),
            Messages{});
  EXPECT_EQ(warnings_of(access_list(access("all", "wan"))), Messages{});
}

TEST(SettingsLint, AnAccessListNamesWhatItClosesToTheLan) {
  EXPECT_EQ(warnings_of(access_list(access("telnet", "lan"))),
            (Messages{"home.json:1: acl.entries: telnet alone is open to the LAN; web, ftp, snmp "
                      "and ping from the LAN to the gateway are closed over IPv4"}));
  EXPECT_EQ(warnings_of(access_list(access("web", "lan"))),
            (Messages{"home.json:1: acl.entries: web alone is open to the LAN; ftp, snmp, telnet "
                      "and ping from the LAN to the gateway are closed over IPv4"}));
  EXPECT_EQ(warnings_of(access_list(access("ping", "lan") + ", " + access("snmp", "lan") + ", " +
                                    access("telnet", "lan") + ", " + access("ftp", "lan"))),
            (Messages{"home.json:1: acl.entries: ftp, snmp, telnet and ping alone are open to the "
                      "LAN; web from the LAN to the gateway is closed over IPv4"}));
  for (const std::string& open :
       {access("all", "lan"), access("web", "lan") + ", " + access("ping", "lan"), std::string()}) {
    EXPECT_EQ(warnings_of(access_list(open)), Messages{}) << open;
  }
  EXPECT_EQ(warnings_of(access_list(access("telnet", "lan"), "false")), Messages{});
  const std::string disabled =
      R"({"enabled": false, "service": "telnet", "from": "lan", "sources": "any"})";
  EXPECT_EQ(warnings_of(access_list(disabled)), Messages{});
  // A disabled entry opens nothing.
  const std::string web_disabled =
      R"({"enabled": false, "service": "web", "from": "lan", "sources": "any"})";
  EXPECT_EQ(lock_outs_of(access_list(web_disabled + ", " + access("telnet", "lan"))).size(), 1U);
}

TEST(SettingsLint, AnEmptyWhiteListOfDevicesStopsEveryDevice) {
  for (const auto& [section, family] :
       {std::pair("mac_filter", "IPv4"), std::pair("mac6_filter", "IPv6")}) {
    const auto filter = [&, name = std::string(section)](const std::string& rest) {
      return "{\"" + name + R"(": {"enabled": true, )" + rest + "}}";
    };
    const Messages expected{"home.json:1: " + std::string(section) +
                            ".devices: a white list without an enabled device: no device of the "
                            "LAN reaches the Internet over " +
                            family};
    EXPECT_EQ(lock_outs_of(filter(R"("mode": "white-list", "devices": [])")), expected);
    EXPECT_EQ(
        lock_outs_of(filter(
            R"("mode": "white-list", "devices": [{"mac": "02:00:00:00:00:01", "enabled": false}])")),
        expected);
    EXPECT_EQ(
        warnings_of(filter(R"("mode": "white-list", "devices": [{"mac": "02:00:00:00:00:01"}])")),
        Messages{});
    EXPECT_EQ(warnings_of(filter(R"("mode": "black-list", "devices": [])")), Messages{});
  }
  EXPECT_EQ(warnings_of(R"({"mac_filter": {"enabled": false, "mode": "white-list"}})"), Messages{});
  EXPECT_EQ(lock_outs_of(R"({"dhcp_filter": {"enabled": true, "mode": "white-list"}})"),
            (Messages{"home.json:1: dhcp_filter.devices: a white list without a device: no device "
                      "gets an address from the gateway's DHCP server"}));
  EXPECT_EQ(
      warnings_of(
          R"({"dhcp_filter": {"enabled": true, "mode": "white-list", "devices": ["02:00:00:00:00:01"]}})"),
      Messages{});
}

TEST(SettingsLint, AnEmptyWhiteListOfNamesStopsEveryLookUp) {
  const Messages expected{
      "home.json:1: url_filter.entries: a white list without an enabled name: every DNS query over "
      "IPv4 that the LAN sends through the gateway is dropped, so no host is found by its name"};
  const auto filter = [](const std::string& entries) {
    return R"({"url_filter": {"enabled": true, "mode": "white-list", "entries": [)" + entries +
           "]}}";
  };
  EXPECT_EQ(lock_outs_of(filter("")), expected);
  EXPECT_EQ(lock_outs_of(filter(R"({"host": "a.example", "enabled": false})")), expected);
  EXPECT_EQ(warnings_of(filter(R"({"host": "a.example"})")), Messages{});
  EXPECT_EQ(warnings_of(R"({"url_filter": {"enabled": false, "mode": "white-list"}})"), Messages{});
}

TEST(SettingsLint, APortalWithoutDestinationsStopsEveryWebRequest) {
  const Messages expected{
      "home.json:1: captive_portal.destinations: none is enabled: every web request of the LAN "
      "(TCP "
      "port 80 over IPv4) is dropped"};
  EXPECT_EQ(lock_outs_of(R"({"captive_portal": {"enabled": true}})"), expected);
  EXPECT_EQ(
      lock_outs_of(
          R"({"captive_portal": {"enabled": true, "destinations": [{"destination": "203.0.113.2", "enabled": false}]}})"),
      expected);
  EXPECT_EQ(warnings_of("{" + portal_on + "}"), Messages{});
  EXPECT_EQ(warnings_of(R"({"captive_portal": {"enabled": false}})"), Messages{});
}

TEST(SettingsLint, AnEmptyWhiteListOfRulesClosesItsDirection) {
  const std::string what =
      ".upstream: a white list without a rule that accepts anything: nothing from the LAN reaches "
      "the Internet over IPv";
  const auto filter = [](const std::string& section, const std::string& rules) {
    return "{\"" + section + R"(": {"enabled": true, "upstream": "white-list", "rules": [)" +
           rules + "]}}";
  };
  EXPECT_EQ(lock_outs_of(filter("ip_filter", "")),
            (Messages{"home.json:1: ip_filter" + what + "4"}));
  EXPECT_EQ(lock_outs_of(filter("ip_filter", R"({"direction": "downstream", "protocol": "all"})")),
            (Messages{"home.json:1: ip_filter" + what + "4"}));
  EXPECT_EQ(warnings_of(filter("ip_filter", R"({"direction": "upstream", "protocol": "all"})")),
            Messages{});
  // A rule of IPv6 that leaves an address open matches nothing.
  EXPECT_EQ(lock_outs_of(filter("ip6_filter", R"({"direction": "upstream", "protocol": "all"})")),
            (Messages{"home.json:1: ip6_filter" + what + "6"}));
  EXPECT_EQ(
      warnings_of(filter(
          "ip6_filter",
          R"({"direction": "upstream", "protocol": "all", "source": "fd00::1", "destination": "fd00::2"})")),
      Messages{});
  EXPECT_EQ(lock_outs_of(R"({"ip_filter": {"enabled": true, "downstream": "white-list"}})").size(),
            1U);
  EXPECT_EQ(
      lock_outs_of(
          R"({"ip_filter": {"enabled": true, "downstream": "white-list", "rules": [{"direction": "downstream", "protocol": "udp"}]}})"),
      Messages{});
}

TEST(SettingsLint, AWarningNamesTheLineOfWhatItIsAbout) {
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
      {"service": "all", "from": "lan", "sources": "any"},
      {"service": "web", "from": "wan", "sources": "any"}
    ]
  },
  "ip_filter": {
    "enabled": true,
    "downstream": "white-list"
  }
})";
  EXPECT_EQ(warnings_of(text),
            (Messages{"home.json:19: ip_filter.downstream: a white list drops the answers to the "
                      "LAN's own connections too, unless a rule accepts them",
                      "home.json:7: mac_filter.devices[1].active: goes past midnight, UTC, into "
                      "the next day",
                      "home.json:12: acl.entries: web alone is open to the WAN; ftp, snmp, telnet "
                      "and ping from the WAN to the gateway are closed over IPv4",
                      "home.json:12: acl.entries: none takes ping from the wan, so the gateway's "
                      "own pings get no answers"}));
}
