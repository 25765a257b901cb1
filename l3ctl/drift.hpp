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

#include "l3ctl/context.hpp"
#include "l3ctl/live_rules.hpp"
#include "l3ctl/wanted_rules.hpp"

namespace l3ctl {

enum class Mark : uint8_t {
  as_set,   /* stands where its setting puts it */
  extra,    /* no setting asks for it */
  missing,  /* a setting asks for it, and it is not there */
  moved,    /* stands in another place than its setting puts it */
  unstored, /* ours, but stored nowhere */
  foreign,  /* somebody else's */
};

/* "as set", "extra", ... */
const char* mark_name(Mark mark);

/* One rule, live or missing, in its place. */
struct JudgedRule {
  Mark mark = Mark::as_set;
  Rule rule;
  Counters counters; /* zero for a missing one */
  Origin origin;
};

struct JudgedChain {
  std::string name;
  std::string policy;
  Counters counters;
  bool is_own = false;
  bool is_missing = false;
  std::vector<JudgedRule> rules;
};

struct JudgedTable {
  Family family = Family::ipv4;
  std::vector<JudgedChain> chains;
  bool is_bare = false; /* there is no chain of ours at all, then none is in `chains` */
};

struct Judgement {
  std::vector<JudgedTable> tables; /* IPv4, IPv6 */
  std::vector<std::string> notes;  /* what is worth knowing and no drift */
};

/* One drift, as check tells it. */
struct Drift {
  Family family = Family::ipv4;
  std::string chain; /* empty where all chains are missing */
  Mark mark = Mark::missing;
  std::string words; /* the rule; empty where the chain itself is missing */
  Origin origin;
};

/* Reads what is stored and what is live, between changes of others, and changes nothing. */
Judgement judge_live_rules(const Context& context);

std::vector<Drift> drifts(const Judgement& judgement);

/* "IPv4 forward_ext_url: missing: DROP udp 53 ... (url_filter.entries[3])" */
std::string in_words(const Drift& drift);

}  // namespace l3ctl
