/* The tree of chains as text. */
#include <algorithm>
#include <set>

#include "l3ctl/views/colour.hpp"
#include "l3ctl/views/rules_view.hpp"
#include "management/rules/chain_map.hpp"
#include "management/system/escape.hpp"

namespace l3ctl {

namespace {

struct Row {
  std::string branch; /* the lines of the tree in front */
  std::string words;
  Paint paint = Paint::plain;
  std::string counters;
  std::string remark;
  Paint remark_paint = Paint::faint;
};

/* Columns that a text takes: bytes that continue a character take none. */
size_t width(const std::string& text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
  }));
}

std::string blanks(size_t count) {
  return std::string(count, ' ');
}

std::string key(Family family, const ComparedRule& rule, int repetition) {
  return std::string(family_name(family)) + " " + rule.rule.chain + " " + rule.words + " " +
         std::to_string(repetition);
}

/* Walks the rules of all chains; equal rules of a chain are told apart by their order. */
template <typename Visit>
void walk(const RuleComparison& comparison, Visit visit) {
  for (const ComparedTable& table : comparison.tables) {
    for (const ComparedChain& chain : table.chains) {
      std::map<std::string, int> seen;
      for (const ComparedRule& rule : chain.rules) {
        visit(rule, key(table.family, rule, seen[rule.words]++));
      }
    }
  }
}

Paint paint_of(const ComparedRule& rule) {
  if (rule.state == RuleState::foreign) {
    return Paint::faint;
  }
  if (rule.rule.target == "ACCEPT") {
    return Paint::good;
  }
  return rule.rule.target == "DROP" || rule.rule.target == "REJECT" ? Paint::bad : Paint::plain;
}

std::string plural(uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + (count == 1 ? one : many);
}

class Tree {
 public:
  Tree(const ComparedTable& table, const TreeOptions& options,
       const std::map<const ComparedRule*, uint64_t>& moved)
      : table_(table), options_(options), moved_(moved) {}

  std::vector<Row> rows() {
    rows_.push_back({"", family_name(table_.family), Paint::strong, "", "", Paint::plain});
    if (table_.is_bare) {
      rows_.back().remark = "none of the gateway's chains is there";
      rows_.back().remark_paint = Paint::warning;
    }
    for (const ComparedChain& chain : table_.chains) {
      if (!chain.policy.empty()) {
        add_root(chain, "policy " + chain.policy);
      }
    }
    for (const ComparedChain& chain : table_.chains) {
      if (drawn_.count(chain.name) == 0) {
        add_root(chain, chain.is_missing ? "missing" : "no jump leads here");
      }
    }
    return rows_;
  }

 private:
  void add_root(const ComparedChain& chain, const std::string& about) {
    Row row{"", chain.name, Paint::strong, "", about, Paint::faint};
    if (!chain.policy.empty()) {
      row.counters = counters(chain.counters, 0);
    } else if (!chain.is_own) {
      row.remark += ", foreign";
    } else if (chain.is_missing) {
      row.remark_paint = Paint::warning;
    }
    rows_.push_back(row);
    drawn_.insert(chain.name);
    add_rules(chain, "");
  }

  void add_rules(const ComparedChain& chain, const std::string& branch) {
    for (size_t i = 0; i < chain.rules.size(); ++i) {
      const bool is_last = i + 1 == chain.rules.size();
      add_rule(chain.rules[i], branch + (is_last ? "└─ " : "├─ "));
      const ComparedChain* target = chain_of(chain.rules[i]);
      if (target != nullptr && drawn_.insert(target->name).second) {
        add_rules(*target, branch + (is_last ? "   " : "│  "));
      }
    }
  }

  void add_rule(const ComparedRule& rule, const std::string& branch) {
    Row row{branch, rule.words, paint_of(rule), "", rule.origin.path, Paint::faint};
    if (rule.state != RuleState::missing) {
      const auto found = moved_.find(&rule);
      row.counters = counters(rule.counters, found == moved_.end() ? 0 : found->second);
    }
    if (rule.state != RuleState::expected) {
      const bool is_drift = rule.state != RuleState::foreign && rule.state != RuleState::runtime;
      row.remark = state_name(rule.state) + (row.remark.empty() ? "" : ": " + row.remark);
      row.remark_paint = is_drift ? Paint::warning : Paint::faint;
    }
    if (matches_nothing(rule.rule)) {
      row.remark += (row.remark.empty() ? "" : ", ") + std::string("matches no packet");
      row.remark_paint = Paint::warning;
    }
    rows_.push_back(row);
  }

  [[nodiscard]] std::string counters(const Counters& counters, uint64_t moved) const {
    if (!options_.has_counters) {
      return {};
    }
    return plural(counters.packets, " packet", " packets") + ", " +
           plural(counters.bytes, " byte", " bytes") +
           (moved == 0 ? "" : "  +" + std::to_string(moved));
  }

  /* The chain that a rule leads to, where it is one of this table that is drawn under it. */
  [[nodiscard]] const ComparedChain* chain_of(const ComparedRule& rule) const {
    const auto found =
        std::find_if(table_.chains.begin(), table_.chains.end(), [&](const ComparedChain& chain) {
          return chain.name == rule.rule.target && chain.policy.empty();
        });
    return found == table_.chains.end() || rule.state == RuleState::missing ? nullptr : &*found;
  }

  const ComparedTable& table_;
  const TreeOptions& options_;
  const std::map<const ComparedRule*, uint64_t>& moved_;
  std::vector<Row> rows_;
  std::set<std::string> drawn_;
};

std::string aligned(const std::vector<Row>& rows) {
  size_t words_width = 0;
  size_t counters_width = 0;
  for (const Row& row : rows) {
    words_width = std::max(words_width, width(row.branch) + width(row.words));
    counters_width = std::max(counters_width, width(row.counters));
  }
  std::string text;
  for (const Row& row : rows) {
    std::string line = painted(Paint::faint, row.branch) + painted(row.paint, row.words);
    size_t pending = words_width - width(row.branch) - width(row.words) + 2;
    if (counters_width > 0) {
      const bool has_moved = row.counters.find('+') != std::string::npos;
      if (!row.counters.empty()) {
        line += blanks(pending) + painted(has_moved ? Paint::strong : Paint::plain, row.counters);
        pending = 0;
      }
      pending += counters_width - width(row.counters) + 2;
    }
    text +=
        line + (row.remark.empty() ? "" : blanks(pending) + painted(row.remark_paint, row.remark));
    text += '\n';
  }
  return text;
}

}  // namespace

Counted counted(const RuleComparison& comparison) {
  Counted result;
  walk(comparison, [&](const ComparedRule& rule, const std::string& name) {
    result[name] = rule.counters.packets;
  });
  return result;
}

std::string rules_tree(const RuleComparison& comparison, const TreeOptions& options) {
  std::map<const ComparedRule*, uint64_t> moved;
  if (options.before != nullptr) {
    walk(comparison, [&](const ComparedRule& rule, const std::string& name) {
      const auto before = options.before->find(name);
      if (before != options.before->end() && before->second < rule.counters.packets) {
        moved[&rule] = rule.counters.packets - before->second;
      }
    });
  }
  std::vector<Row> rows;
  for (const ComparedTable& table : comparison.tables) {
    std::vector<Row> some = Tree(table, options, moved).rows();
    for (Row& row : some) {
      row.words = escape(row.words);
      row.remark = escape(row.remark);
    }
    rows.insert(rows.end(), some.begin(), some.end());
  }
  std::string text = aligned(rows);
  for (const std::string& note : comparison.notes) {
    text += "note: " + escape(note) + "\n";
  }
  return text;
}

}  // namespace l3ctl
