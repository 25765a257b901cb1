/* The text as a whole: JSON, sections, unknown and repeated keys. */
#include "reading.hpp"

namespace {

constexpr const char* known_sections =
    "unknown; known here: time_zone, firewall, security_level, port_scan_protection, "
    "ipsec_pass_through, "
    "vpn_pass_through, ip_filter, ip6_filter, url_filter, mac_filter, mac6_filter, dhcp_filter, "
    "acl, "
    "captive_portal, route_qos";

}  // namespace

TEST(SettingsDocument, AnEmptyObjectSetsNothing) {
  const settings::Settings none = settings_of("{}");
  EXPECT_EQ(settings::write(none), "{}\n");
}

TEST(SettingsDocument, WhatIsNoJsonIsToldWithItsLineAndColumn) {
  EXPECT_EQ(
      errors_of("{\n  \"firewall\": {\"enabled\": true"),
      Messages{"home.json:2:31: no JSON: syntax error while parsing object - unexpected end of "
               "input; expected '}'"});
  EXPECT_EQ(errors_of("{} {}"),
            Messages{"home.json:1:4: no JSON: syntax error while parsing value - "
                     "unexpected '{'; expected end of input"});
  // Columns count characters: "\u00e4\u00f6" are four bytes.
  EXPECT_EQ(errors_of("{\"\u00e4\u00f6\": }"),
            Messages{"home.json:1:8: no JSON: syntax error while parsing value - unexpected '}'; "
                     "expected '[', '{', or a literal"});
}

TEST(SettingsDocument, AnEmptyFileIsToldAsSuch) {
  for (const char* text : {"", "\n", " \t\r\n\n"}) {
    EXPECT_EQ(errors_of(text), Messages{"home.json:1: the file is empty"}) << text;
  }
}

TEST(SettingsDocument, YamlIsToldAsSuch) {
  const std::string what =
      "looks like YAML; settings are JSON, such as {\"firewall\": {\"enabled\": true}}";
  EXPECT_EQ(errors_of("firewall:\n  enabled: true\n"), Messages{"home.json:1: " + what});
  EXPECT_EQ(errors_of("---\nfirewall:\n  enabled: true\n"), Messages{"home.json:1: " + what});
  EXPECT_EQ(errors_of("# at home\n\nvpn_pass_through: true\n"), Messages{"home.json:3: " + what});
  EXPECT_EQ(errors_of("vpn_pass_through: true\r\n"), Messages{"home.json:1: " + what});
  // No YAML: a URL, a bare word, and JSON with a colon.
  EXPECT_TRUE(errors_of("https://example.com/").at(0).starts_with("home.json:1:1: no JSON: "));
  EXPECT_TRUE(errors_of("firewall").at(0).starts_with("home.json:1:2: no JSON: "));
  EXPECT_TRUE(errors_of("{firewall: true}").at(0).starts_with("home.json:1:3: no JSON: "));
}

TEST(SettingsDocument, ACommentIsToldAsSuch) {
  const std::string what = "comments are not allowed in JSON";
  EXPECT_EQ(errors_of("// at home\n{}"), Messages{"home.json:1:1: " + what});
  EXPECT_EQ(errors_of("{\n  /* at home */\n}"), Messages{"home.json:2:3: " + what});
  EXPECT_EQ(errors_of("{\"port_scan_protection\": true, // why\n}"),
            Messages{"home.json:1:32: " + what});
  EXPECT_EQ(errors_of("{\"port_scan_protection\": true // why\n}"),
            Messages{"home.json:1:31: " + what});
  EXPECT_EQ(errors_of("{} # why"), Messages{"home.json:1:4: " + what});
  EXPECT_EQ(errors_of("# at home\n{}"), Messages{"home.json:1:1: " + what});
  // Inside a string it is no comment.
  EXPECT_TRUE(errors_of("{\"\\x//\": 1}").at(0).starts_with("home.json:1:4: no JSON: "));
  EXPECT_TRUE(errors_of("{\"\\u12//\": 1}").at(0).find("comment") == std::string::npos);
}

TEST(SettingsDocument, ATrailingCommaIsToldAsSuch) {
  EXPECT_EQ(errors_of("{\n  \"firewall\": {\"enabled\": true},\n}"),
            Messages{"home.json:2:32: trailing comma before '}'"});
  EXPECT_EQ(errors_of("{\"acl\": {\"entries\": [{} , ]}}"),
            Messages{"home.json:1:25: trailing comma before ']'"});
  EXPECT_EQ(errors_of("{},\n"), Messages{"home.json:1:3: trailing comma at the end"});
  // No comma too many: a comma too early.
  EXPECT_TRUE(errors_of("[,1]").at(0).starts_with("home.json:1:2: no JSON: "));
}

TEST(SettingsDocument, BytesThatAreNoTextAreRefused) {
  EXPECT_EQ(
      errors_of("{\n\"\xff\": 1}"),
      Messages{"home.json:2:2: no JSON: syntax error while parsing object key - invalid string: "
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
            (std::vector<std::string>{"time_zone", "firewall", "port_scan_protection",
                                      "ipsec_pass_through", "vpn_pass_through", "ip_filter",
                                      "ip6_filter", "url_filter", "mac_filter", "mac6_filter",
                                      "dhcp_filter", "acl", "captive_portal", "route_qos"}));
}
