#include "settings/syntax_error.hpp"

#include <algorithm>
#include <cctype>
#include <optional>

namespace settings {

namespace {

constexpr char blanks[] = " \t\r\n";
constexpr size_t longest_reason = 200;

/* The place of a byte, or of the end of the text. */
SyntaxError error_at(std::string_view text, size_t offset, std::string what) {
  const std::string_view before = text.substr(0, offset);
  const size_t line_end = before.rfind('\n');
  const std::string_view in_line =
      before.substr(line_end == std::string_view::npos ? 0 : line_end + 1);
  const auto characters = std::count_if(in_line.begin(), in_line.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;  // No continuation byte of UTF-8.
  });
  return {1 + static_cast<size_t>(std::count(before.begin(), before.end(), '\n')),
          1 + static_cast<size_t>(characters), std::move(what)};
}

bool is_name(std::string_view word) {
  return !word.empty() && std::all_of(word.begin(), word.end(), [](unsigned char c) {
    return c == '_' || c == '-' || std::isalnum(c) != 0;
  });
}

/* The offset of the first line that is neither empty nor a comment of YAML. */
size_t first_line(std::string_view text) {
  size_t at = text.find_first_not_of(blanks);
  while (at != std::string_view::npos && text[at] == '#') {
    const size_t end = text.find('\n', at);
    at = end == std::string_view::npos ? end : text.find_first_not_of(blanks, end);
  }
  return at;
}

/* YAML begins with "---", or with a member such as "firewall:". */
bool is_yaml(std::string_view line) {
  const size_t colon = line.find(':');
  return line.starts_with("---") ||
         (colon != std::string_view::npos && is_name(line.substr(0, colon)) &&
          (colon + 1 == line.size() || line[colon + 1] == ' '));
}

std::optional<SyntaxError> yaml(std::string_view text) {
  const size_t begin = first_line(text);
  if (begin == std::string_view::npos) {
    return std::nullopt;
  }
  std::string_view line = text.substr(begin, text.find('\n', begin) - begin);
  line = line.substr(0, line.find_last_not_of(blanks) + 1);
  if (!is_yaml(line)) {
    return std::nullopt;
  }
  SyntaxError error =
      error_at(text, begin,
               "looks like YAML; settings are JSON, such as {\"firewall\": {\"enabled\": true}}");
  error.column = 0;
  return error;
}

/* A comment or a trailing comma; `last` is the offset of the byte that the parser does not take. */
std::optional<SyntaxError> common_mistake(std::string_view text, size_t last) {
  const char byte = text[last];
  const std::string_view rest = text.substr(last + 1);
  if (byte == '#' || (byte == '/' && (rest.starts_with('/') || rest.starts_with('*')))) {
    return error_at(text, last, "comments are not allowed in JSON");
  }
  const size_t before =
      last == 0 ? std::string_view::npos : text.find_last_not_of(blanks, last - 1);
  if ((byte == '}' || byte == ']') && before != std::string_view::npos && text[before] == ',') {
    return error_at(text, before, std::string("trailing comma before '") + byte + "'");
  }
  if (byte == ',' && rest.find_first_not_of(blanks) == std::string_view::npos) {
    return error_at(text, last, "trailing comma at the end");
  }
  return std::nullopt;
}

/* One short line of plain ASCII: the parser quotes the text, which may be long and hold any bytes. */
std::string plain(std::string reason) {
  std::replace_if(
      reason.begin(), reason.end(), [](char c) { return c < 0x20 || c > 0x7E; }, '?');
  if (reason.size() > longest_reason) {
    reason.replace(longest_reason, std::string::npos, "...");
  }
  return reason;
}

}  // namespace

SyntaxError explain_syntax_error(std::string_view text, size_t read, std::string reason) {
  if (text.find_first_not_of(blanks) == std::string_view::npos) {
    return {1, 0, "the file is empty"};
  }
  if (auto error = yaml(text)) {
    return *error;
  }
  // A byte inside a string is no mistake of these kinds.
  const bool is_in_string = reason.find("invalid string") != std::string::npos;
  const bool is_at_end = reason.find("unexpected end of input") != std::string::npos;
  if (read > 0 && !is_in_string && !is_at_end) {
    if (auto error = common_mistake(text, read - 1)) {
      return *error;
    }
  }
  const size_t offset = is_at_end || read == 0 ? text.size() : read - 1;
  return error_at(text, offset, "no JSON: " + plain(std::move(reason)));
}

}  // namespace settings
