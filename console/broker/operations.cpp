#include "console/broker/operations.hpp"

#include <algorithm>

namespace console {

namespace {

constexpr std::size_t largest_settings = 256 * 1024;
constexpr std::size_t longest_who = 64;
constexpr int seconds_of_a_read = 8;
constexpr int seconds_of_a_change = 30;
constexpr int longest_confirmation = 3600;

const std::vector<OperationRow>& table() {
  using enum Operation;
  static const std::vector<OperationRow> rows = {
      {settings, "settings", {"export"}},
      {status, "status", {"status"}},
      {rules, "rules", {"rules", "--counters"}},
      {health, "health", {"doctor"}},
      {plan, "plan", {"plan", "-"}, Argument::none, largest_settings},
      {apply, "apply", {"apply", "-"}, Argument::none, largest_settings, true},
      {apply_with_confirmation,
       "apply-with-confirmation",
       {"apply", "-", "--confirm", "@"},
       Argument::seconds,
       largest_settings,
       true},
      {confirm, "confirm", {"confirm"}, Argument::none, 0, true},
      {revert, "revert", {"confirm", "--revert"}, Argument::none, 0, true},
      {explain, "explain", {"explain", "--batch", "-"}, Argument::none, 4096},
      {backup, "backup", {"backup", "-"}, Argument::none, 0, false, false},
      {restore, "restore", {"restore", "-"}, Argument::none, 64 * 1024, true},
      {metrics, "metrics", {"metrics"}, Argument::none, 0, false, false},
  };
  return rows;
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
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
    case Argument::none:
      return text.empty();
    case Argument::seconds:
      return is_seconds(text);
  }
  return false;
}

bool is_word_of_who(char c) {
  return is_digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         std::string_view(" ._:-").find(c) != std::string_view::npos;
}

/* "--who" gets it as a word of its own, but it also ends in the journal and in the history. */
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

int seconds_for(const OperationRow& row) {
  return row.changes ? seconds_of_a_change : seconds_of_a_read;
}

std::optional<std::vector<std::string>> command_line(const Call& call) {
  const OperationRow* row = find_operation(static_cast<std::uint16_t>(call.operation));
  if (row == nullptr || !is_allowed(row->argument, call.argument) || !is_who(*row, call.who) ||
      call.input.size() > row->largest_input) {
    return std::nullopt;
  }
  std::vector<std::string> words;
  for (const std::string_view word : row->words) {
    words.push_back(word == "@" ? call.argument : std::string(word));
  }
  if (row->answers_json) {
    words.emplace_back("--json");
  }
  return words;
}

}  // namespace console
