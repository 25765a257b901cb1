/*
 * The rule edits of a whole change, committed together: one restore for each family and table, which
 * the kernel makes as a whole or not at all.
 *
 * A line that may fail harmlessly would fail a whole restore, so it is answered from the live rules
 * at once. A save is put off until its table is committed, and of several the last alone is made.
 * Any other line commits what is held and runs directly.
 */
#pragma once

#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "executor/failed_line.hpp"
#include "executor/rule_edit.hpp"
#include "executor/snapshots.hpp"

namespace executor {

class Transaction {
 public:
  Transaction(Snapshots& snapshots, OnRefusal on_refusal)
      : snapshots_(snapshots), on_refusal_(on_refusal) {}

  /* Takes one line. Returns its wait status, 0 for one that is held. */
  int take(const char* line);

  /* Makes what is held so far. Returns false where a refusal, now or earlier, has stopped it. */
  bool commit();

  void on_refusal(OnRefusal what) { on_refusal_ = what; }

 private:
  struct Held {
    std::vector<RuleEdit> edits;
    std::optional<RuleSave> save;
    std::size_t edits_before_save = 0;
  };

  /* Each takes one kind of line, and returns its wait status. */
  int take_edit(const RuleEdit& edit);
  int take_save(const RuleSave& save);
  int take_new_chain(const RuleEdit& edit);
  int take_deletion(const RuleEdit& edit);
  int hold(const RuleEdit& edit);
  int run_after_commit(const char* line);
  const std::set<std::string>* chains(const Table& table);

  /* These return whether to go on. That is so after a refusal too where the transaction passes over
   * them: what was refused is then among the failed lines. */
  bool make_held(const Held& held);
  bool make_edits(std::span<const RuleEdit> edits);
  bool make_save(const RuleSave& save);
  bool stop_or_make_others(std::span<const RuleEdit> edits, const FailedLine& refused);

  Snapshots& snapshots_;
  OnRefusal on_refusal_;
  bool is_broken_ = false;
  std::map<Table, Held> held_;
  std::map<Table, std::set<std::string>> chains_; /* as they are with what is held */
};

}  // namespace executor
