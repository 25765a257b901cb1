#include "management/rules/chain_map.hpp"

#include <algorithm>

namespace management {

namespace {

constexpr OwnChain chains[] = {
    {"input_ext_access_ctrl", "access", false},
    {"input_ext_local_access", "port_scan_protection", false},
    {"input_ext_local_access_ex", "port_scan_protection", false},
    {"input_ext_acl", "", false},
    {"input_ext_us_acl", "acl", false},
    {"input_ext_ds_acl", "acl", false},
    {"input_ext_dhcp", "dhcp_filter", false},
    {"forward_ext_bad_tcp", "port_scan_protection", false},
    {"forward_ext_ip", "", true},
    {"forward_ext_us_ip", "ip_filter", true},
    {"forward_ext_ds_ip", "ip_filter", true},
    {"forward_ext_url", "url_filter", false},
    {"forward_ext_mac", "mac_filter", true},
    {"forward_ext_captiveportal", "captive_portal", false},
};

constexpr const char* ipv4_hooks[] = {
    "-A INPUT -j input_ext_local_access",
    "-A INPUT -p tcp --dport 80 -j input_ext_acl",
    "-A INPUT -p tcp --dport 21 -j input_ext_acl",
    "-A INPUT -p udp --dport 161 -j input_ext_acl",
    "-A INPUT -p tcp --dport 23 -j input_ext_acl",
    "-A INPUT -p icmp -j input_ext_acl",
    "-A INPUT -i br0 -p udp --dport 67 -j input_ext_dhcp",
    "-A FORWARD -p tcp -j forward_ext_bad_tcp",
    "-A FORWARD -j forward_ext_ip",
    "-A FORWARD -j forward_ext_url",
    "-A FORWARD -j forward_ext_mac",
    "-A FORWARD -i br0 -p tcp --dport 80 -j forward_ext_captiveportal",
};

constexpr const char* ipv6_hooks[] = {
    "-A FORWARD -j forward_ext_ip",
    "-A FORWARD -j forward_ext_mac",
};

constexpr const char* ipsec_drops[] = {
    "-A FORWARD -p udp --sport 500 --dport 500 -j DROP",
    "-A FORWARD -p udp --sport 4500 --dport 4500 -j DROP",
};

std::vector<Rule> parsed(Family family, std::span<const char* const> lines) {
  std::vector<Rule> rules;
  for (const char* line : lines) {
    rules.push_back(parse_rule(family, line));
  }
  return rules;
}

}  // namespace

std::span<const OwnChain> own_chains() {
  return chains;
}

const OwnChain* own_chain(Family family, const std::string& name) {
  const auto* found = std::find_if(std::begin(chains), std::end(chains), [&](const OwnChain& one) {
    return name == one.name && (family == Family::ipv4 || one.is_in_ipv6);
  });
  return found == std::end(chains) ? nullptr : found;
}

std::vector<Rule> hooks(Family family) {
  return family == Family::ipv4 ? parsed(family, ipv4_hooks) : parsed(family, ipv6_hooks);
}

std::vector<Rule> ipsec_rules() {
  return parsed(Family::ipv4, ipsec_drops);
}

}  // namespace management
