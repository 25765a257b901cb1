#include "executor/transaction.hpp"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

#include "executor/process.hpp"
#include "executor/refusal.hpp"

namespace executor {

namespace {

using Edits = std::span<const RuleEdit>;

/* Whether the edits that are held leave the answer to "is this rule there" as it is: in its chain they only
 * delete other rules. */
bool is_independent(const RuleEdit& edit, const std::vector<RuleEdit>& held) {
  return std::none_of(held.begin(), held.end(), [&](const RuleEdit& other) {
    return other.chain == edit.chain && (other.operation != 'D' || other.rest == edit.rest);
  });
}

/* Asks the live rules for the rule that an edit would delete. Ends with 1 where there is none. */
ProcessResult look_for(const RuleEdit& edit) {
  // Waits for other users of the packet filter: busy is no answer.
  std::vector<std::string> words = {edit.table.tool, "-w", "5",       "-t",
                                    edit.table.name, "-C", edit.chain};
  words.insert(words.end(), edit.rest.begin(), edit.rest.end());
  return run(words);
}

/* Whether the edits fail, or mean something else, if the chains were edited since they were read. */
bool depends_on_read(Edits edits) {
  return std::any_of(edits.begin(), edits.end(),
                     [](const RuleEdit& edit) { return edit.operation == 'D' || edit.place > 0; });
}

bool has_keys(const SavedChains& chains, const std::string& name,
              const std::vector<std::string>& keys) {
  const auto chain = chains.find(name);
  return chain != chains.end() &&
         std::equal(chain->second.rules.begin(), chain->second.rules.end(), keys.begin(),
                    keys.end(),
                    [](const SavedRule& rule, const std::string& key) { return rule.key == key; });
}

/* Like the shell's ">", but notices a full disk. Returns the error, empty if none. */
std::string write_file(const std::string& path, std::string_view text) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file == -1) {
    return "cannot open " + path + ": " + std::strerror(errno);
  }
  const bool is_written = write_all(file, text);
  const int error = errno;
  close(file);
  return is_written ? "" : "cannot write " + path + ": " + std::strerror(error);
}

}  // namespace

int Transaction::take(const char* line) {
  if (is_stopped_) {
    return exit_1;
  }
  if (const auto edit = rule_edit(line)) {
    return take_edit(*edit);
  }
  if (const auto save = rule_save(line)) {
    return take_save(*save);
  }
  return run_after_commit(line);
}

int Transaction::take_edit(const RuleEdit& edit) {
  switch (edit.operation) {
    case 'N':
      return take_new_chain(edit);
    case 'D':
      return take_deletion(edit);
    default:
      return hold(edit);
  }
}

int Transaction::take_save(const RuleSave& save) {
  if (const auto& earlier = held_[save.table].save; earlier && earlier->path != save.path) {
    if (!commit()) {
      return exit_1;
    }
  }
  Held& held = held_[save.table];
  held.save = save;
  held.edits_before_save = held.edits.size();
  return 0;
}

int Transaction::take_new_chain(const RuleEdit& edit) {
  const std::set<std::string>* known = chains(edit.table);
  if (known == nullptr) {
    return run_after_commit(edit.line.c_str());
  }
  if (known->contains(edit.chain)) {
    return runner_.result({edit.line, exit_1, edit.table.tool + ": Chain already exists.\n"});
  }
  chains_[edit.table].insert(edit.chain);
  return hold(edit);
}

int Transaction::take_deletion(const RuleEdit& edit) {
  if (!is_independent(edit, held_[edit.table].edits) && !commit()) {
    return exit_1;
  }
  const ProcessResult found = look_for(edit);
  if (found.status == 0) {
    return hold(edit);
  }
  if (found.status != exit_1 && on_refusal_ == OnRefusal::stop) {
    is_stopped_ = true;
  }
  return runner_.result({edit.line, found.status, found.errors});
}

int Transaction::hold(const RuleEdit& edit) {
  snapshots_.start_reading(edit.table);
  held_[edit.table].edits.push_back(edit);
  return 0;
}

int Transaction::run_after_commit(const char* line) {
  if (!commit()) {
    return exit_1;
  }
  chains_.clear();
  return snapshots_.run(line);
}

const std::set<std::string>* Transaction::chains(const Table& table) {
  if (const auto known = chains_.find(table); known != chains_.end()) {
    return &known->second;
  }
  if (!snapshots_.is_changed(table)) {
    const std::string* rules = snapshots_.rules(table);
    return rules == nullptr ? nullptr : &(chains_[table] = chains_in(*rules));
  }
  const ProcessResult read = run({table.tool + "-save", "-t", table.name});
  return read.status != 0 ? nullptr : &(chains_[table] = chains_in(read.output));
}

bool Transaction::commit() {
  for (const auto& [table, held] : std::exchange(held_, {})) {
    if (is_stopped_ || !make_held(held)) {
      return false;
    }
  }
  return !is_stopped_;
}

bool Transaction::make_held(const Held& held) {
  const Edits edits(held.edits);
  return make_edits(edits.first(held.edits_before_save)) &&
         (held.save ? make_save(*held.save) : check_places()) &&
         make_edits(edits.subspan(held.edits_before_save)) && check_places();
}

bool Transaction::make_edits(Edits edits) {
  if (edits.empty()) {
    return true;
  }
  const Table& table = edits.front().table;
  if (on_refusal_ == OnRefusal::continue_ && snapshots_.is_changed(table)) {
    // Earlier edits stay, also if these have to be undone.
    snapshots_.discard(table);
  }
  const std::set<std::string>* known = chains(table);
  if (known == nullptr || snapshots_.rules(table) == nullptr) {
    return stop_or_make_others(
        edits, {edits.front().line, exit_1, "cannot read the rules: " + snapshots_.problem(table)});
  }
  const auto lost = std::find_if(edits.begin(), edits.end(), [&](const RuleEdit& edit) {
    return !known->contains(edit.chain);
  });
  if (lost != edits.end()) {
    return stop_or_make_others(
        edits, {lost->line, exit_1, table.tool + ": No chain/target/match by that name.\n"});
  }
  return restore_least(edits);
}

/* Makes the edits that differ. Where another program has edited the chains since the read they can fail, or
 * put a rule in another place: then the chains are filled again. */
bool Transaction::restore_least(Edits edits) {
  const Table& table = edits.front().table;
  const std::set<std::string> names = chains_of(edits);
  const auto now = saved_chains(table, snapshots_.current_rules(table), &names);
  const auto plan = now ? plan_edits(edits, *now, {.refills = refills_}) : std::nullopt;
  const Edits least = plan ? Edits(plan->edits) : edits;
  if (least.empty()) {
    return true;
  }
  // Before the tool starts: it may be killed, or fail, after the kernel has made the edits.
  snapshots_.add(least);
  const ProcessResult ended = restore(least);
  if (ended.status == 0) {
    if (plan) {
      unchecked_ = {edits, plan->placed};
    }
    return true;
  }
  if (plan && WIFEXITED(ended.status) && depends_on_read(least)) {
    return refill(edits);
  }
  return stop_or_make_others(edits, refused_line(least, ended));
}

bool Transaction::refill(Edits edits) {
  const Table& table = edits.front().table;
  const std::set<std::string> names = chains_of(edits);
  const auto now = saved_chains(table, snapshots_.current_rules(table), &names);
  const auto plan = now ? plan_edits(edits, *now, {.refills = true}) : std::nullopt;
  const Edits all = plan ? Edits(plan->edits) : edits;
  snapshots_.add(all);
  const ProcessResult ended = restore(all);
  return ended.status == 0 || stop_or_make_others(edits, refused_line(all, ended));
}

/* Checks the rules that were inserted or deleted by their place, and fills their chains again where another
 * program had moved it. */
bool Transaction::check_places() {
  if (unchecked_.chains.empty()) {
    return true;
  }
  const Table& table = unchecked_.edits.front().table;
  const std::vector<RuleEdit> wrong = misplaced(snapshots_.current_rules(table));
  return wrong.empty() || refill(wrong);
}

/* The edits of the chains that do not hold what was asked for, by what a save tool wrote. */
std::vector<RuleEdit> Transaction::misplaced(std::string_view saved) {
  const Unchecked asked = std::exchange(unchecked_, {});
  const Table& table = asked.edits.front().table;
  const std::set<std::string> names = chains_of(asked.edits);
  const auto now = saved_chains(table, saved, &names);
  std::vector<RuleEdit> wrong;
  for (const auto& [name, keys] : asked.chains) {
    if (!now || !has_keys(*now, name, keys)) {
      std::copy_if(asked.edits.begin(), asked.edits.end(), std::back_inserter(wrong),
                   [&chain = name](const RuleEdit& edit) { return edit.chain == chain; });
    }
  }
  return wrong;
}

bool Transaction::stop_or_make_others(Edits edits, const FailedLine& refused) {
  if (on_refusal_ == OnRefusal::stop) {
    runner_.add_failure(refused);
    is_stopped_ = true;
    return false;
  }
  const Table& table = edits.front().table;
  if (const std::string problem = snapshots_.rollback(table); !problem.empty()) {
    runner_.add_failure({refused.line, refused.status, problem});
  }
  chains_.clear();
  snapshots_.add(edits);
  for (const RuleEdit& edit : edits) {
    runner_.run(edit.line.c_str());
  }
  return true;
}

/* What it reads also shows whether the edits before it did what was asked for. */
bool Transaction::make_save(const RuleSave& save) {
  const std::vector<std::string> command = {save.table.tool + "-save", "-t", save.table.name};
  ProcessResult read = run(command);
  if (!unchecked_.chains.empty()) {
    if (const auto wrong = misplaced(read.output); !wrong.empty()) {
      if (!refill(wrong)) {
        return false;
      }
      read = run(command);
    }
  }
  const std::string problem = read.status == 0 ? write_file(save.path, read.output) : read.errors;
  if (read.status == 0 && problem.empty()) {
    return true;
  }
  runner_.add_failure({save.line, read.status == 0 ? exit_1 : read.status, problem});
  is_stopped_ = on_refusal_ == OnRefusal::stop;
  return !is_stopped_;
}

}  // namespace executor
