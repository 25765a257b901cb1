/* The words of command lines and of saved rules. */
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace executor {

struct Word {
  std::string text;
  bool is_quoted = false; /* in part at least: then it is a value, whatever it begins with */
};

/* How a text is quoted. In double quotes a backslash is special
 *   shell  before $ ` " \ only
 *   saved  before every character: as iptables-save writes rules, and iptables-restore reads them */
enum class Quoting : unsigned char { shell, saved };

/* The words of a line. Nothing if a quote is not closed, and nothing for a shell's line in which a
 * character is special beside blanks and double quotes: only the shell knows what such a line does. */
[[nodiscard]] std::optional<std::vector<Word>> words_of(std::string_view line, Quoting quoting);

/* The same of a shell's line, texts only. */
[[nodiscard]] std::optional<std::vector<std::string>> shell_words(std::string_view line);

/* Whether the text is one word to the shell and to the packet filter's tools, without any quotes. */
[[nodiscard]] bool is_plain_word(std::string_view text);

/* The word as it stands in a line for a restore tool. */
[[nodiscard]] std::string quoted_for_restore(const std::string& word);

}  // namespace executor
