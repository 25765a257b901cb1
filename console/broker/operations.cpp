#include "console/broker/operations.hpp"

#include <algorithm>

namespace console {

namespace {

constexpr std::size_t largest_settings = std::size_t{256} * 1024;
constexpr std::size_t largest_stored = std::size_t{256} * 1024;
constexpr std::size_t longest_who = 64;
constexpr std::size_t longest_device = 64;
constexpr std::size_t longest_host = 270;
constexpr int seconds_of_a_change = 30;
constexpr int longest_confirmation = 3600;

const std::vector<OperationRow>& table() {
  using enum Operation;
  static const std::vector<OperationRow> rows = {
      {settings, "settings", {"export"}},
      {status, "status", {"status"}},
      {rules, "rules", {"rules", "--counters"}},
      {health, "health", {"doctor"}},
      {plan, "plan", {"plan", "-"}, {}, largest_settings},
      {apply, "apply", {"apply", "-"}, {}, largest_settings, true, true, true},
      {apply_with_confirmation,
       "apply-with-confirmation",
       {"apply", "-", "--confirm", "@"},
       {Argument::seconds},
       largest_settings,
       true,
       true,
       true},
      {confirm, "confirm", {"confirm", "@"}, {Argument::change}, 0, true},
      {revert, "revert", {"confirm", "--revert"}, {}, 0, true},
      {explain, "explain", {"explain", "--batch", "-"}, {}, 4096},
      {backup, "backup", {"backup", "-"}, {}, 0, false, false},
      {restore, "restore", {"restore", "-"}, {}, std::size_t{64} * 1024, true},
      {metrics, "metrics", {"metrics"}, {}, 0, false, false},
      {devices, "devices", {"devices"}},
      {blocked, "blocked", {"blocked"}},
      {explain_device,
       "explain-device",
       {"explain", "@", "--settings", "-"},
       {Argument::device},
       largest_settings},
      {explain_way,
       "explain-way",
       {"explain", "@", "@", "--settings", "-"},
       {Argument::device, Argument::host},
       largest_settings},
      {history, "history", {"history"}},
      {extend,
       "extend",
       {"confirm", "@", "--extend", "@"},
       {Argument::change, Argument::seconds},
       0,
       true},
      {revert_change, "revert-change", {"confirm", "@", "--revert"}, {Argument::change}, 0, true},
      {undo, "undo", {"undo", "@"}, {Argument::change}, 0, true},
      {undo_with_confirmation,
       "undo-with-confirmation",
       {"undo", "@", "--confirm", "@"},
       {Argument::change, Argument::seconds},
       0,
       true},
  };
  return rows;
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool is_change_id(std::string_view text) {
  return text.size() == 16 && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/* No option, and nothing that a shell or a terminal would take for more than a name. */
bool is_name_or_address(std::string_view text) {
  return !text.empty() && text.front() != '-' && std::all_of(text.begin(), text.end(), [](char c) {
    return is_digit(c) || is_letter(c) ||
           std::string_view("._:-[]").find(c) != std::string_view::npos;
  });
}

bool is_seconds(std::string_view text) {
  if (text.empty() || text.size() > 4 || !std::all_of(text.begin(), text.end(), is_digit)) {
    return false;
  }
  const int seconds = std::stoi(std::string(text));
  return seconds >= 1 && seconds <= longest_confirmation;
}

bool is_allowed(Argument kind, std::string_view text) {
  switch (kind) {
    case Argument::seconds:
      return is_seconds(text);
    case Argument::device:
      return text.size() <= longest_device && is_name_or_address(text);
    case Argument::host:
      return text.size() <= longest_host && is_name_or_address(text);
    case Argument::change:
      return is_change_id(text);
  }
  return false;
}

bool is_word_of_who(char c) {
  return is_digit(c) || is_letter(c) || std::string_view(" ._:-").find(c) != std::string_view::npos;
}

/* Words with one space between; two spaces have an empty word between them. */
std::vector<std::string_view> split(std::string_view text) {
  std::vector<std::string_view> words;
  if (text.empty()) {
    return words;
  }
  for (std::size_t space = text.find(' '); space != std::string_view::npos;
       space = text.find(' ')) {
    words.push_back(text.substr(0, space));
    text.remove_prefix(space + 1);
  }
  words.push_back(text);
  return words;
}

/* No shell sees it, but it ends in the history and in the journal. */
bool is_who(const OperationRow& row, std::string_view text) {
  return text.size() <= longest_who && (row.changes || text.empty()) &&
         std::all_of(text.begin(), text.end(), is_word_of_who);
}

}  // namespace

std::span<const OperationRow> operations() {
  return table();
}

const OperationRow* find_operation(std::uint16_t number) {
  const auto& rows = table();
  const auto row = std::find_if(rows.begin(), rows.end(), [number](const OperationRow& one) {
    return static_cast<std::uint16_t>(one.operation) == number;
  });
  return row == rows.end() ? nullptr : &*row;
}

int seconds_for(const OperationRow& row, int seconds_of_a_read) {
  return row.changes ? seconds_of_a_change : seconds_of_a_read;
}

std::optional<std::vector<std::string>> command_line(const Call& call) {
  const OperationRow* row = find_operation(static_cast<std::uint16_t>(call.operation));
  if (row == nullptr || !is_who(*row, call.who) || call.input.size() > row->largest_input ||
      call.stored.size() > (row->compares ? largest_stored : 0)) {
    return std::nullopt;
  }
  const std::vector<std::string_view> given = split(call.argument);
  if (!std::equal(given.begin(), given.end(), row->arguments.begin(), row->arguments.end(),
                  [](std::string_view text, Argument kind) { return is_allowed(kind, text); })) {
    return std::nullopt;
  }
  std::vector<std::string> words;
  auto next = given.begin();
  for (const std::string_view word : row->words) {
    words.emplace_back(word == "@" ? *next++ : word);
  }
  if (!call.stored.empty()) {
    words.insert(words.end(), {"--if-stored", std::string(stored_file)});
  }
  if (row->changes) {
    words.emplace_back("--origin=console");
  }
  if (!call.who.empty()) {
    words.push_back("--who=" + call.who);
  }
  if (row->answers_json) {
    words.emplace_back("--json");
  }
  return words;
}

}  // namespace console
