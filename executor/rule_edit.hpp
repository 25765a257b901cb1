/* The command lines that a transaction understands. */
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "executor/rule.hpp"

namespace executor {

/* One table of one address family. */
struct Table {
  std::string tool; /* iptables or ip6tables */
  std::string name; /* filter, nat */
  auto operator<=>(const Table&) const = default;
};

[[nodiscard]] Family family_of(const Table& table);

/* One change of a chain: -A, -D, -F, -I or -N. */
struct RuleEdit {
  Table table;
  char operation;
  std::string chain;
  std::vector<std::string> rest; /* what follows the chain's name */
  std::string line;              /* all of it, as it was given */
  std::string counters = {};     /* "[12:840]", which the rule starts with; empty for zero */
  std::size_t place = 0;         /* of an insertion, or of a rule to delete, from 1; 0 for none */
};

/* One table's rules, written to a file. */
struct RuleSave {
  Table table;
  std::string path;
  std::string line;
};

/* Nothing for a line that is anything else, or that holds a word which this does not know: such a
 * line is for the shell. */
[[nodiscard]] std::optional<RuleEdit> rule_edit(std::string_view line);
[[nodiscard]] std::optional<RuleSave> rule_save(std::string_view line);

/* Whether a line that is neither may change rules. */
[[nodiscard]] bool may_change_rules(std::string_view line);

/* The edit as a line of a restore tool's input. */
[[nodiscard]] std::string restore_line(const RuleEdit& edit);

}  // namespace executor
