#include "executor/saved_table.hpp"

#include <algorithm>

#include "executor/rule.hpp"
#include "executor/words.hpp"

namespace executor {

namespace {

/* ":FORWARD ACCEPT [7:420]" */
void add_chain(SavedChains& chains, std::string_view line) {
  const std::size_t policy = line.find(' ') + 1;
  const std::size_t counters = line.find(' ', policy) + 1;
  chains[std::string(line.substr(1, policy - 2))] = {
      .policy = std::string(line.substr(policy, counters - policy - 1)),
      .counters = std::string(line.substr(counters)),
      .rules = {}};
}

/* "[0:0] -A FORWARD -j DROP" */
bool add_rule(SavedChains& chains, const Table& table, std::string_view line,
              const std::set<std::string>* only) {
  const std::size_t start = line.starts_with('[') ? line.find(' ') + 1 : 0;
  if (!line.substr(start).starts_with("-A ")) {
    return false;
  }
  const std::size_t name = start + std::string_view("-A ").size();
  const std::size_t rest = std::min(line.find(' ', name), line.size());
  const std::string rule(line.substr(start));
  const auto chain = chains.find(std::string(line.substr(name, rest - name)));
  if (chain == chains.end()) {
    return false;
  }
  if (only != nullptr && !only->contains(chain->first)) {
    return true;
  }
  if (!words_of(line, Quoting::saved)) {
    return false;
  }
  chain->second.rules.push_back(
      {.text = std::string(line.substr(rest)),
       .key = rule_key(family_of(table), rule),
       .counters = std::string(line.substr(0, start == 0 ? 0 : start - 1))});
  return true;
}

}  // namespace

std::optional<SavedChains> saved_chains(const Table& table, std::string_view saved,
                                        const std::set<std::string>* only) {
  SavedChains chains;
  bool is_complete = false;
  for (std::size_t at = 0; at < saved.size();) {
    const std::size_t end = std::min(saved.find('\n', at), saved.size());
    const std::string_view line = saved.substr(at, end - at);
    if (line.starts_with(':')) {
      add_chain(chains, line);
    } else if (line == "COMMIT") {
      is_complete = true;
    } else if (!line.empty() && line[0] != '#' && line[0] != '*' &&
               !add_rule(chains, table, line, only)) {
      return std::nullopt;
    }
    at = end + 1;
  }
  return is_complete ? std::optional(std::move(chains)) : std::nullopt;
}

}  // namespace executor
