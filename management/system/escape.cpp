#include "management/system/escape.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace management {

namespace {

constexpr char digits[] = "0123456789abcdef";

struct Range {
  uint32_t first;
  uint32_t last;
};

constexpr Range unsafe_ranges[] = {
    {0x00, 0x1f},     /* C0 */
    {0x7f, 0x9f},     /* DEL and C1 */
    {0x61c, 0x61c},   /* Arabic letter mark */
    {0x200e, 0x200f}, /* left-to-right and right-to-left mark */
    {0x2028, 0x202e}, /* line and paragraph separator, bidirectional embeddings and overrides */
    {0x2066, 0x2069}, /* bidirectional isolates */
};

bool is_unsafe(uint32_t code) {
  return std::any_of(std::begin(unsafe_ranges), std::end(unsafe_ranges),
                     [&](const Range& range) { return range.first <= code && code <= range.last; });
}

struct CodePoint {
  uint32_t code;
  size_t length; /* in bytes; 0 where the text does not start with UTF-8 */
};

/* How a sequence of UTF-8 starts, and the smallest code point that needs this length. */
struct Form {
  uint8_t mask;
  uint8_t lead;
  uint32_t smallest;
};
constexpr Form forms[] = {
    {0x80, 0x00, 0}, {0xe0, 0xc0, 0x80}, {0xf0, 0xe0, 0x800}, {0xf8, 0xf0, 0x10000}};

/* The code point at the start of a text that is not empty. Overlong forms, surrogates and what lies behind
 * U+10FFFF are no UTF-8. */
CodePoint first_of(std::string_view text) {
  const auto lead = static_cast<uint8_t>(text[0]);
  const auto* form = std::find_if(std::begin(forms), std::end(forms),
                                  [&](const Form& one) { return (lead & one.mask) == one.lead; });
  const size_t length = static_cast<size_t>(form - std::begin(forms)) + 1;
  if (form == std::end(forms) || text.size() < length) {
    return {0, 0};
  }
  uint32_t code = lead & static_cast<uint8_t>(~form->mask);
  for (size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<uint8_t>(text[i]);
    if ((byte & 0xc0) != 0x80) {
      return {0, 0};
    }
    code = code << 6 | (byte & 0x3f);
  }
  const bool is_surrogate = 0xd800 <= code && code <= 0xdfff;
  return code < form->smallest || is_surrogate || code > 0x10ffff ? CodePoint{0, 0}
                                                                  : CodePoint{code, length};
}

std::string byte_escape(char byte) {
  return "\\x" + in_hexadecimal({&byte, 1});
}

std::string code_escape(uint32_t code) {
  std::string text = "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) {
    text += digits[code >> shift & 15];
  }
  return text;
}

/* Escapes all but the code point `kept`. */
std::string escape_except(std::string_view text, uint32_t kept) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const CodePoint first = first_of(text);
    const size_t length = std::max<size_t>(first.length, 1);
    if (first.length == 0 || (first.code < 0x80 && is_unsafe(first.code) && first.code != kept)) {
      result += byte_escape(text[0]);
    } else if (first.code >= 0x80 && is_unsafe(first.code)) {
      result += code_escape(first.code);
    } else {
      result += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
  return result;
}

}  // namespace

std::string in_hexadecimal(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    const auto number = static_cast<uint8_t>(byte);
    text += digits[number >> 4];
    text += digits[number & 15];
  }
  return text;
}

std::string escape(std::string_view text) {
  constexpr uint32_t none = 0x20;
  return escape_except(text, none);
}

std::string escape_lines(std::string_view text) {
  return escape_except(text, '\n');
}

}  // namespace management
