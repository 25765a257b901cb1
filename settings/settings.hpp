/*
 * Settings as people write them, JSON in words, and as the library takes them, region images. Nothing
 * here calls the library: a text is checked as a whole, and only a text without a fault becomes
 * settings. docs/settings.md describes every key.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "l3_advance/records.h"

namespace settings {

enum class SecurityLevel : uint8_t { off = 0, low = 1, high = 2 };

/* What a text says; a section that it leaves out is not here either. */
struct Settings {
  std::optional<bool> firewall;
  std::optional<SecurityLevel> security_level; /* never written: the next two switches say it */
  std::optional<bool> port_scan_protection;
  std::optional<bool> ipsec_pass_through;
  std::optional<bool> vpn_pass_through;
  std::optional<l3_ip_filter> ip_filter;
  std::optional<l3_ip6_filter> ip6_filter;
  std::optional<l3_url_filter> url_filter;
  std::optional<l3_mac_filter> mac_filter;
  std::optional<l3_mac_filter> mac6_filter;
  std::optional<l3_dhcp_filter> dhcp_filter;
  std::optional<l3_acl> acl;
  std::optional<l3_caporl> captive_portal;
  std::optional<bool> route_qos_enabled;
  std::optional<l3_qos_rules> route_qos_rules;
};

struct Reading {
  Settings settings; /* complete only when there are no errors */
  std::vector<std::string> errors;
  std::vector<std::string> warnings;
};

/* Reads a whole text; `source` names it in the messages. */
Reading read(std::string_view text, const std::string& source);

/* Writes the sections that are there, or of these only the named ones where any is named, in a fixed
 * order, as text that read() takes. A stored value that read() would refuse is written as it is,
 * so that it can be seen and mended. */
std::string write(const Settings& settings, const std::vector<std::string>& only = {});

/* The rules of route QoS as settings write them: bytes in hexadecimal, zero bytes at the end left out. */
std::string qos_rules_text(const l3_qos_rules& rules);

/* The sections of a settings text, in the order in which write() puts them. */
const std::vector<std::string>& section_names();

}  // namespace settings
