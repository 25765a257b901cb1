/* The rules that stand in the kernel, as iptables-save tells them. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "management/rules/rule.hpp"

namespace management {

struct Counters {
  uint64_t packets = 0;
  uint64_t bytes = 0;
};

struct LiveRule {
  Rule rule;
  Counters counters;
};

struct LiveChain {
  std::string name;
  std::string policy; /* of a built-in chain; empty for one that somebody made */
  Counters counters;  /* of the policy */
  std::vector<LiveRule> rules;
};

/* The filter table of one family, chains in the tool's order. */
struct LiveTable {
  Family family = Family::ipv4;
  std::vector<LiveChain> chains;

  /* Null where there is no such chain. */
  [[nodiscard]] const LiveChain* find(const std::string& name) const;
};

/* Asks iptables-save, or ip6tables-save. Ends the program where that does not answer. */
LiveTable read_live(Family family);

/* The same from a text of "iptables-save -c"; what is not a rule, a chain or a remark is an error. */
LiveTable parse_live(Family family, const std::string& text);

}  // namespace management
