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

/* What a generator makes of another list; the region is as before afterwards. */
template <typename Region>
std::vector<std::string> recorded_with(Region& region, const Region& list, int32_t (*generate)()) {
  const Region whole = region;
  region = list;
  std::vector<std::string> lines = recorded(generate);
  region = whole;
  return lines;
}

/* The lines that close a list, as the generators make them of empty white lists. */
std::vector<std::string> closing_lines() {
  l3_ip_filter ip = {};
  l3_ip6_filter ip6 = {};
  l3_url_filter url = {};
  l3_mac_filter mac = {};
  l3_dhcp_filter dhcp = {};
  ip.us_black_white = ip.ds_black_white = ip6.us_black_white = ip6.ds_black_white = 1;
  url.url_black_white = mac.mac_black_white = dhcp.dhcp_black_white = 1;
  // The access list closes a direction that has an entry.
  l3_acl acl = {};
  acl.count = 2;
  acl.entries[0].allocated = acl.entries[1].allocated = acl.entries[1].direction = 1;
  std::vector<std::string> acl_lines = recorded_with(fw_rules_table.acl, acl, config_fw_acl);
  std::vector<std::string> lines(acl_lines.begin() + acl.count, acl_lines.end());
  for (const std::vector<std::string>& more :
       {recorded_with(fw_rules_table.ip_filter, ip, config_fw_ip),
        recorded_with(fw6_rules_table.ip_filter, ip6, config_fw6_ip),
        recorded_with(fw_rules_table.url_filter, url, config_fw_url),
        recorded_with(fw_rules_table.mac_filter, mac, config_fw_mac),
        recorded_with(fw6_rules_table.mac_filter, mac, config_fw6_mac),
        recorded_with(fw_rules_table.dhcp_filter, dhcp, config_fw_dhcp),
        recorded_with(fw_rules_table.caporl, l3_caporl{}, config_fw_caporl)}) {
    lines.insert(lines.end(), more.begin(), more.end());
  }
  return lines;
}

Family family_of(const std::string& line) {
  return line.starts_with("ip6tables") ? Family::ipv6 : Family::ipv4;
}

Origin closing_origin(const std::string& line) {
  const Family family = family_of(line);
  const std::string chain = parse_rule(family, line).chain;
  return {section_of_chain(family, chain), closing_setting(family, chain), -1};
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
  const std::vector<std::string> closing = closing_lines();
  for (const std::string& line : recorded([&] {
         config_fw();
         config_fw6();
         if (has_dhcp_rules) {
           config_fw_dhcp();
         }
       })) {
    const bool is_closing = std::find(closing.begin(), closing.end(), line) != closing.end();
    lines.push_back({line, is_closing ? closing_origin(line) : Origin()});
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
  const Family family = family_of(line);
  ExpectedRule result{family, parse_rule(family, line), std::move(origin)};
  if (result.origin.section.empty()) {
    result.origin.section = result.origin.path = "port_scan_protection";
  }
  return result;
}

/* A line that makes no rule of an entry serves the section whose chain it names. */
Origin chain_origin(Family family, const std::string& line) {
  for (const std::string& chain : own_chains(family)) {
    if ((line + " ").find(" " + chain + " ") != std::string::npos) {
      const std::string section = section_of_chain(family, chain);
      return {section, section, -1};
    }
  }
  if (line.find(" FORWARD -p udp --sport ") != std::string::npos) {
    return {"ipsec_pass_through", "ipsec_pass_through", -1};
  }
  return {};
}

}  // namespace

std::vector<Origin> origins_of(const std::vector<std::string>& lines) {
  std::vector<RecordedLine> known;
  std::vector<Origin> origins;
  for (const std::string& line : lines) {
    const Family family = family_of(line);
    origins.push_back(chain_origin(family, line));
    if (line.find(" -A ") == std::string::npos) {
      continue;
    }
    if (known.empty()) {
      known = filter_lines(fw_rules_table.dhcp_filter.dhcp_mac_filter_ctrl != 0);
    }
    const Rule rule = parse_rule(family, line);
    const auto found = std::find_if(known.begin(), known.end(), [&](const RecordedLine& one) {
      return family_of(one.text) == family && !one.origin.section.empty() &&
             parse_rule(family, one.text) == rule;
    });
    if (found != known.end()) {
      origins.back() = found->origin;
    }
  }
  return origins;
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
