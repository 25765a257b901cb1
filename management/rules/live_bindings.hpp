/* Which Internet WAN the live rules are bound to: "l3ctl wan" says, and no setting. */
#pragma once

#include <string>
#include <vector>

#include "management/rules/live_rules.hpp"
#include "settings/simulation/verdict.hpp"

namespace management {

/* One for each chain whose rules tell the Internet WAN apart; the names of the interfaces that they
 * take for it. */
struct LiveBindings {
  bool is_bare = false; /* there are no chains of ours, of either family */
  std::vector<std::string> ip_filter;
  std::vector<std::string> ip6_filter;
  std::vector<std::string> acl;
  std::vector<std::string> wan_drop;
};

LiveBindings bindings_in(const LiveTable& ipv4, const LiveTable& ipv6);
LiveBindings read_live_bindings();

/* The same for a verdict, where `internet_wan` is the interface; without one it is the first that
 * rules are bound to. */
settings::Bindings for_verdict(const LiveBindings& live, std::string internet_wan);

}  // namespace management
