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

bool is_escaped(char next, Quoting quoting) {
  return quoting == Quoting::saved ||
         std::string_view("$`\"\\").find(next) != std::string_view::npos;
}

/* What the shell does more than take the character as it is. */
bool is_special_in_quotes(char c, std::string_view rest) {
  return c == '$' || c == '`' || (c == '\\' && (rest.empty() || rest.front() == '\n'));
}

/* Takes the text up to the closing quote off `rest`. */
bool take_quoted(std::string_view& rest, std::string& word, Quoting quoting) {
  while (!rest.empty() && rest.front() != '"') {
    char c = rest.front();
    rest.remove_prefix(1);
    if (quoting == Quoting::shell && is_special_in_quotes(c, rest)) {
      return false;
    }
    if (c == '\\' && !rest.empty() && is_escaped(rest.front(), quoting)) {
      c = rest.front();
      rest.remove_prefix(1);
    }
    word += c;
  }
  if (rest.empty()) {
    return false;
  }
  rest.remove_prefix(1);
  return true;
}

bool take_word(std::string_view& rest, Word& word, Quoting quoting) {
  while (!rest.empty() && !is_blank(rest.front())) {
    const char c = rest.front();
    rest.remove_prefix(1);
    if (c == '"') {
      word.is_quoted = true;
      if (!take_quoted(rest, word.text, quoting)) {
        return false;
      }
    } else if (quoting == Quoting::saved || is_plain(c)) {
      word.text += c;
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace

std::optional<std::vector<Word>> words_of(std::string_view line, Quoting quoting) {
  std::vector<Word> words;
  while (true) {
    while (!line.empty() && is_blank(line.front())) {
      line.remove_prefix(1);
    }
    if (line.empty()) {
      return words;
    }
    if (!take_word(line, words.emplace_back(), quoting)) {
      return std::nullopt;
    }
  }
}

std::optional<std::vector<std::string>> shell_words(std::string_view line) {
  const auto words = words_of(line, Quoting::shell);
  if (!words) {
    return std::nullopt;
  }
  std::vector<std::string> texts;
  texts.reserve(words->size());
  for (const Word& word : *words) {
    texts.push_back(word.text);
  }
  return texts;
}

bool is_plain_word(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), is_plain);
}

/* In double quotes a restore tool takes the character behind a backslash as it is. */
std::string quoted_for_restore(const std::string& word) {
  if (is_plain_word(word)) {
    return word;
  }
  std::string text = "\"";
  for (const char c : word) {
    if (c == '"' || c == '\\') {
      text += '\\';
    }
    text += c;
  }
  return text + '"';
}

}  // namespace executor
