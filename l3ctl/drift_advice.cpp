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

std::string words_of(Cure cure, bool is_firewall_on, const std::string& internet_wan) {
  switch (cure) {
    case Cure::restart:
      return "restart the gateway: chains and jumps are made at boot, once";
    case Cure::firewall:
      return is_firewall_on ? "\"l3ctl firewall on\" makes the rules of the lists anew"
                            : "\"l3ctl firewall off\" takes the rules of the lists away";
    case Cure::dhcp_rules:
      return "\"l3ctl dhcp-filter off\" and \"l3ctl dhcp-filter on\", or off alone where it is to "
             "be off";
    case Cure::ipsec:
      return "\"l3ctl ipsec\" the other way and back again";
    case Cure::wan:
      break;
  }
  return "\"l3ctl wan update " + (internet_wan.empty() ? "NAME" : internet_wan) +
         "\" binds the rules to the Internet WAN";
}

}  // namespace

std::string advice_on(const std::vector<Drift>& drifts, bool is_firewall_on,
                      const std::string& internet_wan) {
  std::string advice;
  for (const Cure cure : cures) {
    if (std::any_of(drifts.begin(), drifts.end(),
                    [cure](const Drift& drift) { return cure_of(drift) == cure; })) {
      advice += (advice.empty() ? "" : "; ") + words_of(cure, is_firewall_on, internet_wan);
    }
  }
  return advice + "; \"l3ctl check\" lists all";
}

}  // namespace l3ctl
