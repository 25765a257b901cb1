#include "management/rules/rule_changes.hpp"

#include <map>
#include <set>

#include "executor/saved_table.hpp"
#include "executor/snapshots.hpp"

namespace management {

std::vector<RuleChange> rule_changes(const std::vector<std::string>& lines) {
  std::map<executor::Table, std::vector<executor::RuleEdit>> tables;
  for (const std::string& line : lines) {
    if (const auto edit = executor::rule_edit(line)) {
      tables[edit->table].push_back(*edit);
    }
  }
  std::vector<RuleChange> changes;
  for (const auto& [table, edits] : tables) {
    std::string problem;
    const std::set<std::string> names = executor::chains_of(edits);
    const auto rules = executor::Snapshots::read(table, problem);
    const auto now = rules ? executor::saved_chains(table, *rules, &names) : std::nullopt;
    const auto plan =
        now ? executor::plan_edits(edits, *now, {.ignores_missing = true}) : std::nullopt;
    if (!plan) {
      continue;
    }
    for (const executor::ChainChange& change : plan->changes) {
      if (change.kept + change.added + change.removed > 0) {
        changes.push_back({executor::family_of(table), table.name, change});
      }
    }
  }
  return changes;
}

std::string in_words(const RuleChange& change) {
  const executor::ChainChange& chain = change.chain;
  std::string text = std::string(family_name(change.family)) + ' ' +
                     (change.table == "filter" ? "" : change.table + ' ') + chain.chain + ": " +
                     std::to_string(chain.kept) + (chain.kept == 1 ? " rule kept" : " rules kept");
  if (chain.added > 0) {
    text += ", " + std::to_string(chain.added) + " added";
  }
  if (chain.removed > 0) {
    text += ", " + std::to_string(chain.removed) + " removed";
  }
  return text + (chain.is_refilled ? ", by a refill of the chain" : "");
}

}  // namespace management
