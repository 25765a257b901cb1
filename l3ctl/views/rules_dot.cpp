/* The chains in the language of dot(1): a box a chain, an arrow from each rule that leads on. */
#include <algorithm>

#include "l3ctl/views/rules_view.hpp"
#include "management/system/escape.hpp"

namespace l3ctl {

namespace {

std::string markup(const std::string& text) {
  std::string result;
  for (const char c : escape(text)) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string node(const ComparedTable& table, const std::string& chain) {
  return "\"" + std::string(family_name(table.family)) + " " + escape(chain) + "\"";
}

const char* colour(const ComparedRule& rule) {
  switch (rule.state) {
    case RuleState::unexpected:
    case RuleState::missing:
    case RuleState::moved:
      return "#ffe08a";
    case RuleState::foreign:
      return "#eeeeee";
    case RuleState::expected:
    case RuleState::runtime:
      break;
  }
  if (rule.rule.target == "ACCEPT") {
    return "#dff3df";
  }
  return rule.rule.target == "DROP" ? "#f8dcdc" : "#ffffff";
}

std::string row(const ComparedRule& rule, size_t number) {
  std::string text = rule.words;
  if (rule.state != RuleState::expected) {
    text = std::string(state_name(rule.state)) + ": " + text;
  }
  return "<tr><td align=\"left\" port=\"r" + std::to_string(number) + "\" bgcolor=\"" +
         colour(rule) + "\">" + markup(text) + "</td></tr>";
}

std::string box(const ComparedTable& table, const ComparedChain& chain) {
  const std::string about = chain.policy.empty() ? "" : " policy " + chain.policy;
  std::string text = "    " + node(table, chain.name) +
                     " [label=<<table border=\"0\" cellborder=\"1\" cellspacing=\"0\" "
                     "cellpadding=\"4\"><tr><td port=\"head\" bgcolor=\"" +
                     (chain.is_own ? "#cfe2f3" : "#dddddd") + "\"><b>" + markup(chain.name) +
                     "</b>" + markup(about) + "</td></tr>";
  for (size_t i = 0; i < chain.rules.size(); ++i) {
    text += row(chain.rules[i], i);
  }
  return text + "</table>>];\n";
}

bool has_chain(const ComparedTable& table, const std::string& name) {
  return std::any_of(table.chains.begin(), table.chains.end(),
                     [&](const ComparedChain& chain) { return chain.name == name; });
}

std::string arrows(const ComparedTable& table, const ComparedChain& chain) {
  std::string text;
  for (size_t i = 0; i < chain.rules.size(); ++i) {
    const std::string& target = chain.rules[i].rule.target;
    if (has_chain(table, target)) {
      text += "    " + node(table, chain.name) + ":r" + std::to_string(i) + ":e -> " +
              node(table, target) + ":head:w" +
              (chain.rules[i].state == RuleState::missing ? " [style=dashed]" : "") + ";\n";
    }
  }
  return text;
}

}  // namespace

std::string rules_dot(const RuleComparison& comparison) {
  std::string text =
      "digraph rules {\n  rankdir=LR;\n  node [shape=plain fontname=\"sans-serif\" fontsize=11];\n";
  for (const ComparedTable& table : comparison.tables) {
    const std::string family = family_name(table.family);
    text += "  subgraph \"cluster " + family + "\" {\n    label=\"" + family +
            "\";\n    color=\"#999999\";\n    fontname=\"sans-serif\";\n";
    for (const ComparedChain& chain : table.chains) {
      text += box(table, chain);
    }
    for (const ComparedChain& chain : table.chains) {
      text += arrows(table, chain);
    }
    text += "  }\n";
  }
  return text + "}\n";
}

}  // namespace l3ctl
