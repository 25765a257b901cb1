/* The rules as they were before a change, table by table, and the way back to them. */
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "executor/rule_edit.hpp"
#include "executor/spawn.hpp"
#include "executor/table_change.hpp"

namespace executor {

class Snapshots {
 public:
  /* How rules are compared at a rollback; by their text if this is never called. */
  void compare_by(NormalForm normal_form) { normal_form_ = normal_form; }

  /* Starts to read the table, unless that was done before. */
  void take(const Table& table);

  /* The table as a restore tool takes it; null where it could not be read. */
  [[nodiscard]] const std::string* rules(const Table& table);

  /* Why it could not be read. */
  [[nodiscard]] std::string problem(const Table& table);

  /* These edits of one table are handed to a tool now, whatever becomes of it. */
  void add(std::span<const RuleEdit> edits);
  [[nodiscard]] bool is_changed(const Table& table) const;

  /* What the table holds now is its snapshot from here on. */
  void renew(const Table& table) { tables_.erase(table); }

  /* Runs a line directly, between the reads that its rollback needs. Returns what run_directly() does. */
  int run(const char* line);

  /* Undoes what was done to every table, or to this one (table_change.hpp says how), until a read shows
   * that nothing of it is left. Returns what could not be undone, empty when all could. */
  [[nodiscard]] std::string put_back();
  [[nodiscard]] std::string put_back(const Table& table);

 private:
  /* What a line of unknown meaning did to a table. */
  struct Difference {
    std::string earlier;
    std::string later; /* empty where it could not be read */
  };

  struct Snapshot {
    std::unique_ptr<Started> reading; /* while it is being read */
    std::optional<std::string> rules;
    std::string problem;
    std::vector<std::variant<RuleEdit, Difference>> steps; /* of the change, in order */
  };

  int run_unknown(const char* line);
  [[nodiscard]] std::optional<TableChange> change(const Table& table,
                                                  const Snapshot& snapshot) const;
  [[nodiscard]] std::string undo(const Table& table, const TableChange& change) const;

  std::map<Table, Snapshot> tables_;
  NormalForm normal_form_ = [](const std::string&, const std::string& rule) { return rule; };
};

/* The names of a table's chains in its saved rules. */
[[nodiscard]] std::set<std::string> chains_in(std::string_view rules);

}  // namespace executor
