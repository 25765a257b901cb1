#include "executor/snapshots.hpp"

#include <sys/wait.h>

#include <algorithm>
#include <utility>

namespace executor {

namespace {

/* Restores of a table before its rollback counts as failed. Each follows a read, and one more read checks the last. */
constexpr int attempts = 3;

std::vector<std::string> save_command(const Table& table) {
  // With the counters, so that a rollback loses none.
  return {table.tool + "-save", "-t", table.name, "-c"};
}

std::string first_line(const std::string& text) {
  return text.substr(0, text.find('\n'));
}

/* Why a tool failed: its own message if it has one. */
std::string why(const std::string& tool, const ProcessResult& ended) {
  if (!ended.errors.empty()) {
    return first_line(ended.errors);
  }
  return tool + (WIFSIGNALED(ended.status)
                     ? " was ended by signal " + std::to_string(WTERMSIG(ended.status))
                     : " ended with " + std::to_string(WEXITSTATUS(ended.status)));
}

/* The rules that a save tool wrote; without them `problem` says why. */
std::optional<std::string> checked_rules(const Table& table, ProcessResult&& read,
                                         std::string& problem) {
  if (read.status != 0) {
    problem = why(table.tool + "-save", read);
    return std::nullopt;
  }
  // A table that nothing has used yet is not shown by every tool: it is empty.
  if (read.output.find("\n*" + table.name + '\n') == std::string::npos) {
    return '*' + table.name + "\nCOMMIT\n";
  }
  if (read.output.find("\nCOMMIT\n") == std::string::npos) {
    problem = table.tool + "-save: its output is incomplete";
    return std::nullopt;
  }
  return std::move(read.output);
}

/* The tables that a line may change that is no rule edit. */
std::vector<Table> touched_by(std::string_view line) {
  if (!may_change_rules(line)) {
    return {};
  }
  std::vector<Table> tables = {{"iptables", "filter"}, {"ip6tables", "filter"}};
  // The other table of the library's lines. To read it would make the kernel create it, so the line has to name it.
  for (const char* tool : {"iptables", "ip6tables"}) {
    if (line.find(tool) != std::string_view::npos && line.find("nat") != std::string_view::npos) {
      tables.push_back({tool, "nat"});
    }
  }
  return tables;
}

std::string listed(const std::set<std::string>& chains) {
  std::string text;
  for (const std::string& chain : chains) {
    text += (text.empty() ? "" : ", ") + chain;
  }
  return text;
}

}  // namespace

void Snapshots::start_reading(const Table& table) {
  Snapshot& snapshot = tables_[table];
  if (!snapshot.reading && !snapshot.rules) {
    snapshot.reading = std::make_unique<Process>(save_command(table));
  }
}

const std::string* Snapshots::rules(const Table& table) {
  start_reading(table);
  Snapshot& snapshot = tables_[table];
  if (snapshot.reading) {
    snapshot.rules = checked_rules(table, snapshot.reading->wait(), snapshot.problem);
    snapshot.reading.reset();
  }
  return snapshot.rules ? &*snapshot.rules : nullptr;
}

std::string Snapshots::current_rules(const Table& table) {
  std::string problem;
  if (is_changed(table)) {
    return read(table, problem).value_or("");
  }
  const std::string* before = rules(table);
  return before == nullptr ? "" : *before;
}

std::optional<std::string> Snapshots::read(const Table& table, std::string& problem) {
  return checked_rules(table, executor::run(save_command(table)), problem);
}

std::string Snapshots::problem(const Table& table) {
  return tables_[table].problem;
}

void Snapshots::add(std::span<const RuleEdit> edits) {
  auto& steps = tables_[edits.front().table].steps;
  steps.insert(steps.end(), edits.begin(), edits.end());
}

bool Snapshots::is_changed(const Table& table) const {
  const auto found = tables_.find(table);
  return found != tables_.end() && !found->second.steps.empty();
}

int Snapshots::run(const char* line) {
  const auto edit = rule_edit(line);
  if (!edit) {
    return run_other_line(line);
  }
  static_cast<void>(rules(edit->table));
  add({&*edit, 1});
  return runner_.run(line);
}

int Snapshots::run_other_line(const char* line) {
  const std::vector<Table> touched = touched_by(line);
  std::string problem;
  std::vector<Difference> differences;
  for (const Table& table : touched) {
    static_cast<void>(rules(table));
    differences.push_back({.earlier = read(table, problem).value_or(""), .later = {}});
  }
  const int status = runner_.run(line);
  for (std::size_t place = 0; place < touched.size(); ++place) {
    differences[place].later = read(touched[place], problem).value_or("");
    tables_[touched[place]].steps.emplace_back(std::move(differences[place]));
  }
  return status;
}

std::string Snapshots::rollback() {
  std::string problems;
  for (const auto& [table, snapshot] : tables_) {
    if (const std::string problem = rollback(table); !problem.empty()) {
      problems += (problems.empty() ? "" : "; ") + problem;
    }
  }
  return problems;
}

std::string Snapshots::rollback(const Table& table) {
  if (!is_changed(table)) {
    return {};
  }
  Snapshot& snapshot = tables_[table];
  const auto done = change(table, snapshot);
  const std::string problem = done ? undo(table, *done) : ": its rules could not be read before";
  if (problem.empty()) {
    snapshot.steps.clear();
    return {};
  }
  return table.tool + ", table " + table.name + problem;
}

/* Nothing where a read failed that this needs. */
std::optional<TableChange> Snapshots::change(const Table& table, const Snapshot& snapshot) {
  auto before = snapshot.rules ? saved_chains(table, *snapshot.rules) : std::nullopt;
  if (!before) {
    return std::nullopt;
  }
  TableChange change(table, std::move(*before));
  for (const auto& step : snapshot.steps) {
    if (const auto* edit = std::get_if<RuleEdit>(&step)) {
      change.add(*edit);
      continue;
    }
    const auto& difference = std::get<Difference>(step);
    const auto earlier = saved_chains(table, difference.earlier);
    const auto later = saved_chains(table, difference.later);
    if (!earlier || !later) {
      return std::nullopt;
    }
    change.add_difference(*earlier, *later);
  }
  return change;
}

std::string Snapshots::undo_difference(const Table& table, const std::string& earlier,
                                       const std::string& later) {
  Snapshot snapshot;
  snapshot.rules = earlier;
  snapshot.steps.emplace_back(Difference{earlier, later});
  const auto done = change(table, snapshot);
  const std::string problem = done ? undo(table, *done) : ": its rules cannot be understood";
  return problem.empty() ? "" : table.tool + ", table " + table.name + problem;
}

bool Snapshots::is_difference(const Table& table, const std::string& earlier,
                              const std::string& later) {
  const auto before = saved_chains(table, earlier);
  const auto after = saved_chains(table, later);
  if (!before || !after) {
    return earlier != later;
  }
  TableChange change(table, *before);
  change.add_difference(*before, *after);
  return !change.undo(*after).edits.empty();
}

/* Returns what could not be undone, in which chains and why; empty when all could. */
std::string Snapshots::undo(const Table& table, const TableChange& change) {
  std::string problem;
  std::string chains;
  for (int attempt = 0; attempt <= attempts; ++attempt) {
    const auto rules = read(table, problem);
    const auto now = rules ? saved_chains(table, *rules) : std::nullopt;
    if (!now) {
      continue;
    }
    const Undo undo = change.undo(*now);
    if (!undo.impossible.empty()) {
      chains = ", chain " + listed(undo.impossible);
      problem = "another program deleted it";
    }
    if (undo.edits.empty()) {
      if (undo.impossible.empty()) {
        return {};
      }
      break;
    }
    if (attempt == attempts) {
      break;
    }
    const ProcessResult restored =
        executor::run({table.tool + "-restore", "-c", "--noflush", "-w", "5"},
                      '*' + table.name + '\n' + undo.edits + "COMMIT\n");
    if (restored.status == 0 && undo.impossible.empty()) {
      return {};
    }
    if (restored.status != 0) {
      chains = ", chain " + listed(undo.chains);
      problem = why(table.tool + "-restore", restored);
    }
  }
  return chains + ": " + problem;
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
