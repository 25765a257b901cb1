/*
 * The rule edits of a whole change, committed together: one restore for each family and table, which
 * the kernel makes as a whole or not at all. Only what differs is edited (edit_plan.hpp).
 *
 * A deletion, or a new chain, can fail where that is no problem; in a restore it would fail all edits. So
 * the transaction looks at the live rules before it holds one. A save is made when its table is committed,
 * and only the last of several. Any other line commits what is held, then runs in a shell.
 */
#pragma once

#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "executor/edit_plan.hpp"
#include "executor/line_runner.hpp"
#include "executor/rule_edit.hpp"
#include "executor/snapshots.hpp"

namespace executor {

class Transaction {
 public:
  Transaction(LineRunner& runner, Snapshots& snapshots, OnRefusal on_refusal, bool refills)
      : runner_(runner), snapshots_(snapshots), on_refusal_(on_refusal), refills_(refills) {}

  /* Takes one line. Returns its wait status, 0 for one that is held. */
  int take(const char* line);

  /* Makes the edits that are held. Returns false where a refusal, now or earlier, stopped it. */
  bool commit();

  void set_on_refusal(OnRefusal on_refusal) { on_refusal_ = on_refusal; }

 private:
  struct Held {
    std::vector<RuleEdit> edits;
    std::optional<RuleSave> save;
    std::size_t edits_before_save = 0;
  };

  /* Edits of one table that were made, and the chains in which some were made by place (EditPlan::placed). */
  struct Unchecked {
    std::span<const RuleEdit> edits;
    std::vector<std::pair<std::string, std::vector<std::string>>> chains;
  };

  /* Each takes one kind of line, and returns its wait status. */
  int take_edit(const RuleEdit& edit);
  int take_save(const RuleSave& save);
  int take_new_chain(const RuleEdit& edit);
  int take_deletion(const RuleEdit& edit);
  int hold(const RuleEdit& edit);
  int run_after_commit(const char* line);
  const std::set<std::string>* chains(const Table& table);

  /* These return false where a refusal stopped the transaction. With OnRefusal::continue_ they return true:
   * the refused lines are then among the failed ones. */
  bool make_held(const Held& held);
  bool make_edits(std::span<const RuleEdit> edits);
  bool restore_least(std::span<const RuleEdit> edits);
  bool refill(std::span<const RuleEdit> edits);
  bool check_places();
  std::vector<RuleEdit> misplaced(std::string_view saved);
  bool make_save(const RuleSave& save);
  bool stop_or_make_others(std::span<const RuleEdit> edits, const FailedLine& refused);

  LineRunner& runner_;
  Snapshots& snapshots_;
  OnRefusal on_refusal_;
  bool refills_; /* flushed chains are filled, whatever they hold */
  bool is_stopped_ = false;
  std::map<Table, Held> held_;
  Unchecked unchecked_; /* between a restore and the next read of its table */
  std::map<Table, std::set<std::string>> chains_; /* with the edits that are held */
};

}  // namespace executor
