#include "management/change/start_again.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "executor/process.hpp"
#include "executor/rule_edit.hpp"
#include "executor/system.hpp"
#include "l3_advance/firewall.h"
#include "l3_advance/internet_wan.h"
#include "l3_advance/rule_set.h"
#include "l3_advance/shell_command.h"
#include "management/rules/chain_map.hpp"
#include "management/rules/live_bindings.hpp"
#include "management/rules/live_rules.hpp"

namespace management {

namespace {

using executor::RuleEdit;

constexpr const char* builtin_chains[] = {"INPUT", "FORWARD"};

bool is_in_builtin_chain(const RuleEdit& edit) {
  return edit.table.name == "filter" &&
         std::find(std::begin(builtin_chains), std::end(builtin_chains), edit.chain) !=
             std::end(builtin_chains);
}

void run(const std::string& line) {
  str_system(line.c_str());
}

std::string command_line(const RuleEdit& edit) {
  return edit.table.tool + " " + executor::restore_line(edit);
}

/* One family's INPUT or FORWARD. */
struct BuiltinChain {
  Family family;
  std::string tool;
  std::string name;
  std::vector<std::string>
      own_rules;               /* those that stand in it, as "-j forward_ext_ip"; duplicates too */
  std::optional<size_t> place; /* of the first of them, from 1 */
};

/* The rules of INPUT and FORWARD that start-up may have made, as lines of a restore tool. */
std::vector<std::string> own_lines(Family family) {
  std::vector<std::string> lines = entry_jump_lines(family);
  if (family == Family::ipv4) {
    const std::vector<std::string> drops = ipsec_lines();
    lines.insert(lines.end(), drops.begin(), drops.end());
  }
  return lines;
}

BuiltinChain read_chain(const LiveTable& table, const char* name) {
  BuiltinChain chain{.family = table.family,
                     .tool = table.family == Family::ipv4 ? "iptables" : "ip6tables",
                     .name = name,
                     .own_rules = {},
                     .place = {}};
  const LiveChain* live = table.find(name);
  const size_t count = live == nullptr ? 0 : live->rules.size();
  const std::string start = std::string("-A ") + name + " ";
  for (size_t i = 0; i < count; ++i) {
    for (const std::string& line : own_lines(table.family)) {
      if (line.starts_with(start) && parse_rule(table.family, line) == live->rules[i].rule) {
        chain.own_rules.push_back(line.substr(start.size()));
        chain.place = chain.place.value_or(i + 1);
      }
    }
  }
  return chain;
}

std::vector<BuiltinChain> read_chains() {
  std::vector<BuiltinChain> chains;
  for (const Family family : {Family::ipv4, Family::ipv6}) {
    const LiveTable table = read_live(family);
    for (const char* name : builtin_chains) {
      chains.push_back(read_chain(table, name));
    }
  }
  return chains;
}

/* Duplicates of all chains go first. The transaction commits them when the first of their rules is deleted
 * for the last time, so those rules follow before any other: no packet meets a chain without its jumps. */
void delete_own_rules(const std::vector<BuiltinChain>& chains) {
  std::vector<std::string> last;
  for (const BuiltinChain& chain : chains) {
    for (const std::string& rule : chain.own_rules) {
      const std::string line = chain.tool + " -D " + chain.name + " " + rule;
      const auto first = std::find(last.begin(), last.end(), line);
      if (first == last.end()) {
        last.push_back(line);
      } else {
        run(line);
        std::rotate(last.begin(), first, first + 1);
      }
    }
  }
  for (const std::string& line : last) {
    run(line);
  }
}

/* Appends or inserts a rule of start-up where our rules stood before. */
void add_own_rule(RuleEdit edit, std::vector<BuiltinChain>& chains) {
  const auto chain = std::find_if(chains.begin(), chains.end(), [&](const BuiltinChain& one) {
    return one.tool == edit.table.tool && one.name == edit.chain;
  });
  if (chain->place) {
    edit.operation = 'I';
    edit.rest.insert(edit.rest.begin(), std::to_string((*chain->place)++));
  }
  run(command_line(edit));
}

/* The command lines of start-up; what start-up stores and hands to the platform is done for real. */
std::vector<std::string> start_up_lines(Change& change) {
  std::vector<std::string> lines;
  change.without_rules([&] {
    change.call("firewall", gl3_web_init_fw);
    lines = executor::system_executor().recorded_lines();
  });
  return lines;
}

bool is_restore(const std::string& line) {
  return line.find("-restore ") != std::string::npos;
}

/* What start-up does besides rules, such as "mkdir"; it would end a transaction half-way. */
void run_other_lines(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) {
    if (!executor::rule_edit(line) && !executor::rule_save(line) && !is_restore(line)) {
      run(line);
    }
  }
}

void make_chains(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) {
    if (const auto edit = executor::rule_edit(line); edit && edit->operation == 'N') {
      run(line);
    }
  }
}

void make_rules(const std::vector<std::string>& lines, std::vector<BuiltinChain>& chains) {
  for (const std::string& line : lines) {
    const auto edit = executor::rule_edit(line);
    if (!edit || edit->operation == 'N') {
      continue;
    }
    if (is_in_builtin_chain(*edit)) {
      add_own_rule(*edit, chains);
    } else {
      run(line);
    }
  }
}

/* IPv6 rules come from the records, not from their save file, whose restore would remove the rules of
 * others. Start-up makes no IPv4 rules where a save file is missing. */
void make_rules_of_records(Change& change, const std::vector<std::string>& lines) {
  if (std::none_of(lines.begin(), lines.end(), is_restore)) {
    change.call("IPv4 rules", config_fw);
  }
  change.call("IPv6 rules", config_fw6);
}

/* The interface that the live rules take for the Internet WAN; empty where there is none. */
std::string bound_wan() {
  const LiveBindings live = read_live_bindings();
  for (const auto* names : {&live.ip_filter, &live.ip6_filter, &live.acl}) {
    if (!names->empty()) {
      return names->front();
    }
  }
  return "";
}

bool has_jump_from_builtin_chain(const std::string& rules, const std::string& chain) {
  const std::string jump = " -j " + chain + "\n";
  for (size_t at = rules.find(jump); at != std::string::npos; at = rules.find(jump, at + 1)) {
    const size_t start = rules.rfind('\n', at) + 1;
    const std::string line = rules.substr(start, at + 1 - start);
    if (line.find("-A INPUT ") != std::string::npos ||
        line.find("-A FORWARD ") != std::string::npos) {
      return true;
    }
  }
  return false;
}

}  // namespace

bool is_started() {
  for (const Family family : {Family::ipv4, Family::ipv6}) {
    const char* tool = family == Family::ipv4 ? "iptables-save" : "ip6tables-save";
    const std::string rules = "\n" + executor::run({tool, "-t", "filter", "-c"}).output;
    for (const std::string& chain : own_chains(family)) {
      if (chain != access_chain && has_jump_from_builtin_chain(rules, chain)) {
        return true;
      }
    }
  }
  return false;
}

void start_again(Change& change) {
  std::vector<BuiltinChain> chains = read_chains();
  const std::string wan = bound_wan();
  const std::vector<std::string> lines = start_up_lines(change);
  const bool is_on = *change.stored().firewall;

  run_other_lines(lines);
  quietly([&] {
    make_chains(lines);
    delete_own_rules(chains);
  });
  change.call("IPv4 rules", flush_fw);
  change.call("IPv6 rules", flush_fw6);
  change.call("WAN binding", gl3_l3ctl_clear_firewall);
  quietly([&] { make_rules(lines, chains); });
  if (is_on) {
    make_rules_of_records(change, lines);
  }
  if (!wan.empty()) {
    // Without the rules that start-up itself has made for the WAN.
    change.call("WAN binding", gl3_l3ctl_clear_firewall);
    change.call("WAN binding", [&] { return gl3_l3ctl_update_firewall(wan.c_str()); });
  }
  // Last of all, so that a transaction makes the rules of a table at once.
  if (is_on) {
    change.call("IPv4 save file", save_fw);
    change.call("IPv6 save file", save_fw6);
  }
}

}  // namespace management
