#include "management/rules/own_jumps.hpp"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string_view>

#include "executor/process.hpp"
#include "management/error.hpp"
#include "management/rules/chain_map.hpp"

namespace management {

namespace {

using Lines = std::vector<std::string>;

constexpr Family families[] = {Family::ipv4, Family::ipv6};

const char* tool_of(Family family) {
  return family == Family::ipv4 ? "iptables" : "ip6tables";
}

/* The filter table as the save tool prints it, a line each, rules without their counters. */
Lines saved_lines(Family family) {
  const executor::ProcessResult run =
      executor::run({std::string(tool_of(family)) + "-save", "-t", "filter", "-c"});
  if (run.status != 0) {
    throw Error(std::string(tool_of(family)) +
                "-save: cannot read the rules: " + run.errors.substr(0, run.errors.find('\n')));
  }
  Lines lines;
  std::istringstream text(run.output);
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line.starts_with('[') ? line.substr(line.find(' ') + 1) : line);
  }
  return lines;
}

/* "-A FORWARD " of "-A FORWARD -j forward_ext_ip"; empty where the line is no rule. */
std::string_view chain_part(std::string_view rule) {
  const size_t end = rule.starts_with("-A ") ? rule.find(' ', 3) : std::string_view::npos;
  return end == std::string_view::npos ? std::string_view() : rule.substr(0, end + 1);
}

std::string chain_of(std::string_view rule) {
  const std::string_view part = chain_part(rule);
  return part.empty() ? std::string() : std::string(part.substr(3, part.size() - 4));
}

/* The last word of "... -j TARGET". */
std::string target_of(const std::string& rule) {
  const size_t at = rule.rfind(" -j ");
  const std::string target = at == std::string::npos ? "" : rule.substr(at + 4);
  return target.find(' ') == std::string::npos ? target : "";
}

/* "-A input_ext_local_access_ex -i wan3 -j DROP" */
bool is_wan_drop(const std::string& rule) {
  constexpr std::string_view start = "-A input_ext_local_access_ex -i ";
  constexpr std::string_view end = " -j DROP";
  return rule.starts_with(start) && rule.ends_with(end) &&
         rule.size() > start.size() + end.size() &&
         rule.find(' ', start.size()) == rule.size() - end.size();
}

/* The rules of one chain, in order. */
Lines rules_of(const Lines& saved, const std::string& chain) {
  Lines rules;
  std::copy_if(saved.begin(), saved.end(), std::back_inserter(rules),
               [&](const std::string& line) { return chain_of(line) == chain; });
  return rules;
}

std::set<std::string> missing_chains(Family family, const Lines& saved) {
  const std::vector<std::string>& own = own_chains(family);
  std::set<std::string> missing(own.begin(), own.end());
  for (const std::string& line : saved) {
    if (line.starts_with(':')) {
      missing.erase(line.substr(1, line.find(' ') - 1));
    }
  }
  return missing;
}

size_t place_of(const Lines& rules, const std::string& rule) {
  return static_cast<size_t>(std::find(rules.begin(), rules.end(), rule) - rules.begin());
}

/* Where a jump belongs among the rules that its chain has now: behind the rule that it followed; without that rule
 * behind the jump in front of it, or else in front of the next jump that is there. */
size_t place_of_jump(const Lines& rules, const std::vector<Jump>& jumps, size_t number) {
  const Jump& jump = jumps[number];
  if (jump.after.empty()) {
    return 0;
  }
  if (const size_t at = place_of(rules, jump.after); at < rules.size()) {
    return at + 1;
  }
  for (size_t before = number; before-- > 0;) {
    if (const size_t at = place_of(rules, jumps[before].rule); at < rules.size()) {
      return at + 1;
    }
  }
  for (size_t next = number + 1; next < jumps.size(); ++next) {
    if (const size_t at = place_of(rules, jumps[next].rule); at < rules.size()) {
      return at;
    }
  }
  return rules.size();
}

/* Restore lines that insert those jumps which `is_lost` and are not there; one chain after the other. */
template <typename IsLost>
std::string inserted_jumps(const Lines& saved, const std::vector<Jump>& jumps, IsLost is_lost) {
  std::string lines;
  std::map<std::string, Lines> chains;
  for (size_t number = 0; number < jumps.size(); ++number) {
    const std::string& rule = jumps[number].rule;
    const std::string chain = chain_of(rule);
    Lines& rules = chains.try_emplace(chain, rules_of(saved, chain)).first->second;
    if (!is_lost(rule) || place_of(rules, rule) < rules.size()) {
      continue;
    }
    const size_t place = place_of_jump(rules, jumps, number);
    rules.insert(rules.begin() + static_cast<std::ptrdiff_t>(place), rule);
    lines += "-I " + chain + ' ' + std::to_string(place + 1) + ' ' +
             rule.substr(chain_part(rule).size()) + '\n';
  }
  return lines;
}

void restore_lines(Family family, const std::string& lines, const char* what,
                   std::vector<std::string>& problems) {
  const std::string tool = tool_of(family);
  const executor::ProcessResult made =
      executor::run({tool + "-restore", "--noflush", "-w", "5"}, "*filter\n" + lines + "COMMIT\n");
  if (made.status != 0) {
    problems.push_back(tool + ": " + what + ": " + made.errors.substr(0, made.errors.find('\n')));
  }
}

bool rebuild_chains(Family family, const JumpSnapshot& jumps, std::vector<std::string>& problems) {
  const Lines saved = saved_lines(family);
  const std::set<std::string> missing = missing_chains(family, saved);
  if (missing.empty()) {
    return false;
  }
  std::string lines;
  for (const std::string& chain : missing) {
    lines += ":" + chain + " - [0:0]\n";
  }
  lines += inserted_jumps(saved, jumps.of(family), [&](const std::string& rule) {
    return missing.contains(chain_of(rule)) || missing.contains(target_of(rule));
  });
  restore_lines(family, lines, "a missing chain cannot be made", problems);
  return true;
}

bool names_wan(const std::string& rule) {
  return rule.find(" -i ") != std::string::npos && rule.find(" -i br0 ") == std::string::npos;
}

bool restore_jumps(Family family, const JumpSnapshot& jumps, std::vector<std::string>& problems) {
  const Lines saved = saved_lines(family);
  const std::set<std::string> missing = missing_chains(family, saved);
  const bool has_wan_drop = std::any_of(saved.begin(), saved.end(), is_wan_drop);
  const std::string lines = inserted_jumps(saved, jumps.of(family), [&](const std::string& rule) {
    if (missing.contains(chain_of(rule)) || missing.contains(target_of(rule))) {
      return false;
    }
    return is_wan_drop(rule) ? !has_wan_drop : !names_wan(rule);
  });
  if (lines.empty()) {
    return false;
  }
  restore_lines(family, lines, "a missing jump cannot be made", problems);
  return true;
}

}  // namespace

std::vector<Jump>& JumpSnapshot::of(Family family) {
  return family == Family::ipv4 ? ipv4 : ipv6;
}

const std::vector<Jump>& JumpSnapshot::of(Family family) const {
  return family == Family::ipv4 ? ipv4 : ipv6;
}

JumpSnapshot read_own_jumps() {
  JumpSnapshot jumps;
  for (const Family family : families) {
    std::string before;
    for (const std::string& line : saved_lines(family)) {
      if (chain_of(line) != chain_of(before)) {
        before.clear();
      }
      if (is_own_jump(family, line)) {
        jumps.of(family).push_back({line, before});
      }
      before = line;
      jumps.has_dhcp_rules = jumps.has_dhcp_rules || chain_of(line) == "input_ext_dhcp";
    }
  }
  return jumps;
}

bool has_own_chains() {
  return missing_chains(Family::ipv4, saved_lines(Family::ipv4)).size() <
         own_chains(Family::ipv4).size();
}

bool is_own_jump(Family family, const std::string& rule) {
  return !chain_of(rule).empty() && rule.find('\n') == std::string::npos &&
         (is_own_chain(family, target_of(rule)) || is_wan_drop(rule));
}

bool rebuild_missing_chains(const JumpSnapshot& jumps, std::vector<std::string>& problems) {
  const bool ipv4 = rebuild_chains(Family::ipv4, jumps, problems);
  return rebuild_chains(Family::ipv6, jumps, problems) || ipv4;
}

bool restore_missing_jumps(const JumpSnapshot& jumps, std::vector<std::string>& problems) {
  const bool ipv4 = restore_jumps(Family::ipv4, jumps, problems);
  return restore_jumps(Family::ipv6, jumps, problems) || ipv4;
}

}  // namespace management
