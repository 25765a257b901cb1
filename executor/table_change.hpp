/*
 * What a transaction changed in one table, and the edits that undo exactly that.
 *
 * Other programs edit the same table at any time. A rollback therefore compares three states of every
 * chain that the transaction edited: the rules before, the transaction's own edits, and the rules now.
 *
 *   a rule of before that is missing now   comes back if the transaction removed it; another program's
 *                                          deletion stays
 *   a rule that was not there before       is deleted if the transaction added it; another program's
 *                                          stays, also inside a chain that the transaction filled
 *   a rule of before that is there         stays; its counters come back if it was made anew
 *
 * An edit counts from the moment in which it is handed to a tool. Whether the tool made it is read from
 * the kernel at the rollback, since a tool that was killed, or that failed, may have made it all the same.
 * The undoing edits name rules by their text, so that an edit of another program between the read and the
 * restore makes the restore fail, which is then repeated, but never hits another rule. What cannot be
 * told: a rule of a flushed chain that another program added or deleted between the first read and the flush.
 */
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "executor/rule_edit.hpp"
#include "executor/saved_table.hpp"

namespace executor {

/* How to undo a change. */
struct Undo {
  std::string edits;            /* lines for a restore tool; empty when there is nothing to undo */
  std::set<std::string> chains; /* those that the edits restore */
  std::set<std::string>
      impossible; /* those whose rules cannot come back: they were deleted since */
};

class TableChange {
 public:
  TableChange(Table table, SavedChains before)
      : table_(std::move(table)), before_(std::move(before)) {}

  /* The transaction hands this edit to a tool. */
  void add(const RuleEdit& edit);

  /* A command line of unknown meaning, which was run between two reads of the table, did this. */
  void add_difference(const SavedChains& earlier, const SavedChains& later);

  [[nodiscard]] const SavedChains& before() const { return before_; }

  /* What undoes the transaction's edits in a table that holds `now`. */
  [[nodiscard]] Undo undo(const SavedChains& now) const;

 private:
  struct Edited {
    std::set<std::size_t> removed;    /* places of the earlier rules */
    std::multiset<std::string> added; /* keys */
    bool is_created = false;
    bool is_deleted = false;
    std::string policy; /* what the transaction made it; empty where it did not */
  };

  void remove(const std::string& chain, const SavedRule& rule);
  void add_chain_difference(const std::string& chain, const SavedChain* earlier,
                            const SavedChain* later);
  void undo_chain(const std::string& chain, const Edited& edited, SavedChains& now,
                  Undo& undo) const;

  Table table_;
  SavedChains before_;
  std::map<std::string, Edited> edited_;
};

}  // namespace executor
