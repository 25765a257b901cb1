/* What a change does to the chains in the kernel. */
#pragma once

#include <string>
#include <vector>

#include "executor/edit_plan.hpp"
#include "management/rules/rule.hpp"

namespace management {

struct RuleChange {
  Family family = Family::ipv4;
  std::string table;
  executor::ChainChange chain;
};

/* The chains that these command lines change, by the live rules; nothing of a table that cannot be read, and of
 * lines that the live rules do not allow. */
std::vector<RuleChange> rule_changes(const std::vector<std::string>& lines);

/* "IPv4 forward_ext_url: 3 rules kept, 1 added" */
std::string in_words(const RuleChange& change);

}  // namespace management
