/* A table as a save tool prints it. */
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "executor/rule_edit.hpp"

namespace executor {

struct SavedRule {
  std::string text;     /* what follows "-A CHAIN", with its leading space */
  std::string key;      /* equal for equal rules, see rule.hpp */
  std::string counters; /* "[12:840]", packets and bytes */
};

struct SavedChain {
  std::string policy;   /* "-" for a chain that is not the kernel's own */
  std::string counters; /* of its policy */
  std::vector<SavedRule> rules;
};

using SavedChains = std::map<std::string, SavedChain>;

/* The chains in a table's saved rules (with counters). Nothing if the text is not complete, or if a line
 * is not understood. With `only`, the rules of other chains are not looked at. */
[[nodiscard]] std::optional<SavedChains> saved_chains(const Table& table, std::string_view saved,
                                                      const std::set<std::string>* only = nullptr);

}  // namespace executor
