#include "management/rules/expected_rules.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <iterator>

#include "executor/executor.hpp"
#include "l3_advance/l3_advance.h"
#include "management/rules/chain_map.hpp"
#include "management/store/stored_settings.hpp"
#include "management/system/platform_info.hpp"
#include "management/system/redirect_output.hpp"

namespace management {

namespace {

/* What closes a list, and the setting that makes it do so. */
constexpr struct {
  const char* line;
  const char* section;
  const char* path;
} closing_rules[] = {
    {"iptables -A forward_ext_us_ip -j DROP", "ip_filter", "ip_filter.upstream"},
    {"iptables -A forward_ext_ds_ip -j DROP", "ip_filter", "ip_filter.downstream"},
    {"ip6tables -A forward_ext_us_ip -j DROP", "ip6_filter", "ip6_filter.upstream"},
    {"ip6tables -A forward_ext_ds_ip -j DROP", "ip6_filter", "ip6_filter.downstream"},
    {"iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP", "url_filter",
     "url_filter.mode"},
    {"iptables -A forward_ext_mac -i br0 -j DROP", "mac_filter", "mac_filter.mode"},
    {"ip6tables -A forward_ext_mac -i br0 -j DROP", "mac6_filter", "mac6_filter.mode"},
    {"iptables -A input_ext_dhcp -j DROP", "dhcp_filter", "dhcp_filter.mode"},
    {"iptables -A input_ext_us_acl -j DROP", "acl", "acl.enabled"},
    {"iptables -A input_ext_ds_acl -j DROP", "acl", "acl.enabled"},
    {"iptables -A forward_ext_captiveportal -j DROP", "captive_portal", "captive_portal.enabled"},
};

struct RecordedLine {
  std::string text;
  Origin origin;
};

template <typename Generate>
std::vector<std::string> recorded(Generate&& generate) {
  // What the library prints about a rule belongs to the change that makes the rule.
  const DiscardOutput discard;
  executor::work(executor::Way::record);
  const size_t before = executor::recorded_lines().size();
  generate();
  executor::work(executor::Way::direct);
  const std::vector<std::string>& lines = executor::recorded_lines();
  return {lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end()};
}

Origin closing_origin(const std::string& line) {
  for (const auto& closing : closing_rules) {
    if (line == closing.line) {
      return {closing.section, closing.path, -1};
    }
  }
  return {};
}

/* Which entry each rule comes from: every entry's rules are made once more, alone. */
template <typename Region>
void find_entries(std::vector<RecordedLine>& lines, Region& region, int32_t (*generate)(),
                  const std::string& path) {
  const Region whole = region;
  auto next = lines.begin();
  const int32_t count =
      std::min(whole.count, static_cast<int32_t>(std::size(decltype(whole.entries){})));
  for (int32_t i = 0; i < count; ++i) {
    region.count = 1;
    region.entries[0] = whole.entries[i];
    for (const std::string& text : recorded(generate)) {
      const auto found = std::find_if(next, lines.end(), [&](const RecordedLine& line) {
        return line.text == text && line.origin.section.empty();
      });
      if (found != lines.end()) {
        found->origin = {path.substr(0, path.find('.')), path + "[" + std::to_string(i) + "]", i};
        next = std::next(found);
      }
    }
  }
  region = whole;
}

/* The rules of all lists and of port-scan protection, as regeneration makes them. */
std::vector<RecordedLine> filter_lines(bool has_dhcp_rules) {
  std::vector<RecordedLine> lines;
  for (const std::string& line : recorded([&] {
         config_fw();
         config_fw6();
         if (has_dhcp_rules) {
           config_fw_dhcp();
         }
       })) {
    lines.push_back({line, closing_origin(line)});
  }
  find_entries(lines, fw_rules_table.ip_filter, config_fw_ip, "ip_filter.rules");
  find_entries(lines, fw6_rules_table.ip_filter, config_fw6_ip, "ip6_filter.rules");
  find_entries(lines, fw_rules_table.url_filter, config_fw_url, "url_filter.entries");
  find_entries(lines, fw_rules_table.mac_filter, config_fw_mac, "mac_filter.devices");
  find_entries(lines, fw6_rules_table.mac_filter, config_fw6_mac, "mac6_filter.devices");
  find_entries(lines, fw_rules_table.dhcp_filter, config_fw_dhcp, "dhcp_filter.devices");
  find_entries(lines, fw_rules_table.acl, config_fw_acl, "acl.entries");
  find_entries(lines, fw_rules_table.caporl, config_fw_caporl, "captive_portal.destinations");
  return lines;
}

/* The rules that name the Internet WAN: those that tell directions apart, and its drop. */
std::vector<std::string> binding_lines(const std::string& wan) {
  return recorded([&] { gl3_l3ctl_update_firewall(wan.c_str()); });
}

ExpectedRule wanted(const std::string& line, Origin origin) {
  const Family family = line.starts_with("ip6tables ") ? Family::ipv6 : Family::ipv4;
  ExpectedRule result{family, parse_rule(family, line), std::move(origin)};
  if (result.origin.section.empty()) {
    result.origin.section = result.origin.path = "port_scan_protection";
  }
  return result;
}

/* A line that makes no rule of an entry serves the section whose chain it names. */
Origin chain_origin(Family family, const std::string& line) {
  for (const OwnChain& chain : own_chains()) {
    if ((line + " ").find(std::string(" ") + chain.name + " ") == std::string::npos) {
      continue;
    }
    std::string section = chain.section;
    if (family == Family::ipv6 && (section == "ip_filter" || section == "mac_filter")) {
      section.insert(section.find('_'), "6");
    }
    return {section, section, -1};
  }
  if (line.find(" FORWARD -p udp --sport ") != std::string::npos) {
    return {"ipsec_pass_through", "ipsec_pass_through", -1};
  }
  return {};
}

}  // namespace

Origin origin_of(const std::string& line) {
  const Family family = line.starts_with("ip6tables") ? Family::ipv6 : Family::ipv4;
  if (line.find(" -A ") != std::string::npos) {
    const Rule rule = parse_rule(family, line);
    for (const RecordedLine& one :
         filter_lines(fw_rules_table.dhcp_filter.dhcp_mac_filter_ctrl != 0)) {
      if (one.text.substr(0, 4) == line.substr(0, 4) && !one.origin.section.empty() &&
          parse_rule(family, one.text) == rule) {
        return one.origin;
      }
    }
  }
  return chain_origin(family, line);
}

ExpectedRules expected_rules(const settings::Settings& stored, const std::string& bound_to) {
  ExpectedRules result;
  result.internet_wan = quietly(internet_wan_name);
  for (const Family family : {Family::ipv4, Family::ipv6}) {
    for (const Rule& hook : hooks(family)) {
      result.rules.push_back({family, hook, {"start-up", "start-up", -1}});
    }
  }
  if (!*stored.ipsec_pass_through) {
    for (const Rule& drop : ipsec_rules()) {
      result.rules.push_back(
          {Family::ipv4, drop, {"ipsec_pass_through", "ipsec_pass_through", -1}});
    }
  }
  const bool has_dhcp_rules = *stored.firewall && stored.dhcp_filter->dhcp_mac_filter_ctrl != 0;
  for (const RecordedLine& line : filter_lines(has_dhcp_rules)) {
    // The drop of the WAN comes with the binding, below.
    if (line.text.find(" -I input_ext_local_access_ex ") == std::string::npos) {
      result.rules.push_back(wanted(line.text, line.origin));
    }
  }
  // The library's binding reads the stored switches, and reading makes a file that is missing.
  if (stored_exists()) {
    const std::string& wan = result.internet_wan.empty() ? bound_to : result.internet_wan;
    for (const std::string& line : binding_lines(wan)) {
      const bool is_drop = line.find(" -I ") != std::string::npos;
      if (line.find(" -F ") == std::string::npos) {
        result.rules.push_back(
            wanted(line, is_drop ? Origin() : Origin{"wan", "Internet WAN", -1}));
      }
    }
  }
  return result;
}

}  // namespace management
