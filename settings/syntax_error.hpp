/* Why a text is no JSON, in words that name the mistakes that people make. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace settings {

struct SyntaxError {
  size_t line = 1;
  size_t column = 0; /* in characters; 0 where the text as a whole is meant */
  std::string what;
};

/* `read` is how many bytes the parser has read, the offending one included; `reason` is what the parser
 * says of them. */
SyntaxError explain_syntax_error(std::string_view text, size_t read, std::string reason);

}  // namespace settings
