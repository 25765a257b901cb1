/* The rules of each table before a change, and the rollback to them. */
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

#include "executor/line_runner.hpp"
#include "executor/process.hpp"
#include "executor/rule_edit.hpp"
#include "executor/table_change.hpp"

namespace executor {

class Snapshots {
 public:
  explicit Snapshots(LineRunner& runner) : runner_(runner) {}

  /* Starts to read the table, unless that was done before. */
  void start_reading(const Table& table);

  /* The table before the change, as a restore tool takes it; null where it could not be read. */
  [[nodiscard]] const std::string* rules(const Table& table);

  /* The table as it is now: read once more if it was changed. Empty if it cannot be read. */
  [[nodiscard]] std::string current_rules(const Table& table);

  /* Reads the table now. */
  [[nodiscard]] static std::optional<std::string> read(const Table& table, std::string& problem);

  /* Why it could not be read. */
  [[nodiscard]] std::string problem(const Table& table);

  /* Notes that a tool is given these edits of one table now, whether it makes them or fails. */
  void add(std::span<const RuleEdit> edits);
  [[nodiscard]] bool is_changed(const Table& table) const;

  /* Discards the snapshot of a table: the next one is what the table holds then. */
  void discard(const Table& table) { tables_.erase(table); }
  void clear() { tables_.clear(); }

  /* Runs a line, between the reads that its rollback needs. Returns what LineRunner::run() does. */
  int run(const char* line);

  /* Undoes what was done to every table, or to this one (table_change.hpp says how), until a read shows
   * that nothing of it is left. Returns what could not be undone, empty if nothing. */
  [[nodiscard]] std::string rollback();
  [[nodiscard]] std::string rollback(const Table& table);

  /* Undoes what made `later` of `earlier`, both as a save tool wrote the table. Returns what could not be undone, empty
   * if nothing. */
  [[nodiscard]] static std::string undo_difference(const Table& table, const std::string& earlier,
                                                   const std::string& later);

  /* Whether there is something to undo between the two. */
  [[nodiscard]] static bool is_difference(const Table& table, const std::string& earlier,
                                          const std::string& later);

 private:
  /* What a line that is no rule edit did to a table. */
  struct Difference {
    std::string earlier;
    std::string later; /* empty where it could not be read */
  };

  struct Snapshot {
    std::unique_ptr<Process> reading; /* while it is being read */
    std::optional<std::string> rules;
    std::string problem;
    std::vector<std::variant<RuleEdit, Difference>> steps; /* of the change, in order */
  };

  int run_other_line(const char* line);
  static std::optional<TableChange> change(const Table& table, const Snapshot& snapshot);
  static std::string undo(const Table& table, const TableChange& change);

  LineRunner& runner_;
  std::map<Table, Snapshot> tables_;
};

/* The names of a table's chains in its saved rules. */
[[nodiscard]] std::set<std::string> chains_in(std::string_view rules);

}  // namespace executor
