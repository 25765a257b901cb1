/* Rules of the packet filter (executor/rule.hpp), and how they are worded. */
#pragma once

#include <optional>
#include <string>

#include "executor/rule.hpp"

namespace management {

using executor::Family;
using executor::parse_rule;
using executor::Rule;

/* "IPv4" and "IPv6". */
const char* family_name(Family family);

/* Whether no packet can meet it: one with an open IPv6 address, which stands for "::" itself. */
bool matches_nothing(const Rule& rule);

/* The rule in words, such as "DROP udp 53 name example.com 08:00-21:30". With an offset from UTC its span is that of the
 * local clock, with UTC beside it. */
std::string in_words(const Rule& rule, std::optional<int> span_offset = {});

}  // namespace management
