#include "management/health/remedies.hpp"

#include <algorithm>

#include "management/rules/chain_map.hpp"

namespace management {

namespace {

using Kind = Remedy::Kind;

Kind kind_for(const Drift& drift) {
  if (!is_own_chain(drift.family, drift.chain)) {
    // In INPUT and FORWARD stand the jumps that a start makes, and the drops of IPsec.
    return drift.words.starts_with("DROP ") ? Kind::toggle_ipsec : Kind::make_chains;
  }
  if (drift.words.empty()) {
    return Kind::make_chains;
  }
  if (drift.chain == "input_ext_dhcp") {
    return Kind::toggle_dhcp_filter;
  }
  const bool is_bound = drift.chain == "forward_ext_ip" || drift.chain == "input_ext_acl" ||
                        drift.chain == "input_ext_local_access_ex";
  return is_bound ? Kind::bind_wan : Kind::make_rules;
}

}  // namespace

std::vector<Remedy> remedies_for(const std::vector<Drift>& drifts, const settings::Settings& stored,
                                 const std::string& internet_wan) {
  const auto state = [](bool is_on) { return is_on ? "on" : "off"; };
  const Remedy all[] = {
      {Kind::make_chains, ""},
      {Kind::make_rules, state(*stored.firewall)},
      {Kind::toggle_dhcp_filter, state(stored.dhcp_filter->dhcp_mac_filter_ctrl != 0)},
      {Kind::toggle_ipsec, state(*stored.ipsec_pass_through)},
      {Kind::bind_wan, internet_wan},
  };
  std::vector<Remedy> remedies;
  std::copy_if(
      std::begin(all), std::end(all), std::back_inserter(remedies), [&](const Remedy& remedy) {
        return std::any_of(drifts.begin(), drifts.end(),
                           [&](const Drift& drift) { return kind_for(drift) == remedy.kind; });
      });
  remedies.push_back({Kind::list_drift});
  return remedies;
}

}  // namespace management
