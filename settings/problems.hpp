/* What is wrong with settings, as data; a front end makes messages of it. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "settings/values.hpp"

namespace settings {

struct Problem {
  size_t line = 0;       /* of the text; 0 for settings that are no text */
  size_t column = 0;     /* 0: the line as a whole */
  std::string path = {}; /* such as "ip_filter.rules[0].source"; empty for the text as a whole */
  std::string what = {};
  bool locks_out =
      false; /* a warning: a service, or all traffic of a kind, is closed to everyone */

  bool operator==(const Problem&) const = default;
};

/* "path: what", or "what" without a path. */
inline std::string to_text(const Problem& problem) {
  return problem.path.empty() ? problem.what : problem.path + ": " + problem.what;
}

/* "source:line: path: what", with the column behind the line where one is known. */
inline std::string to_text(const Problem& problem, const std::string& source) {
  return source + ":" + std::to_string(problem.line) +
         (problem.column == 0 ? "" : ":" + std::to_string(problem.column)) + ": " +
         to_text(problem);
}

/* Where settings come from: from people, or from what is stored. */
enum class Origin : uint8_t { input, stored };

/* Reads the hardware address that a text says, or stands for. */
using ParseMac = Parsed<MacAddress> (*)(std::string_view text);

/* Collects problems, so that everything is reported at once. */
class Problems {
 public:
  explicit Problems(Origin origin, ParseMac parse_mac = settings::parse_mac)
      : origin_(origin), mac_parser_(origin == Origin::stored ? parse_stored_mac : parse_mac) {}

  [[nodiscard]] Origin origin() const { return origin_; }
  /* The parser of hardware addresses for settings of this origin. */
  [[nodiscard]] ParseMac mac_parser() const { return mac_parser_; }

  /* The minutes that the clock of the text's spans is ahead of UTC; nothing for spans in UTC. */
  std::optional<int> span_offset;

  void refuse(size_t line, const std::string& path, const std::string& what) {
    errors.push_back({.line = line, .path = path, .what = what});
  }
  /* Refuses the text as a whole, because of this place. */
  void refuse_text(size_t line, size_t column, const std::string& what) {
    errors.push_back({.line = line, .column = column, .what = what});
  }
  void warn(size_t line, const std::string& path, const std::string& what) {
    warnings.push_back({.line = line, .path = path, .what = what});
  }

  std::vector<Problem> errors;
  std::vector<Problem> warnings;

 private:
  Origin origin_;
  ParseMac mac_parser_;
};

}  // namespace settings
