/* The text as a whole: JSON, sections, unknown and repeated keys. */
#include "reading.hpp"

namespace {

constexpr const char* known_sections =
    "unknown; known here: firewall, security_level, port_scan_protection, ipsec_pass_through, "
    "vpn_pass_through, ip_filter, ip6_filter, url_filter, mac_filter, mac6_filter, dhcp_filter, "
    "acl, "
    "captive_portal, route_qos";

}  // namespace

TEST(SettingsDocument, AnEmptyObjectSetsNothing) {
  const settings::Settings none = settings_of("{}");
  EXPECT_EQ(settings::write(none), "{}\n");
}

TEST(SettingsDocument, WhatIsNoJsonIsToldWithItsLine) {
  EXPECT_EQ(
      errors_of("{\n  \"firewall\": {\"enabled\": true},\n}"),
      Messages{"home.json:3: no JSON: syntax error while parsing object key - unexpected '}'; "
               "expected string literal"});
  EXPECT_EQ(errors_of(""), Messages{"home.json:1: no JSON: syntax error while parsing value - "
                                    "unexpected end of input; expected '[', '{', or a literal"});
  EXPECT_EQ(errors_of("{} {}"), Messages{"home.json:1: no JSON: syntax error while parsing value - "
                                         "unexpected '{'; expected end of input"});
}

TEST(SettingsDocument, BytesThatAreNoTextAreRefused) {
  EXPECT_EQ(
      errors_of("{\n\"\xff\": 1}"),
      Messages{"home.json:2: no JSON: syntax error while parsing object key - invalid string: "
               "ill-formed UTF-8 byte; last read: '\"?'; expected string literal"});
  EXPECT_EQ(errors_of(std::string("{}\n\0{", 5)), Messages{"home.json:2: no JSON: a zero byte"});
}

TEST(SettingsDocument, AReasonIsShortAndPlain) {
  const Messages errors = errors_of("\"\u001b" + std::string(5000, 'x'));
  ASSERT_EQ(errors.size(), 1U);
  EXPECT_LT(errors[0].size(), 230U);
  EXPECT_EQ(errors[0].find('\x1b'), std::string::npos);
}

TEST(SettingsDocument, SomethingElseThanAnObjectIsRefused) {
  EXPECT_EQ(errors_of("[]"), Messages{"home.json:1: a list is not allowed; it must be an object"});
  EXPECT_EQ(errors_of("\n7\n"), Messages{"home.json:2: 7 is not allowed; it must be an object"});
}

TEST(SettingsDocument, DeepNestingIsRefusedBeforeItCostsMemory) {
  const std::string deep(100000, '[');
  EXPECT_EQ(errors_of(deep), Messages{"home.json:1: nested too deeply for settings"});
}

TEST(SettingsDocument, AnUnknownSectionIsRefused) {
  EXPECT_EQ(errors_of("{\n\"Firewall\": {}\n}"),
            Messages{std::string("home.json:2: Firewall: ") + known_sections});
}

TEST(SettingsDocument, ControlCharactersOfANameAreShownEscaped) {
  EXPECT_EQ(errors_of("{\"\\u001b[2J\": 1}"),
            Messages{std::string("home.json:1: \"\\u001b[2J\": ") + known_sections});
}

TEST(SettingsDocument, AnUnknownKeyIsRefusedWithItsPath) {
  EXPECT_EQ(errors_of(R"({"acl": {"enabled": true, "mode": "black-list"}})"),
            Messages{"home.json:1: acl.mode: unknown; known here: enabled, entries"});
}

TEST(SettingsDocument, AKeyThatIsGivenTwiceIsRefused) {
  EXPECT_EQ(errors_of("{\"firewall\": {\n\"enabled\": true,\n\"enabled\": true}}"),
            Messages{"home.json:3: firewall.enabled: given twice; the first is in line 2"});
  EXPECT_EQ(errors_of("{\"vpn_pass_through\": true,\n\"vpn_pass_through\": true}"),
            Messages{"home.json:2: vpn_pass_through: given twice; the first is in line 1"});
}

TEST(SettingsDocument, EveryFaultIsToldAtOnce) {
  EXPECT_EQ(
      errors_of(R"({
  "firewall": {"enabled": "yes"},
  "port_scan_protection": 1,
  "captive_portal": {
    "enabled": true,
    "destinations": [
      "example.com",
      "203.0.113.2",
      7
    ]
  }
})"),
      (Messages{"home.json:2: firewall.enabled: \"yes\" is not allowed; it must be true or false",
                "home.json:3: port_scan_protection: 1 is not allowed; it must be true or false",
                "home.json:7: captive_portal.destinations[0]: \"example.com\" is not allowed; it "
                "must be an IPv4 address such as \"203.0.113.2\" or a prefix such as "
                "\"198.51.100.0/24\"",
                "home.json:9: captive_portal.destinations[2]: 7 is not allowed; it must be an "
                "IPv4 address such as \"203.0.113.2\" or a prefix such as "
                "\"198.51.100.0/24\""}));
}

TEST(SettingsDocument, ALongValueIsShownShortened) {
  const std::string value(5000, 'x');
  EXPECT_EQ(errors_of("{\"security_level\": \"" + value + "\"}"),
            Messages{"home.json:1: security_level: \"" + std::string(59, 'x') +
                     "...\" is not allowed; it must be \"off\", \"low\" or \"high\""});
}

TEST(SettingsDocument, ALineOfANumberIsItsOwn) {
  EXPECT_EQ(errors_of("{\"firewall\":\n{\"enabled\":\n1\n}\n}"),
            Messages{"home.json:3: firewall.enabled: 1 is not allowed; it must be true or false"});
}

TEST(SettingsDocument, SectionsComeOutInAFixedOrder) {
  EXPECT_EQ(
      settings::write(settings_of(
          R"({"route_qos": {"enabled": false}, "port_scan_protection": true, "firewall": {"enabled": true}})")),
      "{\n"
      "  \"firewall\": {\n"
      "    \"enabled\": true\n"
      "  },\n"
      "  \"port_scan_protection\": true,\n"
      "  \"route_qos\": {\n"
      "    \"enabled\": false\n"
      "  }\n"
      "}\n");
}

TEST(SettingsDocument, OnlyTheSectionsAskedForAreWritten) {
  const settings::Settings both =
      settings_of(R"({"firewall": {"enabled": true}, "vpn_pass_through": true})");
  EXPECT_EQ(settings::write(both, {"vpn_pass_through", "acl"}),
            "{\n  \"vpn_pass_through\": true\n}\n");
}

TEST(SettingsDocument, TheSectionsThatAreWrittenAreListed) {
  EXPECT_EQ(settings::section_names(),
            (std::vector<std::string>{"firewall", "port_scan_protection", "ipsec_pass_through",
                                      "vpn_pass_through", "ip_filter", "ip6_filter", "url_filter",
                                      "mac_filter", "mac6_filter", "dhcp_filter", "acl",
                                      "captive_portal", "route_qos"}));
}
