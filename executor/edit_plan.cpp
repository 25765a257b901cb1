#include "executor/edit_plan.hpp"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <list>
#include <utility>

#include "executor/common_places.hpp"
#include "executor/words.hpp"

namespace executor {

namespace {

using Rules = std::vector<SavedRule>;

/* Of longer lists not every pair is compared: more may then be edited than has to be. */
constexpr std::size_t most_pairs = 4'000'000;

/* A rule of the chain as it is to be. */
struct Entry {
  std::optional<std::size_t> old; /* the place of a rule that was never removed */
  const RuleEdit* edit = nullptr; /* of any other */
  std::string key;
  std::string counters; /* of the equal rule that it takes the place of */
};

bool is_place(const std::vector<std::string>& rest) {
  return !rest.empty() && !rest[0].empty() &&
         rest[0].find_first_not_of("0123456789") == std::string::npos;
}

/* The words of the rule, without the place of an insertion. */
std::vector<std::string> rule_words(const RuleEdit& edit) {
  const bool has_place = edit.operation == 'I' && is_place(edit.rest);
  return {edit.rest.begin() + (has_place ? 1 : 0), edit.rest.end()};
}

std::string key_of(const RuleEdit& edit) {
  RuleEdit rule = edit;
  rule.operation = 'A';
  rule.rest = rule_words(edit);
  return rule_key(family_of(edit.table), restore_line(rule));
}

bool is_zero(const std::string& counters) {
  return counters.empty() || counters == "[0:0]";
}

/* One chain: makes the edits in memory, then finds the least edits with the same result. */
class ChainPlan {
 public:
  ChainPlan(const Table& table, std::string chain, const SavedChain* now)
      : table_(table), chain_(std::move(chain)), exists_(now != nullptr) {
    if (now != nullptr) {
      old_ = now->rules;
    }
    for (std::size_t place = 0; place < old_.size(); ++place) {
      entries_.push_back({place, nullptr, old_[place].key, {}});
    }
  }

  [[nodiscard]] const std::string& chain() const { return chain_; }

  /* Returns whether the edit can be made. */
  bool make(const RuleEdit& edit) {
    if (edit.operation == 'N') {
      return !std::exchange(exists_, true);
    }
    asked_.push_back(&edit);
    switch (edit.operation) {
      case 'F':
        is_flushed_ = true;
        entries_.clear();
        return exists_;
      case 'D':
        return remove(key_of(edit));
      default:
        return add(edit);
    }
  }

  void plan(PlanOptions options, EditPlan& plan) {
    match();
    ChainChange change{.chain = chain_,
                       .kept = kept_.size(),
                       .added = entries_.size() - kept_.size(),
                       .removed = old_.size() - kept_.size()};
    const bool is_large = change.added + change.removed > entries_.size();
    const bool is_forced = options.refills || !is_deletable();
    carry_counters();
    if (change.added + change.removed == 0 && !options.refills) {
      // Nothing differs.
    } else if (is_flushed_ && !old_.empty() && (is_large || is_forced)) {
      change.is_refilled = true;
      add_refill(plan.edits);
    } else if (!is_flushed_ && (is_forced || (change.added + change.removed >= asked_.size() &&
                                              !carries_counters()))) {
      for (const RuleEdit* edit : asked_) {
        plan.edits.push_back(*edit);
      }
    } else {
      add_deletions(plan);
      add_additions(plan);
    }
    plan.changes.push_back(change);
  }

 private:
  bool remove(const std::string& key) {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const Entry& entry) { return entry.key == key; });
    if (found == entries_.end()) {
      return false;
    }
    entries_.erase(found);
    return exists_;
  }

  bool add(const RuleEdit& edit) {
    std::size_t place = entries_.size();
    if (edit.operation == 'I') {
      place = is_place(edit.rest) ? std::strtoul(edit.rest[0].c_str(), nullptr, 10) - 1 : 0;
    }
    if (place > entries_.size()) {
      return false;
    }
    entries_.insert(entries_.begin() + static_cast<std::ptrdiff_t>(place),
                    {std::nullopt, &edit, key_of(edit), {}});
    return exists_;
  }

  /* What is compared: a rule that no edit removed is equal to itself alone, which its number says. Another
   * takes the place of a removed one only where none of those comes between. */
  static std::string token(bool survives, std::size_t& survivors, const std::string& key) {
    survivors += survives ? 1 : 0;
    return std::to_string(survivors) + (survives ? "" : '\n' + key);
  }

  /* Finds the rules that stay where they are, from the end: of equal rules the first are then deleted. */
  void match() {
    survives_.assign(old_.size(), 0);
    is_old_kept_.assign(old_.size(), 0);
    is_kept_.assign(entries_.size(), 0);
    std::vector<std::string> after;
    std::vector<std::string> before;
    std::size_t survivors = 0;
    for (const Entry& entry : entries_) {
      if (entry.old) {
        survives_[*entry.old] = 1;
      }
      after.push_back(token(entry.old.has_value(), survivors, entry.key));
    }
    survivors = 0;
    for (std::size_t place = 0; place < old_.size(); ++place) {
      before.push_back(token(survives_[place] != 0, survivors, old_[place].key));
    }
    std::reverse(before.begin(), before.end());
    std::reverse(after.begin(), after.end());
    for (const auto& [old_place, place] : common_places(before, after, most_pairs)) {
      kept_.emplace_back(old_.size() - 1 - old_place, entries_.size() - 1 - place);
      is_old_kept_[kept_.back().first] = 1;
      is_kept_[kept_.back().second] = 1;
    }
  }

  /* Whether deletions by text remove what is not kept: one hits the first of several rules that the tool takes for it. In a list
   * that is too long to be compared even rules that stay are not found. */
  [[nodiscard]] bool is_deletable() const {
    for (std::size_t place = 0; place < old_.size(); ++place) {
      if (is_old_kept_[place] == 0 &&
          (survives_[place] != 0 || has_kept_look_alike_before(place))) {
        return false;
      }
    }
    return true;
  }

  [[nodiscard]] bool has_kept_look_alike_before(std::size_t place) const {
    return std::any_of(kept_.begin(), kept_.end(), [&](const auto& kept) {
      return kept.first < place &&
             is_deleted_for(family_of(table_), old_[place].key, old_[kept.first].key);
    });
  }

  /* Every rule of before that comes again keeps what it has counted: where it stands, or else in order. */
  void carry_counters() {
    for (const auto& [old_place, place] : kept_) {
      entries_[place].counters = old_[old_place].counters;
    }
    std::vector<char> is_taken = is_old_kept_;
    for (std::size_t place = 0; place < entries_.size(); ++place) {
      for (std::size_t old = 0; is_kept_[place] == 0 && old < old_.size(); ++old) {
        if (is_taken[old] == 0 && old_[old].key == entries_[place].key) {
          is_taken[old] = 1;
          entries_[place].counters = old_[old].counters;
          break;
        }
      }
    }
  }

  /* Whether a rule that is made anew has counters. */
  [[nodiscard]] bool carries_counters() const {
    for (std::size_t place = 0; place < entries_.size(); ++place) {
      if (is_kept_[place] == 0 && !is_zero(entries_[place].counters)) {
        return true;
      }
    }
    return false;
  }

  static RuleEdit addition(const Entry& entry, char operation, std::size_t place) {
    RuleEdit edit = *entry.edit;
    edit.operation = operation;
    edit.rest = rule_words(*entry.edit);
    edit.place = operation == 'I' ? place + 1 : 0;
    edit.counters = is_zero(entry.counters) ? "" : entry.counters;
    return edit;
  }

  void add_refill(std::vector<RuleEdit>& edits) const {
    const auto flush = std::find_if(asked_.begin(), asked_.end(),
                                    [](const RuleEdit* edit) { return edit->operation == 'F'; });
    edits.push_back(**flush);
    for (const Entry& entry : entries_) {
      edits.push_back(addition(entry, 'A', 0));
    }
  }

  /* Whether a deletion by its text finds the rule. ip6tables on the legacy backend takes a rule that was made
   * with "-p all" for another than one without, and saves both alike. */
  [[nodiscard]] bool is_found_by_text(const SavedRule& rule) const {
    return !is_flushed_ || family_of(table_) == Family::ipv4 ||
           rule.text.find(" -p ") != std::string::npos;
  }

  /* From the end, so that the places of the others hold. */
  void add_deletions(EditPlan& plan) {
    for (std::size_t place = 0; place < old_.size(); ++place) {
      deletes_by_place_ =
          deletes_by_place_ || (is_old_kept_[place] == 0 && !is_found_by_text(old_[place]));
    }
    for (std::size_t place = old_.size(); place-- > 0;) {
      if (is_old_kept_[place] != 0) {
        continue;
      }
      RuleEdit edit{.table = table_, .operation = 'D', .chain = chain_, .rest = {}, .line = {}};
      // saved_chains() has split it before.
      const auto words = words_of(old_[place].text, Quoting::saved);
      for (const Word& word : *words) {
        edit.rest.push_back(word.text);
      }
      edit.line = table_.tool + ' ' + restore_line(edit);
      edit.place = deletes_by_place_ ? place + 1 : 0;
      plan.edits.push_back(std::move(edit));
    }
  }

  void add_additions(EditPlan& plan) const {
    const auto last_kept = std::find(is_kept_.rbegin(), is_kept_.rend(), 1);
    const auto tail = static_cast<std::size_t>(is_kept_.rend() - last_kept);
    bool is_placed = deletes_by_place_;
    for (std::size_t place = 0; place < entries_.size(); ++place) {
      if (is_kept_[place] == 0) {
        const bool is_appended = place >= tail;
        is_placed = is_placed || (!is_appended && place > 0);
        plan.edits.push_back(addition(entries_[place], is_appended ? 'A' : 'I', place));
      }
    }
    if (is_placed && is_flushed_) {
      std::vector<std::string>& keys =
          plan.placed.emplace_back(chain_, std::vector<std::string>()).second;
      for (const Entry& entry : entries_) {
        keys.push_back(entry.key);
      }
    }
  }

  const Table& table_;
  std::string chain_;
  bool exists_;
  bool is_flushed_ = false;
  bool deletes_by_place_ = false;
  Rules old_;
  std::vector<Entry> entries_;
  std::vector<const RuleEdit*> asked_;
  std::vector<bool> survives_;    /* old rules that no edit removed */
  std::vector<char> is_old_kept_; /* old rules that stay in place */
  std::vector<char> is_kept_;     /* the same of the entries */
  std::vector<std::pair<std::size_t, std::size_t>> kept_;
};

}  // namespace

std::optional<EditPlan> plan_edits(std::span<const RuleEdit> edits, const SavedChains& now,
                                   PlanOptions options) {
  EditPlan plan;
  std::list<ChainPlan> chains;
  for (const RuleEdit& edit : edits) {
    auto chain = std::find_if(chains.begin(), chains.end(),
                              [&](const ChainPlan& one) { return one.chain() == edit.chain; });
    if (chain == chains.end()) {
      const auto found = now.find(edit.chain);
      chains.emplace_back(edit.table, edit.chain, found == now.end() ? nullptr : &found->second);
      chain = std::prev(chains.end());
    }
    if (!chain->make(edit)) {
      if (!options.ignores_missing || (edit.operation != 'N' && edit.operation != 'D')) {
        return std::nullopt;
      }
    } else if (edit.operation == 'N') {
      plan.edits.push_back(edit);  // before any rule leads there
    }
  }
  for (ChainPlan& chain : chains) {
    chain.plan(options, plan);
  }
  return plan;
}

std::set<std::string> chains_of(std::span<const RuleEdit> edits) {
  std::set<std::string> chains;
  for (const RuleEdit& edit : edits) {
    chains.insert(edit.chain);
  }
  return chains;
}

}  // namespace executor
