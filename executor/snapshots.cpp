#include "executor/snapshots.hpp"

#include <algorithm>
#include <utility>
#include <vector>

namespace executor {

namespace {

std::optional<std::string> checked_rules(const Table& table, Ended&& read) {
  if (read.status != 0) {
    return std::nullopt;
  }
  // A table that nothing has used yet is not shown by every tool: it is empty.
  if (read.output.find("\n*" + table.name + '\n') == std::string::npos) {
    return '*' + table.name + "\nCOMMIT\n";
  }
  if (read.output.find("\nCOMMIT\n") == std::string::npos) {
    return std::nullopt;
  }
  return std::move(read.output);
}

}  // namespace

void Snapshots::take(const Table& table) {
  Snapshot& snapshot = tables_[table];
  if (!snapshot.reading && !snapshot.rules) {
    // With the counters, so that putting back loses none.
    snapshot.reading = std::make_unique<Started>(
        std::vector<std::string>{table.tool + "-save", "-t", table.name, "-c"});
  }
}

const std::string* Snapshots::rules(const Table& table) {
  take(table);
  Snapshot& snapshot = tables_[table];
  if (snapshot.reading) {
    snapshot.rules = checked_rules(table, snapshot.reading->ended());
    snapshot.reading.reset();
  }
  return snapshot.rules ? &*snapshot.rules : nullptr;
}

void Snapshots::mark_changed(const Table& table) {
  tables_[table].is_changed = true;
}

bool Snapshots::is_changed(const Table& table) const {
  const auto found = tables_.find(table);
  return found != tables_.end() && found->second.is_changed;
}

void Snapshots::take_before(std::string_view line) {
  std::vector<Table> touched;
  if (const auto edit = rule_edit(line)) {
    touched = {edit->table};
  } else if (may_change_rules(line)) {
    touched = {{"iptables", "filter"}, {"ip6tables", "filter"}};
    // The other table of the library's lines. Reading it makes it, so it has to be named.
    for (const char* tool : {"iptables", "ip6tables"}) {
      if (line.find(tool) != std::string_view::npos && line.find("nat") != std::string_view::npos) {
        touched.push_back({tool, "nat"});
      }
    }
  }
  for (const Table& table : touched) {
    static_cast<void>(rules(table));
    mark_changed(table);
  }
}

std::string Snapshots::put_back() {
  std::string problems;
  for (auto& [table, snapshot] : tables_) {
    if (!snapshot.is_changed) {
      continue;
    }
    const std::string* before = rules(table);
    const Ended restored =
        before == nullptr
            ? Ended{.status = -1, .output = {}, .errors = "its rules could not be read before"}
            : run({table.tool + "-restore", "-c", "-w", "5"}, *before);
    if (restored.status != 0) {
      problems += table.tool + ", table " + table.name + ": " + restored.errors + '\n';
    }
    snapshot.is_changed = restored.status != 0;
  }
  return problems;
}

void Snapshots::forget() {
  for (auto& [table, snapshot] : tables_) {
    if (snapshot.reading) {
      snapshot.reading->forget();
    }
  }
  tables_.clear();
}

std::set<std::string> chains_in(std::string_view rules) {
  std::set<std::string> chains;
  for (std::size_t at = 0; at < rules.size();) {
    const std::size_t end = std::min(rules.find('\n', at), rules.size());
    const std::string_view line = rules.substr(at, end - at);
    if (line.starts_with(':')) {
      chains.emplace(line.substr(1, line.find(' ') - 1));
    }
    at = end + 1;
  }
  return chains;
}

}  // namespace executor
