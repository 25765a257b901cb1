#include "executor/table_change.hpp"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "executor/common_places.hpp"
#include "executor/rule.hpp"

namespace executor {

namespace {

using Rules = std::vector<SavedRule>;
using Matches = std::vector<std::pair<std::size_t, std::size_t>>;

const SavedChain* find(const SavedChains& chains, const std::string& name) {
  const auto found = chains.find(name);
  return found == chains.end() ? nullptr : &found->second;
}

const Rules& rules_of(const SavedChain* chain) {
  static const Rules none;
  return chain == nullptr ? none : chain->rules;
}

/* The places of equal rules, in order. */
Matches common(const Rules& one, const Rules& other) {
  std::vector<std::string> keys[2];
  for (const SavedRule& rule : one) {
    keys[0].push_back(rule.key);
  }
  for (const SavedRule& rule : other) {
    keys[1].push_back(rule.key);
  }
  return common_places(keys[0], keys[1]);
}

std::uint64_t packets(const SavedRule& rule) {
  return rule.counters.empty() ? 0 : std::strtoull(rule.counters.c_str() + 1, nullptr, 10);
}

std::uint64_t bytes(const SavedRule& rule) {
  const std::size_t colon = rule.counters.find(':');
  return colon == std::string::npos ? 0
                                    : std::strtoull(rule.counters.c_str() + colon + 1, nullptr, 10);
}

/* The earlier rule, with the packets that its successor has counted added. */
SavedRule with_counters_of_both(SavedRule before, const SavedRule& now) {
  before.counters = '[' + std::to_string(packets(before) + packets(now)) + ':' +
                    std::to_string(bytes(before) + bytes(now)) + ']';
  return before;
}

bool take_one(std::multiset<std::string>& keys, const std::string& key) {
  const auto found = keys.find(key);
  if (found == keys.end()) {
    return false;
  }
  keys.erase(found);
  return true;
}

/* Undoes a transaction's edits of one chain: `removed` are places of earlier rules, `added` the keys of
 * its own rules. */
class ChainUndo {
 public:
  ChainUndo(Family family, const Rules& before, const std::set<std::size_t>& removed,
            std::multiset<std::string> added, Rules now)
      : family_(family),
        before_(before),
        removed_(removed),
        added_(std::move(added)),
        now_(std::move(now)),
        is_deleted_(now_.size(), false) {
    const Matches matches = common(before_, now_);
    for (const auto& [old_place, place] : matches) {
      if (removed_.contains(old_place)) {
        take_one(added_, now_[place].key);
      }
    }
    for (const auto& [old_place, place] : matches) {
      undo_up_to(old_place, place);
      keep_or_recount(old_place, place);
    }
    undo_up_to(before_.size(), now_.size());
  }

  [[nodiscard]] Rules result() const {
    Rules rules;
    for (const Entry& entry : result_) {
      rules.push_back(entry.rule);
    }
    return rules;
  }

  /* Deletions from the end, so that a place holds until its turn; then insertions from the start. */
  [[nodiscard]] std::string lines(const std::string& chain) const {
    std::string text;
    for (std::size_t place = now_.size(); place-- > 0;) {
      if (is_deleted_[place]) {
        text += "-D " + chain +
                (is_unique(place) ? now_[place].text : ' ' + std::to_string(place + 1)) + '\n';
      }
    }
    for (std::size_t place = 0; place < result_.size(); ++place) {
      if (const auto& [rule, is_new] = result_[place]; is_new) {
        text += rule.counters + (rule.counters.empty() ? "" : " ") + "-I " + chain + ' ' +
                std::to_string(place + 1) + rule.text + '\n';
      }
    }
    return text;
  }

 private:
  struct Entry {
    SavedRule rule;
    bool is_new;
  };

  /* What stands between two rules that are common to before and now. The old rules come back where the
   * first of the transaction's stands; where none does, in front of other programs' new rules, but for
   * rules inserted at the top of the chain. */
  void undo_up_to(std::size_t old_end, std::size_t end) {
    std::vector<std::size_t> others;
    std::optional<std::size_t> mark;
    for (; at_ < end; ++at_) {
      if (take_one(added_, now_[at_].key)) {
        is_deleted_[at_] = true;
        mark = mark.value_or(others.size());
      } else {
        others.push_back(at_);
      }
    }
    const bool is_top = result_.empty() && end < now_.size();
    const auto in_front = static_cast<std::ptrdiff_t>(mark.value_or(is_top ? others.size() : 0));
    keep(others.begin(), others.begin() + in_front);
    for (; old_at_ < old_end; ++old_at_) {
      if (removed_.contains(old_at_)) {
        result_.push_back({before_[old_at_], true});
      }
    }
    keep(others.begin() + in_front, others.end());
  }

  void keep(std::vector<std::size_t>::const_iterator place,
            std::vector<std::size_t>::const_iterator end) {
    for (; place != end; ++place) {
      result_.push_back({now_[*place], false});
    }
  }

  /* A rule that the transaction removed and made anew has lost what it had counted. */
  void keep_or_recount(std::size_t old_place, std::size_t place) {
    const SavedRule& old_rule = before_[old_place];
    if (removed_.contains(old_place) && packets(old_rule) > packets(now_[place])) {
      is_deleted_[place] = true;
      result_.push_back({with_counters_of_both(old_rule, now_[place]), true});
    } else {
      result_.push_back({now_[place], false});
    }
    ++old_at_;
    ++at_;
  }

  /* A deletion by text hits the first of several rules that the tool takes for it. */
  [[nodiscard]] bool is_unique(std::size_t place) const {
    return !now_[place].text.empty() &&
           std::count_if(now_.begin(), now_.end(), [&](const SavedRule& rule) {
             return is_deleted_for(family_, now_[place].key, rule.key);
           }) == 1;
  }

  Family family_;
  const Rules& before_;
  const std::set<std::size_t>& removed_;
  std::multiset<std::string> added_;
  const Rules now_;
  std::vector<bool> is_deleted_;
  std::vector<Entry> result_;
  std::size_t old_at_ = 0;
  std::size_t at_ = 0;
};

bool leads_to(const SavedRule& rule, const std::string& chain) {
  const std::string text = rule.text + ' ';
  return text.find(" -j " + chain + ' ') != std::string::npos ||
         text.find(" -g " + chain + ' ') != std::string::npos;
}

bool is_used(const SavedChains& chains, const std::string& name) {
  return std::any_of(chains.begin(), chains.end(), [&](const auto& chain) {
    const Rules& rules = chain.second.rules;
    return std::any_of(rules.begin(), rules.end(),
                       [&](const SavedRule& rule) { return leads_to(rule, name); });
  });
}

}  // namespace

void TableChange::add(const RuleEdit& edit) {
  Edited& edited = edited_[edit.chain];
  RuleEdit as_rule = edit;
  as_rule.operation = 'A';
  as_rule.place = 0;
  switch (edit.operation) {
    case 'N':
      edited.is_created = edited.is_created || find(before_, edit.chain) == nullptr;
      break;
    case 'F':
      edited.added.clear();
      for (std::size_t place = 0; place < rules_of(find(before_, edit.chain)).size(); ++place) {
        edited.removed.insert(place);
      }
      break;
    case 'D':
      remove(
          edit.chain,
          {.text = {}, .key = rule_key(family_of(table_), restore_line(as_rule)), .counters = {}});
      break;
    default:
      edited.added.insert(rule_key(family_of(table_), restore_line(as_rule)));
  }
}

void TableChange::remove(const std::string& chain, const SavedRule& rule) {
  Edited& edited = edited_[chain];
  if (take_one(edited.added, rule.key)) {
    return;
  }
  const Rules& rules = rules_of(find(before_, chain));
  for (std::size_t place = 0; place < rules.size(); ++place) {
    if (rules[place].key == rule.key && edited.removed.insert(place).second) {
      return;
    }
  }
  // Another program's, which came after the read of before: it has to come back as well.
  if (!rule.text.empty()) {
    before_[chain].rules.push_back(rule);
    edited.removed.insert(before_[chain].rules.size() - 1);
  }
}

void TableChange::add_difference(const SavedChains& earlier, const SavedChains& later) {
  if (edited_.empty()) {
    before_ = earlier;
  }
  std::set<std::string> names;
  for (const SavedChains* chains : {&earlier, &later}) {
    for (const auto& [name, chain] : *chains) {
      names.insert(name);
    }
  }
  for (const std::string& name : names) {
    add_chain_difference(name, find(earlier, name), find(later, name));
  }
}

void TableChange::add_chain_difference(const std::string& chain, const SavedChain* earlier,
                                       const SavedChain* later) {
  const Rules& old_rules = rules_of(earlier);
  const Rules& new_rules = rules_of(later);
  Matches matches = common(old_rules, new_rules);
  matches.emplace_back(old_rules.size(), new_rules.size());
  std::size_t from = 0;
  std::size_t to = 0;
  for (const auto& [old_place, new_place] : matches) {
    for (; from < old_place; ++from) {
      remove(chain, old_rules[from]);
    }
    for (; to < new_place; ++to) {
      edited_[chain].added.insert(new_rules[to].key);
    }
    from = old_place + 1;
    to = new_place + 1;
  }
  if (earlier == nullptr) {
    edited_[chain].is_created = find(before_, chain) == nullptr;
  } else if (later == nullptr) {
    edited_[chain].is_deleted = find(before_, chain) != nullptr;
  } else if (earlier->policy != later->policy) {
    edited_[chain].policy = later->policy;
  }
}

Undo TableChange::undo(const SavedChains& now) const {
  Undo undo;
  SavedChains result = now;
  for (const auto& [name, edited] : edited_) {
    // A rule of another chain may lead into it.
    if (edited.is_deleted && find(now, name) == nullptr) {
      undo.edits += ':' + name + " - [0:0]\n";
      result[name].policy = "-";
    }
  }
  for (const auto& [name, edited] : edited_) {
    undo_chain(name, edited, result, undo);
  }
  for (const auto& [name, edited] : edited_) {
    const SavedChain* left = find(result, name);
    if (edited.is_created && left != nullptr && left->rules.empty() && !is_used(result, name)) {
      undo.edits += "-X " + name + '\n';
      undo.chains.insert(name);
    }
  }
  return undo;
}

void TableChange::undo_chain(const std::string& chain, const Edited& edited, SavedChains& now,
                             Undo& undo) const {
  const SavedChain* before = find(before_, chain);
  const Rules& old_rules = rules_of(before);
  if (find(now, chain) == nullptr) {
    if (!edited.removed.empty()) {
      undo.impossible.insert(chain);
    }
    return;
  }
  const ChainUndo edits(family_of(table_), old_rules, edited.removed, edited.added,
                        now[chain].rules);
  std::string lines = edits.lines(chain);
  if (!edited.policy.empty() && before != nullptr && now[chain].policy == edited.policy &&
      before->policy != edited.policy) {
    lines = ':' + chain + ' ' + before->policy + ' ' + before->counters + '\n' + lines;
  }
  if (!lines.empty()) {
    undo.chains.insert(chain);
    undo.edits += lines;
  }
  now[chain].rules = edits.result();
}

}  // namespace executor
