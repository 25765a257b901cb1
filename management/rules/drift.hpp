/*
 * Live rules held against the wanted ones, chain by chain.
 *
 * Not every difference is a drift. As they are meant to be:
 *   - rules of INPUT, FORWARD and OUTPUT that lead to no chain of ours, and chains of others
 *   - no DHCP rules: a start does not bring them back, and turning the firewall on takes them away
 *   - no rules that tell directions apart: the gateway is bound to no Internet WAN yet
 *   - these and the drop of the Internet WAN several times: each binding adds them once more
 *   - any rule of management access: it is stored nowhere
 *   - a jump to input_ext_local_access_ex, or several, where port-scan protection is off
 */
#pragma once

#include <string>
#include <vector>

#include "management/options.hpp"
#include "management/rules/expected_rules.hpp"
#include "management/rules/live_rules.hpp"

namespace management {

enum class RuleState : uint8_t {
  expected,   /* stands where its setting puts it */
  unexpected, /* no setting asks for it */
  missing,    /* a setting asks for it, and it is not there */
  moved,      /* stands in another place than its setting puts it */
  runtime,    /* ours, but stored nowhere */
  foreign,    /* somebody else's */
};

/* "as set", "extra", ... */
const char* state_name(RuleState state);

/* One rule, live or missing, in its place. */
struct ComparedRule {
  RuleState state = RuleState::expected;
  Rule rule;
  Counters counters; /* zero for a missing one */
  Origin origin;
  std::string words; /* the rule, with hours of the settings' time zone */
};

struct ComparedChain {
  std::string name;
  std::string policy;
  Counters counters;
  bool is_own = false;
  bool is_missing = false;
  std::vector<ComparedRule> rules;
};

struct ComparedTable {
  Family family = Family::ipv4;
  std::vector<ComparedChain> chains;
  bool is_bare = false; /* there is no chain of ours at all, then none is in `chains` */
};

struct RuleComparison {
  std::vector<ComparedTable> tables; /* IPv4, IPv6 */
  std::vector<std::string> notes;    /* what is worth knowing and no drift */
};

/* One drift, as check tells it. */
struct Drift {
  Family family = Family::ipv4;
  std::string chain; /* empty where all chains are missing */
  RuleState state = RuleState::missing;
  std::string words; /* the rule; empty where the chain itself is missing */
  Origin origin;
};

/* Reads what is stored and what is live, between changes of others, and changes nothing. */
RuleComparison compare_rules(const Options& options);

std::vector<Drift> drifts(const RuleComparison& comparison);

/* "IPv4 forward_ext_url: missing: DROP udp 53 ... (url_filter.entries[3])" */
std::string in_words(const Drift& drift);

}  // namespace management
