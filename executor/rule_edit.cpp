#include "executor/rule_edit.hpp"

#include <algorithm>
#include <iterator>
#include <span>

#include "executor/words.hpp"

namespace executor {

namespace {

using Words = std::vector<std::string>;

/* What may follow a chain's name. Others, such as -t or --wait, belong to the command, not to the
 * rule, and a restore tool would refuse them. */
constexpr std::string_view known_options[] = {
    "-p",          "-s",        "-d",          "-i",           "-o",
    "-j",          "-m",        "--sport",     "--dport",      "--syn",
    "--tcp-flags", "--state",   "--limit",     "--log-prefix", "--mac-source",
    "--string",    "--algo",    "--timestart", "--timestop",   "--icmp-type",
    "--to",        "--ctstate", "--protocol",  "--source",     "--destination",
    "--jump"};

bool is_table_tool(const std::string& word) {
  return word == "iptables" || word == "ip6tables";
}

bool is_control(char c) {
  return static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) >= 0x7f;
}

/* A restore tool reads line by line, so control bytes go nowhere but into a match string, which has
 * a spelling for them. */
bool is_word_for_rule(const Words& rest, std::size_t at) {
  const std::string& word = rest[at];
  if (at > 0 && rest[at - 1] == "--string") {
    return true;
  }
  if (std::any_of(word.begin(), word.end(), is_control)) {
    return false;
  }
  return !word.starts_with('-') || std::find(std::begin(known_options), std::end(known_options),
                                             word) != std::end(known_options);
}

bool is_rule(const Words& rest) {
  for (std::size_t at = 0; at < rest.size(); ++at) {
    if (!is_word_for_rule(rest, at)) {
      return false;
    }
  }
  return true;
}

/* -D takes a number instead of a rule, whose meaning changes with every other edit. */
bool is_number(const Words& rest) {
  return rest.size() == 1 && rest[0].find_first_not_of("0123456789") == std::string::npos;
}

/* Takes "-t NAME" off the front. */
std::string take_table(std::span<const std::string>& words) {
  if (words.size() < 2 || words[0] != "-t") {
    return "filter";
  }
  std::string name = words[1];
  words = words.subspan(2);
  return name;
}

bool makes_sense(const RuleEdit& edit) {
  if (!is_plain_word(edit.table.name) || !is_plain_word(edit.chain) ||
      edit.chain.starts_with('-') || edit.chain.starts_with('!')) {
    return false;
  }
  switch (edit.operation) {
    case 'F':
    case 'N':
      return edit.rest.empty();
    case 'D':
      return !edit.rest.empty() && !is_number(edit.rest) && is_rule(edit.rest);
    case 'A':
    case 'I':
      return is_rule(edit.rest);
    default:
      return false;
  }
}

std::string in_hex(const std::string& bytes) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text = "|";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text + '|';
}

}  // namespace

Family family_of(const Table& table) {
  return table.tool == "ip6tables" ? Family::ipv6 : Family::ipv4;
}

std::optional<RuleEdit> rule_edit(std::string_view line) {
  const auto words = shell_words(line);
  if (!words || words->size() < 3 || !is_table_tool(words->front())) {
    return std::nullopt;
  }
  std::span<const std::string> rest(*words);
  rest = rest.subspan(1);
  const std::string table = take_table(rest);
  if (rest.size() < 2 || rest[0].size() != 2 || rest[0][0] != '-') {
    return std::nullopt;
  }
  RuleEdit edit = {.table = {words->front(), table},
                   .operation = rest[0][1],
                   .chain = rest[1],
                   .rest = Words(rest.begin() + 2, rest.end()),
                   .line = std::string(line)};
  if (!makes_sense(edit)) {
    return std::nullopt;
  }
  return edit;
}

std::optional<RuleSave> rule_save(std::string_view line) {
  const std::size_t arrow = line.find('>');
  if (arrow == std::string_view::npos) {
    return std::nullopt;
  }
  const auto words = shell_words(line.substr(0, arrow));
  const auto path = shell_words(line.substr(arrow + 1));
  if (!words || words->size() != 3 || (*words)[1] != "-t" || !path || path->size() != 1 ||
      !is_plain_word(path->front()) || !is_plain_word((*words)[2])) {
    return std::nullopt;
  }
  const std::string& tool = words->front();
  if (tool != "iptables-save" && tool != "ip6tables-save") {
    return std::nullopt;
  }
  return RuleSave{.table = {tool.substr(0, tool.find('-')), (*words)[2]},
                  .path = path->front(),
                  .line = std::string(line)};
}

bool may_change_rules(std::string_view line) {
  return !rule_save(line) && line.find("tables") != std::string_view::npos;
}

std::string restore_line(const RuleEdit& edit) {
  std::string text = std::string("-") + edit.operation + ' ' + edit.chain;
  if (edit.place > 0) {
    text += ' ' + std::to_string(edit.place);
  }
  if (edit.place > 0 && edit.operation == 'D') {
    return text;
  }
  bool is_match_string = false;
  for (const std::string& word : edit.rest) {
    if (is_match_string && !is_plain_word(word) && !word.empty()) {
      text.replace(text.size() - std::string_view("--string").size(), std::string::npos,
                   "--hex-string " + in_hex(word));
    } else {
      text += ' ' + quoted_for_restore(word);
    }
    is_match_string = word == "--string";
  }
  return text;
}

}  // namespace executor
