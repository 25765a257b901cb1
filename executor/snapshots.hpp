/* The rules as they were before a change, table by table. */
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "executor/rule_edit.hpp"
#include "executor/spawn.hpp"

namespace executor {

class Snapshots {
 public:
  /* Starts to read the table, unless that was done before. */
  void take(const Table& table);

  /* The table as a restore tool takes it; null where it could not be read. */
  [[nodiscard]] const std::string* rules(const Table& table);

  /* The table counts as changed from now on. */
  void mark_changed(const Table& table);
  [[nodiscard]] bool is_changed(const Table& table) const;

  /* Reads the tables that the line may change, and marks them. */
  void take_before(std::string_view line);

  /* Nothing was read yet. What is being read belongs to the process that this one was forked off. */
  void forget();

  /* Makes every changed table what it was. Returns what could not be put back, empty when all
   * could. */
  [[nodiscard]] std::string put_back();

 private:
  struct Snapshot {
    std::unique_ptr<Started> reading; /* while it is being read */
    std::optional<std::string> rules;
    bool is_changed = false;
  };
  std::map<Table, Snapshot> tables_;
};

/* The names of a table's chains in its saved rules. */
[[nodiscard]] std::set<std::string> chains_in(std::string_view rules);

}  // namespace executor
