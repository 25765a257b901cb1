#include "executor/words.hpp"

#include <algorithm>

namespace executor {

namespace {

/* Characters that stand for themselves wherever they stand in a word. */
bool is_plain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("-_./:,+@%!").find(c) != std::string_view::npos;
}

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

/* Takes what stands between double quotes off `rest`, which begins behind the first of them. */
bool take_quoted(std::string_view& rest, std::string& word) {
  while (!rest.empty() && rest.front() != '"') {
    const char c = rest.front();
    rest.remove_prefix(1);
    if (c == '$' || c == '`') {
      return false;
    }
    if (c == '\\' && rest.empty()) {
      return false;
    }
    // A backslash quotes these four alone; before anything else it stands for itself.
    if (c == '\\' && std::string_view("$`\"\\").find(rest.front()) != std::string_view::npos) {
      word += rest.front();
      rest.remove_prefix(1);
      continue;
    }
    if (c == '\\' && rest.front() == '\n') {
      return false;
    }
    word += c;
  }
  if (rest.empty()) {
    return false;
  }
  rest.remove_prefix(1);
  return true;
}

bool take_word(std::string_view& rest, std::string& word) {
  while (!rest.empty() && !is_blank(rest.front())) {
    const char c = rest.front();
    rest.remove_prefix(1);
    if (c == '"') {
      if (!take_quoted(rest, word)) {
        return false;
      }
    } else if (is_plain(c)) {
      word += c;
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace

std::optional<std::vector<std::string>> shell_words(std::string_view line) {
  std::vector<std::string> words;
  while (true) {
    while (!line.empty() && is_blank(line.front())) {
      line.remove_prefix(1);
    }
    if (line.empty()) {
      return words;
    }
    if (!take_word(line, words.emplace_back())) {
      return std::nullopt;
    }
  }
}

bool is_plain_word(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), is_plain);
}

}  // namespace executor
