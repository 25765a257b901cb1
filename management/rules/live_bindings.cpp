#include "management/rules/live_bindings.hpp"

#include <algorithm>

namespace management {

namespace {

using Names = std::vector<std::string>;

/* The interfaces of a chain's rules with this target. */
Names interfaces_in(const LiveTable& table, const char* chain, const char* target) {
  Names names;
  const LiveChain* found = table.find(chain);
  for (const LiveRule& live : found == nullptr ? std::vector<LiveRule>() : found->rules) {
    const auto in = live.rule.options.find("in-interface");
    if (live.rule.target == target && in != live.rule.options.end()) {
      names.push_back(in->second);
    }
  }
  return names;
}

settings::Binding binding_to(const Names& names, const std::string& internet_wan) {
  if (names.empty()) {
    return {false, {}};
  }
  const bool is_right = std::find(names.begin(), names.end(), internet_wan) != names.end();
  return {true, is_right ? "" : names.front()};
}

}  // namespace

LiveBindings bindings_in(const LiveTable& ipv4, const LiveTable& ipv6) {
  constexpr char forwarded[] = "forward_ext_ip";
  return {ipv4.find(forwarded) == nullptr && ipv6.find(forwarded) == nullptr,
          interfaces_in(ipv4, forwarded, "forward_ext_ds_ip"),
          interfaces_in(ipv6, forwarded, "forward_ext_ds_ip"),
          interfaces_in(ipv4, "input_ext_acl", "input_ext_ds_acl"),
          interfaces_in(ipv4, "input_ext_local_access_ex", "DROP")};
}

LiveBindings read_live_bindings() {
  const LiveTable ipv4 = read_live(Family::ipv4);
  const LiveTable ipv6 = read_live(Family::ipv6);
  return bindings_in(ipv4, ipv6);
}

settings::Bindings for_verdict(const LiveBindings& live, std::string internet_wan) {
  for (const Names* names : {&live.ip_filter, &live.ip6_filter, &live.acl, &live.wan_drop}) {
    if (internet_wan.empty() && !names->empty()) {
      internet_wan = names->front();
    }
  }
  return {binding_to(live.ip_filter, internet_wan), binding_to(live.ip6_filter, internet_wan),
          binding_to(live.acl, internet_wan), binding_to(live.wan_drop, internet_wan)};
}

}  // namespace management
