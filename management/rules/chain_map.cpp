#include "management/rules/chain_map.hpp"

#include <algorithm>
#include <string_view>

#include "src/firewall/base/chain_tree.hpp"

namespace management {

namespace {

/* Whose rules a chain holds, and the setting that closes its list. */
constexpr struct {
  const char* chain;
  const char* section;
  const char* closing;
} sections[] = {
    {access_chain, "access", ""},
    {"input_ext_local_access", "port_scan_protection", ""},
    {"input_ext_local_access_ex", "port_scan_protection", ""},
    {"forward_ext_bad_tcp", "port_scan_protection", ""},
    {"input_ext_us_acl", "acl", "enabled"},
    {"input_ext_ds_acl", "acl", "enabled"},
    {"input_ext_dhcp", "dhcp_filter", "mode"},
    {"forward_ext_us_ip", "ip_filter", "upstream"},
    {"forward_ext_ds_ip", "ip_filter", "downstream"},
    {"forward_ext_url", "url_filter", "mode"},
    {"forward_ext_mac", "mac_filter", "mode"},
    {"forward_ext_captiveportal", "captive_portal", "enabled"},
};

const char* tool_of(Family family) {
  return family == Family::ipv4 ? "iptables " : "ip6tables ";
}

/* What stands behind `start` in each command of the tree that begins with it. */
std::vector<std::string> commands_after(const std::string& start) {
  std::vector<std::string> rest;
  for (const std::string_view command : l3::chain_tree) {
    if (command.starts_with(start)) {
      rest.emplace_back(command.substr(start.size()));
    }
  }
  return rest;
}

const auto* find_section(const std::string& chain) {
  const auto* found = std::find_if(std::begin(sections), std::end(sections),
                                   [&](const auto& one) { return chain == one.chain; });
  return found == std::end(sections) ? nullptr : found;
}

/* A filter of both families has a section for each. */
std::string with_family(Family family, std::string section) {
  if (family == Family::ipv6) {
    section.insert(section.find('_'), "6");
  }
  return section;
}

std::vector<Rule> parsed(Family family, const std::vector<std::string>& lines) {
  std::vector<Rule> rules;
  for (const std::string& line : lines) {
    rules.push_back(parse_rule(family, line));
  }
  return rules;
}

}  // namespace

bool is_own_chain(Family family, const std::string& name) {
  const auto& chains = own_chains(family);
  return std::find(chains.begin(), chains.end(), name) != chains.end();
}

const std::vector<std::string>& own_chains(Family family) {
  static const std::vector<std::string> ipv4 = commands_after("iptables -N ");
  static const std::vector<std::string> ipv6 = commands_after("ip6tables -N ");
  return family == Family::ipv4 ? ipv4 : ipv6;
}

std::string section_of_chain(Family family, const std::string& chain) {
  const auto* found = find_section(chain);
  return found == nullptr ? "" : with_family(family, found->section);
}

std::string closing_setting(Family family, const std::string& chain) {
  const auto* found = find_section(chain);
  return found == nullptr || *found->closing == '\0'
             ? ""
             : with_family(family, found->section) + "." + found->closing;
}

std::vector<std::string> entry_jump_lines(Family family) {
  std::vector<std::string> lines;
  const std::string tool = tool_of(family);
  for (const char* chain : {"INPUT ", "FORWARD "}) {
    // Inserted at the top, whenever that happens.
    for (const char* verb : {"-I ", "-A "}) {
      for (const std::string& rest : commands_after(tool + verb + chain)) {
        lines.push_back(std::string("-A ") + chain + rest);
      }
    }
  }
  return lines;
}

std::vector<Rule> entry_jumps(Family family) {
  return parsed(family, entry_jump_lines(family));
}

std::vector<std::string> ipsec_lines() {
  return {"-A FORWARD -p udp --sport 500 --dport 500 -j DROP",
          "-A FORWARD -p udp --sport 4500 --dport 4500 -j DROP"};
}

std::vector<Rule> ipsec_rules() {
  return parsed(Family::ipv4, ipsec_lines());
}

}  // namespace management
