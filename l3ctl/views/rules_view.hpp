/* The rules beside those that the settings expect: for people, for programs, and as a picture. */
#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "l3ctl/context.hpp"
#include "management/rules/drift.hpp"

namespace l3ctl {

/* Packets that each rule had counted, by family, chain and rule. */
using Counted = std::map<std::string, uint64_t>;

Counted counted(const RuleComparison& comparison);

struct TreeOptions {
  bool has_counters = false;
  const Counted* before = nullptr; /* counters that moved since are marked */
};

/* The tree of chains, a rule a line, columns aligned. */
std::string rules_tree(const RuleComparison& comparison, const TreeOptions& options);

nlohmann::ordered_json rules_json(const RuleComparison& comparison);
nlohmann::ordered_json drifts_json(const std::vector<Drift>& drifts);

/* The chains and the jumps between them in the language of dot(1). */
std::string rules_dot(const RuleComparison& comparison);

}  // namespace l3ctl
