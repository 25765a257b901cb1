#include "settings/zone_name.hpp"

#include <algorithm>
#include <cstdint>

namespace settings {

namespace {

constexpr size_t longest_name = 64;

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

/* Takes a POSIX TZ string apart from its front. */
class PosixParser {
 public:
  explicit PosixParser(std::string_view text) : rest_(text) {}

  [[nodiscard]] bool is_at_end() const { return rest_.empty(); }

  bool take(char c) {
    if (rest_.empty() || rest_.front() != c) {
      return false;
    }
    rest_.remove_prefix(1);
    return true;
  }

  /* Three letters or more, or such letters, digits and signs between "<" and ">". */
  bool abbreviation() {
    const bool is_quoted = take('<');
    const auto end = std::find_if_not(rest_.begin(), rest_.end(), [&](char c) {
      return is_letter(c) || (is_quoted && (is_digit(c) || c == '+' || c == '-'));
    });
    const auto length = static_cast<size_t>(end - rest_.begin());
    rest_.remove_prefix(length);
    return length >= 3 && (!is_quoted || take('>'));
  }

  /* Hours, and minutes behind a colon. */
  bool offset() {
    skip_sign();
    return number(0, 24) && (!take(':') || (number(0, 59) && (!take(':') || number(0, 0))));
  }

  /* ",day" or ",day/time" */
  bool rule() { return take(',') && day() && (!take('/') || time()); }

 private:
  void skip_sign() { take('+') || take('-'); }

  bool number(int lowest, int highest) {
    int value = 0;
    size_t digits = 0;
    for (; digits < rest_.size() && digits < 3 && is_digit(rest_[digits]); ++digits) {
      value = value * 10 + (rest_[digits] - '0');
    }
    rest_.remove_prefix(digits);
    return digits != 0 && value >= lowest && value <= highest;
  }

  bool day() {
    if (take('M')) {
      return number(1, 12) && take('.') && number(1, 5) && take('.') && number(0, 6);
    }
    return take('J') ? number(1, 365) : number(0, 365);
  }

  bool time() {
    skip_sign();
    return number(0, 167) && (!take(':') || (number(0, 59) && (!take(':') || number(0, 59))));
  }

  std::string_view rest_;
};

/* The counts in a header, in their order there. */
struct Counts {
  uint64_t utc = 0;
  uint64_t standard = 0;
  uint64_t leaps = 0;
  uint64_t times = 0;
  uint64_t types = 0;
  uint64_t characters = 0;
};

uint32_t big_endian(std::string_view bytes, size_t at) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) {
    value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
  }
  return value;
}

constexpr size_t header_size = 44;
constexpr size_t type_size = 6;

/* Takes a header and its data off the bytes; `time_size` is 4 in the first part of a file, and 8 in the second. */
bool take_part(std::string_view& bytes, size_t time_size) {
  if (bytes.size() < header_size || !bytes.starts_with("TZif")) {
    return false;
  }
  const Counts counts{big_endian(bytes, 20), big_endian(bytes, 24), big_endian(bytes, 28),
                      big_endian(bytes, 32), big_endian(bytes, 36), big_endian(bytes, 40)};
  const uint64_t indexes = counts.times * time_size;
  const uint64_t types = indexes + counts.times;
  const uint64_t size = types + counts.types * type_size + counts.characters +
                        counts.leaps * (time_size + 4) + counts.standard + counts.utc;
  bytes.remove_prefix(header_size);
  if (size > bytes.size() || counts.types == 0 || counts.characters == 0) {
    return false;
  }
  // From here on every number is below the size of the text.
  const auto first_type = static_cast<size_t>(types);
  for (const char index : bytes.substr(0, first_type).substr(static_cast<size_t>(indexes))) {
    if (static_cast<uint8_t>(index) >= counts.types) {
      return false;
    }
  }
  for (size_t i = 0; i < counts.types; ++i) {
    if (static_cast<uint8_t>(bytes[first_type + i * type_size + 5]) >= counts.characters) {
      return false;
    }
  }
  bytes.remove_prefix(static_cast<size_t>(size));
  return true;
}

}  // namespace

bool is_posix_zone(std::string_view text) {
  PosixParser parser(text);
  if (text.size() > longest_name || !parser.abbreviation() || !parser.offset()) {
    return false;
  }
  if (parser.is_at_end()) {
    return true;
  }
  if (!parser.abbreviation()) {
    return false;
  }
  PosixParser with_offset = parser;
  if (with_offset.offset()) {
    parser = with_offset;
  }
  return parser.rule() && parser.rule() && parser.is_at_end();
}

bool is_zone_name(std::string_view text) {
  if (text.empty() || text.size() > longest_name || !is_letter(text.front()) ||
      text.ends_with('/') || text.find("//") != std::string_view::npos) {
    return false;
  }
  return std::all_of(text.begin(), text.end(), [](char c) {
    return is_letter(c) || is_digit(c) || c == '/' || c == '_' || c == '-' || c == '+';
  });
}

bool is_zone_file(std::string_view bytes) {
  const bool has_second_part = bytes.size() > 4 && bytes[4] >= '2';
  if (!take_part(bytes, 4)) {
    return false;
  }
  if (!has_second_part) {
    return true;
  }
  // The footer is the rule for the time after the last change, between two line feeds.
  return take_part(bytes, 8) && bytes.size() >= 2 && bytes.front() == '\n' &&
         bytes.find('\n', 1) != std::string_view::npos;
}

}  // namespace settings
