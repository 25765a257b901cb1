#include "l3ctl/drift_advice.hpp"

#include <algorithm>

#include "l3ctl/own_chains.hpp"

namespace l3ctl {

namespace {

/* What puts a difference right, in the order in which it is to be done. */
enum class Cure : uint8_t { restart, firewall, dhcp_rules, ipsec, wan };

constexpr Cure cures[] = {Cure::restart, Cure::firewall, Cure::dhcp_rules, Cure::ipsec, Cure::wan};

Cure cure_of(const Drift& drift) {
  const OwnChain* own = own_chain(drift.family, drift.chain);
  if (own == nullptr) {
    // In INPUT and FORWARD stand the jumps that a start makes, and the drops of IPsec.
    return drift.words.starts_with("DROP ") ? Cure::ipsec : Cure::restart;
  }
  if (drift.words.empty()) {
    return Cure::restart;
  }
  if (drift.chain == "input_ext_dhcp") {
    return Cure::dhcp_rules;
  }
  const bool is_bound = drift.chain == "forward_ext_ip" || drift.chain == "input_ext_acl" ||
                        drift.chain == "input_ext_local_access_ex";
  return is_bound ? Cure::wan : Cure::firewall;
}

/* To set what is stored already would change nothing, so the other comes first. */
std::string there_and_back(const std::string& command, bool is_on) {
  const std::string on = "\"l3ctl " + command + " on\"";
  const std::string off = "\"l3ctl " + command + " off\"";
  return is_on ? off + ", then " + on : on + ", then " + off;
}

std::string words_of(Cure cure, const settings::Settings& stored, const std::string& internet_wan) {
  switch (cure) {
    case Cure::restart:
      return "restart the gateway: chains and jumps are made at boot, once";
    case Cure::firewall:
      return *stored.firewall ? "\"l3ctl firewall on\" makes the rules of the lists anew"
                              : "\"l3ctl firewall off\" takes the rules of the lists away";
    case Cure::dhcp_rules:
      return there_and_back("dhcp-filter", stored.dhcp_filter->dhcp_mac_filter_ctrl != 0);
    case Cure::ipsec:
      return there_and_back("ipsec", *stored.ipsec_pass_through);
    case Cure::wan:
      break;
  }
  return "\"l3ctl wan update " + (internet_wan.empty() ? "NAME" : internet_wan) +
         "\" binds the rules to the Internet WAN";
}

}  // namespace

std::string advice_on(const std::vector<Drift>& drifts, const settings::Settings& stored,
                      const std::string& internet_wan) {
  std::string advice;
  for (const Cure cure : cures) {
    if (std::any_of(drifts.begin(), drifts.end(),
                    [cure](const Drift& drift) { return cure_of(drift) == cure; })) {
      advice += (advice.empty() ? "" : "; ") + words_of(cure, stored, internet_wan);
    }
  }
  return advice + "; \"l3ctl check\" lists all";
}

}  // namespace l3ctl
