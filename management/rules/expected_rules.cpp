#include "management/rules/expected_rules.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <iterator>

#include "executor/system.hpp"
#include "l3_advance/l3_advance.h"
#include "management/rules/chain_map.hpp"
#include "management/store/sections.hpp"
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
  executor::system_executor().set_mode(executor::Mode::record);
  const size_t before = executor::system_executor().recorded_lines().size();
  generate();
  executor::system_executor().set_mode(executor::Mode::execute);
  const std::vector<std::string>& lines = executor::system_executor().recorded_lines();
  return {lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end()};
}

/* While it lives, the library has another list in memory. */
class KeepMemory {
 public:
  explicit KeepMemory(const SectionList& list) : list_(list), whole_(list.memory()) {}
  KeepMemory(const KeepMemory&) = delete;
  KeepMemory& operator=(const KeepMemory&) = delete;
  ~KeepMemory() { list_.set_memory(whole_); }
  void restore() { list_.set_memory(whole_); }

 private:
  const SectionList& list_;
  Bytes whole_;
};

/* The lines that close a list, as the generators make them of lists without entries. */
std::vector<std::string> closing_lines() {
  std::vector<std::string> lines;
  for (const Section& section : sections()) {
    if (section.list != nullptr) {
      const KeepMemory memory(*section.list);
      const size_t entries = section.list->close();
      const std::vector<std::string> more = recorded(section.list->generate);
      lines.insert(lines.end(), more.begin() + static_cast<std::ptrdiff_t>(entries), more.end());
    }
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
void find_entries(std::vector<RecordedLine>& lines, const Section& section) {
  KeepMemory memory(*section.list);
  const std::string path = std::string(section.name) + "." + section.list->entries;
  auto next = lines.begin();
  const size_t used = section.list->used_in_memory();
  for (size_t i = 0; i < used; ++i) {
    section.list->keep_only(i);
    for (const std::string& text : recorded(section.list->generate)) {
      const auto found = std::find_if(next, lines.end(), [&](const RecordedLine& line) {
        return line.text == text && line.origin.section.empty();
      });
      if (found != lines.end()) {
        found->origin = {section.name, path + "[" + std::to_string(i) + "]", static_cast<int>(i)};
        next = std::next(found);
      }
    }
    memory.restore();
  }
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
  for (const Section& section : sections()) {
    if (section.list != nullptr) {
      find_entries(lines, section);
    }
  }
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
    for (const Rule& hook : entry_jumps(family)) {
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
