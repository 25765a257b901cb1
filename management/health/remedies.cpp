#include "management/health/remedies.hpp"

#include <algorithm>

#include "management/rules/chain_map.hpp"

namespace management {

namespace {

/* What puts a difference right, in the order in which it is to be done. */
enum class Remedy : uint8_t { restart, firewall, dhcp_rules, ipsec, wan };

constexpr Remedy remedies[] = {Remedy::restart, Remedy::firewall, Remedy::dhcp_rules, Remedy::ipsec,
                               Remedy::wan};

Remedy remedy_of(const Drift& drift) {
  if (!is_own_chain(drift.family, drift.chain)) {
    // In INPUT and FORWARD stand the jumps that a start makes, and the drops of IPsec.
    return drift.words.starts_with("DROP ") ? Remedy::ipsec : Remedy::restart;
  }
  if (drift.words.empty()) {
    return Remedy::restart;
  }
  if (drift.chain == "input_ext_dhcp") {
    return Remedy::dhcp_rules;
  }
  const bool is_bound = drift.chain == "forward_ext_ip" || drift.chain == "input_ext_acl" ||
                        drift.chain == "input_ext_local_access_ex";
  return is_bound ? Remedy::wan : Remedy::firewall;
}

/* To set what is stored already would change nothing, so the other comes first. */
std::string toggle_command(const std::string& command, bool is_on) {
  const std::string on = "\"l3ctl " + command + " on\"";
  const std::string off = "\"l3ctl " + command + " off\"";
  return is_on ? off + ", then " + on : on + ", then " + off;
}

std::string words_of(Remedy remedy, const settings::Settings& stored,
                     const std::string& internet_wan) {
  switch (remedy) {
    case Remedy::restart:
      return "\"l3ctl init --again\" makes chains and jumps anew";
    case Remedy::firewall:
      return *stored.firewall ? "\"l3ctl firewall on\" makes the rules of the lists anew"
                              : "\"l3ctl firewall off\" takes the rules of the lists away";
    case Remedy::dhcp_rules:
      return toggle_command("dhcp-filter", stored.dhcp_filter->dhcp_mac_filter_ctrl != 0);
    case Remedy::ipsec:
      return toggle_command("ipsec", *stored.ipsec_pass_through);
    case Remedy::wan:
      break;
  }
  return "\"l3ctl wan update " + (internet_wan.empty() ? "NAME" : internet_wan) +
         "\" binds the rules to the Internet WAN";
}

}  // namespace

std::string remedies_for(const std::vector<Drift>& drifts, const settings::Settings& stored,
                         const std::string& internet_wan) {
  std::string advice;
  for (const Remedy remedy : remedies) {
    if (std::any_of(drifts.begin(), drifts.end(),
                    [remedy](const Drift& drift) { return remedy_of(drift) == remedy; })) {
      advice += (advice.empty() ? "" : "; ") + words_of(remedy, stored, internet_wan);
    }
  }
  return advice + "; \"l3ctl check\" lists all";
}

}  // namespace management
