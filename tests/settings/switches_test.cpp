/* The sections that are one switch, the security level, and route QoS. */
#include <cstring>

#include "reading.hpp"

TEST(SettingsSwitches, EachSwitchIsReadAndWritten) {
  for (const char* name : {"port_scan_protection", "ipsec_pass_through", "vpn_pass_through"}) {
    expect_round_trip("{\n  \"" + std::string(name) + "\": true\n}\n");
    expect_round_trip("{\n  \"" + std::string(name) + "\": false\n}\n");
    EXPECT_EQ(errors_of("{\"" + std::string(name) + "\": null}"),
              Messages{"home.json:1: " + std::string(name) +
                       ": null is not allowed; it must be true or false"});
  }
  EXPECT_EQ(settings_of(R"({"port_scan_protection": true})").port_scan_protection, true);
  EXPECT_EQ(settings_of(R"({"ipsec_pass_through": false})").ipsec_pass_through, false);
  EXPECT_EQ(settings_of(R"({"vpn_pass_through": true})").vpn_pass_through, true);
}

TEST(SettingsSwitches, TheFirewallNeedsItsSwitch) {
  EXPECT_EQ(settings_of(R"({"firewall": {"enabled": false}})").firewall, false);
  EXPECT_EQ(errors_of(R"({"firewall": {}})"),
            Messages{"home.json:1: firewall.enabled: missing; it must be true or false"});
  EXPECT_EQ(errors_of(R"({"firewall": true})"),
            Messages{"home.json:1: firewall: true is not allowed; it must be an object"});
}

TEST(SettingsSecurityLevel, HasThreeWords) {
  using settings::SecurityLevel;
  EXPECT_EQ(settings_of(R"({"security_level": "off"})").security_level, SecurityLevel::off);
  EXPECT_EQ(settings_of(R"({"security_level": "low"})").security_level, SecurityLevel::low);
  EXPECT_EQ(settings_of(R"({"security_level": "high"})").security_level, SecurityLevel::high);
  EXPECT_EQ(
      errors_of(R"({"security_level": 2})"),
      Messages{"home.json:1: security_level: 2 is not allowed; it must be \"off\", \"low\" or "
               "\"high\""});
}

TEST(SettingsSecurityLevel, AContradictionIsRefused) {
  EXPECT_EQ(errors_of(R"({"security_level": "off", "firewall": {"enabled": true}})"),
            Messages{"home.json:1: security_level: \"off\" contradicts firewall.enabled"});
  EXPECT_EQ(errors_of(R"({"security_level": "high", "port_scan_protection": false})"),
            Messages{"home.json:1: security_level: \"high\" contradicts port_scan_protection"});
  EXPECT_EQ(errors_of(R"({"security_level": "low", "port_scan_protection": true})"),
            Messages{"home.json:1: security_level: \"low\" contradicts port_scan_protection"});
  EXPECT_EQ(errors_of(R"({"security_level": "off", "port_scan_protection": true})"), Messages{});
  EXPECT_EQ(errors_of(R"({"security_level": "high", "firewall": {"enabled": true}})"), Messages{});
}

TEST(SettingsRouteQos, RulesAreTheBytesOfTheBlock) {
  const settings::Settings read =
      settings_of(R"({"route_qos": {"enabled": true, "rules": "01020304FF"}})");
  ASSERT_TRUE(read.route_qos_rules.has_value());
  std::string expected("\x01\x02\x03\x04\xff", 5);
  expected.resize(244);
  EXPECT_EQ(std::memcmp(&*read.route_qos_rules, expected.data(), 244), 0);
  EXPECT_EQ(read.route_qos_enabled, true);
  expect_round_trip(
      "{\n  \"route_qos\": {\n    \"enabled\": true,\n    \"rules\": \"01020304ff\"\n  }\n}\n");
}

TEST(SettingsRouteQos, AWholeBlockFitsAndNoMore) {
  std::string digits;
  for (int i = 0; i < 244; ++i) {
    digits += "a5";
  }
  expect_round_trip("{\n  \"route_qos\": {\n    \"enabled\": false,\n    \"rules\": \"" + digits +
                    "\"\n  }\n}\n");
  EXPECT_EQ(errors_of("{\"route_qos\": {\"enabled\": false, \"rules\": \"" + digits + "00\"}}"),
            Messages{"home.json:1: route_qos.rules: \"" + digits.substr(0, 59) +
                     "...\" is not allowed; it must be pairs of hexadecimal digits, at most 244"});
}

TEST(SettingsRouteQos, WithoutRulesTheyStayAsTheyAre) {
  EXPECT_FALSE(settings_of(R"({"route_qos": {"enabled": true}})").route_qos_rules.has_value());
}

TEST(SettingsRouteQos, WhatIsNoBlockIsRefused) {
  for (const char* bad : {"\"0\"", "\"0g\"", "\"0 \"", "12", "null"}) {
    EXPECT_EQ(
        errors_of("{\"route_qos\": {\"enabled\": true, \"rules\": " + std::string(bad) + "}}"),
        Messages{"home.json:1: route_qos.rules: " + std::string(bad) +
                 " is not allowed; it must be pairs of hexadecimal digits, at most 244"});
  }
  EXPECT_EQ(errors_of(R"({"route_qos": {"rules": ""}})"),
            Messages{"home.json:1: route_qos.enabled: missing; it must be true or false"});
}
