/* The words of command lines, and how they are quoted. */
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace executor {

/* The words of a line made of plain words and double quotes; nothing where any character means more
 * than itself to the shell, for then only the shell knows what the line does. */
[[nodiscard]] std::optional<std::vector<std::string>> shell_words(std::string_view line);

/* Whether the text is one word to the shell and to the packet filter's tools, without any quotes. */
[[nodiscard]] bool is_plain_word(std::string_view text);

}  // namespace executor
