/* A rule in words: what happens, to what, and when. */
#include <algorithm>

#include "management/rules/rule.hpp"
#include "management/system/escape.hpp"
#include "settings/local_span.hpp"

namespace management {

namespace {

/* The host name whose look-up holds these bytes: labels with their lengths in front. Bytes that are no
 * labels are shown in quotes. */
std::string name_of_labels(const std::string& bytes) {
  std::string name;
  for (size_t at = 0; at < bytes.size();) {
    const size_t length = static_cast<unsigned char>(bytes[at]);
    if (length == 0 || at + length >= bytes.size()) {
      return "\"" + escape(bytes) + "\"";
    }
    name += (name.empty() ? "" : ".") + escape(bytes.substr(at + 1, length));
    at += length + 1;
  }
  return name;
}

std::string range(std::string ports) {
  std::replace(ports.begin(), ports.end(), ':', '-');
  return ports;
}

/* Values that read well as they are, after a word; an empty word stands for none. */
struct Wording {
  const char* option;
  const char* word;
};
constexpr Wording what_matches[] = {
    {"protocol", ""},      {"dport", ""},        {"sport", "source port"}, {"string", "name"},
    {"mac-source", "mac"}, {"source", "from"},   {"destination", "to"},    {"tcp-flags", "flags"},
    {"state", "state"},    {"limit", "at most"}, {"log-prefix", "prefix"},
};
constexpr Wording where_it_matches[] = {{"in-interface", "in"}, {"out-interface", "out"}};

std::string shown_value(const std::string& option, const std::string& value) {
  if (option == "dport" || option == "sport") {
    return range(value);
  }
  if (option == "string") {
    return name_of_labels(value);
  }
  if (option == "tcp-flags") {
    const size_t space = value.find(' ');
    return space == std::string::npos ? value
                                      : value.substr(space + 1) + " of " + value.substr(0, space);
  }
  return option == "log-prefix" ? "\"" + escape(value) + "\"" : escape(value);
}

/* Takes an option out of the rule, negated or not, and puts it into words. */
std::string take(Rule& rule, const std::string& option, const std::string& word) {
  std::string words;
  for (const char* negation : {"", "! "}) {
    const auto [begin, end] = rule.options.equal_range(negation + option);
    for (auto at = begin; at != end; ++at) {
      words += *negation == '\0' ? " " : " not ";
      words += word + (word.empty() ? "" : " ") + shown_value(option, at->second);
    }
    rule.options.erase(begin, end);
  }
  return words;
}

/* Also the hours of the local clock, where they differ: the span of all day is no hour of any clock. */
std::string with_local_hours(const std::string& span, int offset) {
  const auto utc = settings::parse_time_span(span).value;
  if (!utc || span == "00:00-23:59") {
    return span + " UTC";
  }
  return settings::time_span_text(settings::to_local(*utc, offset)) + " (" + span + " UTC)";
}

/* "08:00-21:30"; a missing end is that of the day. */
std::string take_span(Rule& rule, std::optional<int> offset) {
  const auto start = rule.options.find("timestart");
  const auto stop = rule.options.find("timestop");
  if (start == rule.options.end() && stop == rule.options.end()) {
    return {};
  }
  const std::string span = (start == rule.options.end() ? "00:00" : start->second) + "-" +
                           (stop == rule.options.end() ? "24:00" : stop->second);
  rule.options.erase("timestart");
  rule.options.erase("timestop");
  return " " + (offset ? with_local_hours(span, *offset) : span);
}

}  // namespace

const char* family_name(Family family) {
  return family == Family::ipv4 ? "IPv4" : "IPv6";
}

std::string in_words(const Rule& rule, std::optional<int> span_offset) {
  Rule rest = rule;
  const auto is_upper = [](unsigned char c) { return c < 'a' || c > 'z'; };
  std::string words = rule.target;
  if (rule.target.empty()) {
    words = "count";
  } else if (!std::all_of(rule.target.begin(), rule.target.end(), is_upper)) {
    words = "jump " + rule.target;
  }
  for (const Wording& known : what_matches) {
    words += take(rest, known.option, known.word);
  }
  words += take_span(rest, span_offset);
  for (const Wording& known : where_it_matches) {
    words += take(rest, known.option, known.word);
  }
  for (const auto& [option, value] : rest.options) {
    const bool is_negated = option.starts_with("! ");
    words += (is_negated ? " not --" : " --") + option.substr(is_negated ? 2 : 0);
    words += value.empty() ? "" : " " + escape(value);
  }
  return words;
}

bool matches_nothing(const Rule& rule) {
  const auto is_open = [&](const char* end) {
    const auto found = rule.options.find(end);
    return found != rule.options.end() && found->second == "::";
  };
  return is_open("source") || is_open("destination");
}

}  // namespace management
