/*
 * The edits that a transaction hands to the kernel, in place of those that the library asked for.
 *
 * The library flushes a chain and appends all its rules for any change. That would reset the counters of
 * every rule, and on nft each removal waits in the kernel. So the edits are made on the table as it was
 * read, in memory, and each chain is compared with what it was:
 *
 *   equal                        nothing is edited
 *   few rules differ             they alone are deleted, by their text where they can be, and inserted or appended
 *   as many as the chain has     the chain is flushed and filled, as it was asked for
 *
 * A rule that stood in the chain before keeps its counters, also if it is made anew. The chain has the same
 * rules in the same order either way. A chain that the library does not flush is never flushed: rules of
 * other programs in it keep their places.
 */
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "executor/rule_edit.hpp"
#include "executor/saved_table.hpp"

namespace executor {

/* What becomes of one chain. */
struct ChainChange {
  std::string chain;
  std::size_t kept = 0;
  std::size_t added = 0;
  std::size_t removed = 0;
  bool is_refilled =
      false; /* flushed and filled; rules that were there before count as kept all the same */
};

struct EditPlan {
  std::vector<RuleEdit> edits; /* empty where nothing differs */
  std::vector<ChainChange> changes;
  /* Chains in which a rule is inserted or deleted by its place, and the keys that they must have then:
   * another program may have moved the place since the read. */
  std::vector<std::pair<std::string, std::vector<std::string>>> placed;
};

struct PlanOptions {
  bool refills = false; /* chains that are flushed are filled again, whatever they hold */
  bool ignores_missing =
      false; /* deletions of rules that are not there, and chains that are, are left out */
};

/* The plan for edits of one table that holds `now`. Nothing if the edits cannot be made on it, such as the
 * deletion of a rule that is not there: then the tool is handed the edits as they are, and may refuse one. */
[[nodiscard]] std::optional<EditPlan> plan_edits(std::span<const RuleEdit> edits,
                                                 const SavedChains& now, PlanOptions options = {});

/* The chains that the edits change. */
[[nodiscard]] std::set<std::string> chains_of(std::span<const RuleEdit> edits);

}  // namespace executor
