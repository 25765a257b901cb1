#include "management/rules/live_rules.hpp"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <sstream>

#include "executor/process.hpp"
#include "management/error.hpp"
#include "management/system/find_tool.hpp"

namespace management {

namespace {

const char* save_tool(Family family) {
  return family == Family::ipv4 ? "iptables-save" : "ip6tables-save";
}

/* "[12:840]" at a place of a line; moves the place behind it. */
bool read_counters(const std::string& line, size_t& at, Counters& counters) {
  int length = 0;
  if (std::sscanf(line.c_str() + at, "[%" SCNu64 ":%" SCNu64 "]%n", &counters.packets,
                  &counters.bytes, &length) != 2 ||
      length == 0) {
    return false;
  }
  at += static_cast<size_t>(length);
  return true;
}

/* ":INPUT ACCEPT [0:0]" */
bool read_chain(const std::string& line, LiveTable& table) {
  std::istringstream words(line.substr(1));
  LiveChain chain;
  std::string counters;
  words >> chain.name >> chain.policy >> counters;
  size_t at = 0;
  if (!read_counters(counters, at, chain.counters)) {
    return false;
  }
  if (chain.policy == "-") {
    chain.policy.clear();
  }
  table.chains.push_back(chain);
  return true;
}

/* "[12:840] -A INPUT -j DROP" */
bool read_rule(const std::string& line, LiveTable& table) {
  LiveRule live;
  size_t at = 0;
  if (!read_counters(line, at, live.counters)) {
    return false;
  }
  live.rule = parse_rule(table.family, line.substr(at));
  const auto chain = std::find_if(table.chains.begin(), table.chains.end(),
                                  [&](const auto& one) { return one.name == live.rule.chain; });
  if (chain == table.chains.end()) {
    return false;
  }
  chain->rules.push_back(std::move(live));
  return true;
}

}  // namespace

const LiveChain* LiveTable::find(const std::string& name) const {
  const auto found = std::find_if(chains.begin(), chains.end(),
                                  [&](const LiveChain& chain) { return chain.name == name; });
  return found == chains.end() ? nullptr : &*found;
}

LiveTable parse_live(Family family, const std::string& text) {
  LiveTable table{family, {}};
  std::istringstream lines(text);
  bool is_complete = text.empty();
  for (std::string line; std::getline(lines, line);) {
    is_complete = is_complete || line == "COMMIT";
    const bool is_remark = line.empty() || line[0] == '#' || line == "*filter" || line == "COMMIT";
    if (!is_remark && !(line[0] == ':' ? read_chain(line, table) : read_rule(line, table))) {
      throw Error(std::string(save_tool(family)) + " says what is not understood: " + line);
    }
  }
  if (!is_complete) {
    throw Error(std::string(save_tool(family)) + " stopped in the middle of its answer");
  }
  return table;
}

LiveTable read_live(Family family) {
  const std::string tool = save_tool(family);
  const executor::ProcessResult run = executor::run({tool, "-c", "-t", "filter"});
  if (!run.is_started && tool_path(tool).empty()) {
    throw Error(how_to_supply({tool}));
  }
  if (!run.is_started) {
    throw Error("cannot start " + run.errors);
  }
  if (run.status != 0) {
    throw Error(tool + " ended with " + std::to_string(run.exit_status()) + ": " +
                run.errors.substr(0, run.errors.find('\n')));
  }
  return parse_live(family, run.output);
}

}  // namespace management
