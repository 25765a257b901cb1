#include "executor/rule.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "executor/words.hpp"

namespace executor {

namespace {

/* One name for each option. Of -A and -I alike the chain alone is wanted; --state and --ctstate of their two modules take
 * the same values, and the module stays in the rule. */
constexpr struct {
  std::string_view written;
  const char* name;
} long_names[] = {
    {"-A", "append"},         {"-I", "append"},       {"--append", "append"},
    {"-t", "table"},          {"-p", "protocol"},     {"-s", "source"},
    {"-d", "destination"},    {"-i", "in-interface"}, {"-o", "out-interface"},
    {"-j", "jump"},           {"-m", "match"},        {"--source-port", "sport"},
    {"-g", "goto"},           {"--src", "source"},    {"--destination-port", "dport"},
    {"--dst", "destination"}, {"--ctstate", "state"},
};

std::string name_of(const std::string& option) {
  for (const auto& known : long_names) {
    if (option == known.written) {
      return known.name;
    }
  }
  return option.substr(std::min(option.size(), option.find_first_not_of('-')));
}

/* Defaults that iptables-save prints or leaves out, and modules that follow from their options. */
constexpr struct {
  std::string_view name;
  std::string_view value;
} implied[] = {
    {"table", "filter"},    {"protocol", "all"},
    {"algo", "bm"},         {"to", "65535"},
    {"limit-burst", "5"},   {"log-level", "4"},
    {"match", "tcp"},       {"match", "udp"},
    {"match", "icmp"},      {"match", "string"},
    {"match", "time"},      {"match", "mac"},
    {"match", "state"},     {"match", "limit"},
    {"match", "conntrack"}, {"datestop", "2038-01-19T03:14:07"},
};

/* Options for which the tools load the module of the protocol, without "-m". */
constexpr std::string_view protocol_options[] = {"sport", "dport", "tcp-flags", "icmp-type",
                                                 "icmpv6-type"};

bool is_number(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/* An address with its prefix length; none where the prefix is that of a single address, and nothing
 * where it takes in every address. A text that is no address stays as it is. */
std::string address(Family family, const std::string& text) {
  const int kind = family == Family::ipv4 ? AF_INET : AF_INET6;
  const unsigned width = family == Family::ipv4 ? 32 : 128;
  const std::size_t slash = text.find('/');
  std::array<unsigned char, 16> bytes = {};
  if (inet_pton(kind, text.substr(0, slash).c_str(), bytes.data()) != 1) {
    return text;
  }
  if (slash != std::string::npos && !is_number(std::string_view(text).substr(slash + 1))) {
    return text;
  }
  const unsigned length =
      slash == std::string::npos
          ? width
          : static_cast<unsigned>(std::strtoul(text.c_str() + slash + 1, nullptr, 10));
  if (length > width) {
    return text;
  }
  for (unsigned bit = length; bit < width; ++bit) {
    bytes[bit / 8] &= static_cast<unsigned char>(~(0x80U >> bit % 8));
  }
  char shown[INET6_ADDRSTRLEN] = {};
  inet_ntop(kind, bytes.data(), shown, sizeof shown);
  if (length == 0) {
    return {};
  }
  return length == width ? shown : std::string(shown) + "/" + std::to_string(length);
}

std::string port(const std::string& text) {
  return is_number(text) ? std::to_string(std::strtoul(text.c_str(), nullptr, 10)) : text;
}

/* "80", or "80:88" where it is a range. */
std::string ports(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) {
    return port(text);
  }
  const std::string first = port(text.substr(0, colon));
  const std::string last = colon + 1 == text.size() ? "65535" : port(text.substr(colon + 1));
  return first == last ? first : first + ":" + last;
}

/* "08:05", with seconds where there are any. */
std::string clock(const std::string& text) {
  unsigned parts[3] = {};
  std::size_t count = 0;
  const char* const end = text.data() + text.size();
  for (const char* at = text.data(); count < std::size(parts); ++at) {
    const auto [rest, fault] = std::from_chars(at, end, parts[count]);
    if (fault != std::errc()) {
      break;
    }
    ++count;
    at = rest;
    if (at == end || *at != ':') {
      break;
    }
  }
  if (count < 2) {
    return text;
  }
  const auto [hour, minute, second] = parts;
  char shown[40];
  std::snprintf(shown, sizeof shown, second == 0 ? "%02u:%02u" : "%02u:%02u:%02u", hour, minute,
                second);
  return shown;
}

std::string in_lower_case(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  });
  return text;
}

std::string protocol(Family family, const std::string& text) {
  constexpr struct {
    const char* number;
    const char* name;
  } names[] = {{"0", "all"}, {"1", "icmp"}, {"6", "tcp"}, {"17", "udp"}};
  for (const auto& known : names) {
    if (text == known.number) {
      return known.name;
    }
  }
  return family == Family::ipv6 && text == "58" ? "ipv6-icmp" : in_lower_case(text);
}

/* One list of TCP flags, in the order in which iptables-save prints them. */
std::string flags(const std::string& text) {
  std::string result;
  for (const char* flag : {"FIN", "SYN", "RST", "PSH", "ACK", "URG"}) {
    if (text.find(flag) != std::string::npos) {
      result += (result.empty() ? "" : ",") + std::string(flag);
    }
  }
  return result.empty() ? text : result;
}

int hex_digit(char c) {
  const char* digits = "0123456789abcdef";
  const char* found =
      c == '\0' ? nullptr : std::strchr(digits, in_lower_case(std::string(1, c))[0]);
  return found == nullptr ? -1 : static_cast<int>(found - digits);
}

/* The bytes of a text that holds hexadecimal bytes between bars. */
std::string bytes_of_hex_string(const std::string& text) {
  std::string bytes;
  bool is_hex = false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '|') {
      is_hex = !is_hex;
    } else if (!is_hex) {
      bytes += text[at];
    } else if (at + 1 < text.size() && hex_digit(text[at]) >= 0 && hex_digit(text[at + 1]) >= 0) {
      bytes += static_cast<char>(hex_digit(text[at]) * 16 + hex_digit(text[at + 1]));
      ++at;
    }
  }
  return bytes;
}

std::string limit(const std::string& text) {
  return text.ends_with("/s") || text.ends_with("/second") ? text.substr(0, text.find('/')) + "/sec"
                                                           : text;
}

std::string normal_value(Family family, const std::string& name, const std::string& value) {
  if (name == "source" || name == "destination") {
    return address(family, value);
  }
  if (name == "sport" || name == "dport") {
    return ports(value);
  }
  if (name == "timestart" || name == "timestop") {
    return clock(value);
  }
  if (name == "mac-source") {
    return in_lower_case(value);
  }
  if (name == "protocol") {
    return protocol(family, value);
  }
  return name == "limit" ? limit(value) : value;
}

bool is_implied(const std::string& name, const std::string& value) {
  const bool open_address = (name == "source" || name == "destination") && value.empty();
  return open_address || std::any_of(std::begin(implied), std::end(implied), [&](const auto& one) {
           return name == one.name && value == one.value;
         });
}

struct Option {
  std::string name;
  bool is_negated = false;
  std::vector<std::string> values;
};

/* Notes the module that an option belongs to, where that says more than the option. */
void add_match(Rule& rule, const std::string& option, const std::string& value) {
  if (option == "match") {
    rule.matches.push_back(value);
    return;
  }
  if (std::find(std::begin(protocol_options), std::end(protocol_options), option) ==
      std::end(protocol_options)) {
    return;
  }
  const auto protocol = rule.options.find("protocol");
  if (protocol == rule.options.end()) {
    return;
  }
  const std::string module = protocol->second == "ipv6-icmp" ? "icmp6" : protocol->second;
  if (std::find(rule.matches.begin(), rule.matches.end(), module) == rule.matches.end()) {
    rule.matches.push_back(module);
  }
}

void add_option(Rule& rule, Family family, Option option) {
  if (option.values.empty() && option.name != "syn") {
    option.values.emplace_back();
  }
  if (option.name == "syn") {
    option.name = "tcp-flags";
    option.values = {"FIN,SYN,RST,ACK", "SYN"};
  }
  if (option.name == "hex-string") {
    option.name = "string";
    option.values[0] = bytes_of_hex_string(option.values[0]);
  }
  // The string match has an option of the same name, whose value is a number.
  if (option.name == "to" && option.values[0].find('.') != std::string::npos) {
    option.name = "to-destination";
  }
  std::string value = normal_value(family, option.name, option.values[0]);
  if (option.name == "tcp-flags" && option.values.size() == 2) {
    value = flags(option.values[0]) + " " + flags(option.values[1]);
  } else {
    for (std::size_t i = 1; i < option.values.size(); ++i) {
      value += " " + option.values[i];
    }
  }
  if (option.name == "append") {
    rule.chain = value;
  } else if (option.name == "jump") {
    rule.target = value;
  } else {
    add_match(rule, option.name, value);
    // What is negated is never a default.
    if (option.is_negated || !is_implied(option.name, value)) {
      rule.options.emplace((option.is_negated ? "! " : "") + option.name, value);
    }
  }
}

/* A key without the prefix lengths of its addresses; no address is all zero too. */
std::string without_prefix_lengths(const std::string& key) {
  std::string text;
  for (std::size_t at = 0; at < key.size();) {
    const std::size_t end = std::min(key.find('\n', at), key.size());
    std::string line = key.substr(at, end - at);
    const std::string_view option = std::string_view(line).substr(line.starts_with("! ") ? 2 : 0);
    if (option.starts_with("source ") || option.starts_with("destination ")) {
      line.resize(std::min(line.find('/'), line.size()));
    }
    if (line != "source ::" && line != "destination ::") {
      text.append(line).append("\n");
    }
    at = end + 1;
  }
  return text;
}

}  // namespace

Rule parse_rule(Family family, const std::string& line) {
  Rule rule;
  bool is_negated = false;
  auto words = words_of(line, line.starts_with("ip") ? Quoting::shell : Quoting::saved);
  if (!words) {
    words = words_of(line, Quoting::saved);
  }
  const auto is_value = [](const Word& word) {
    return word.is_quoted || (word.text != "!" && !word.text.starts_with('-'));
  };
  for (std::size_t at = 0; words && at < words->size();) {
    const Word& word = (*words)[at++];
    if (is_value(word)) {
      continue;  // the program's name
    }
    if (word.text == "!") {
      is_negated = true;
      continue;
    }
    Option option{name_of(word.text), is_negated, {}};
    for (; at < words->size() && is_value((*words)[at]); ++at) {
      option.values.push_back((*words)[at].text);
    }
    add_option(rule, family, std::move(option));
    is_negated = false;
  }
  return rule;
}

bool is_deleted_for(Family family, const std::string& key, const std::string& other) {
  return key == other ||
         (family == Family::ipv6 && without_prefix_lengths(key) == without_prefix_lengths(other));
}

std::string rule_key(Family family, const std::string& line) {
  const Rule rule = parse_rule(family, line);
  std::string text = rule.target;
  for (const std::string& match : rule.matches) {
    text.append("\nmatch ").append(match);
  }
  for (const auto& [name, value] : rule.options) {
    text.append("\n").append(name).append(" ").append(value);
  }
  return text;
}

}  // namespace executor
