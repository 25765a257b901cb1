/* The chains that are the gateway's own, and how start-up hooks them into the kernel's. */
#pragma once

#include <span>
#include <string>
#include <vector>

#include "management/rules/rule.hpp"

namespace management {

struct OwnChain {
  const char* name;
  const char* section; /* whose rules it holds; "" for one that only hands on */
  bool is_in_ipv6;
};

std::span<const OwnChain> own_chains();

/* Null where the family has no own chain of this name. */
const OwnChain* own_chain(Family family, const std::string& name);

/* The rules of INPUT and FORWARD that lead into the own chains, in order. */
std::vector<Rule> hooks(Family family);

/* The rules that stand behind them in FORWARD while IPsec may not pass. */
std::vector<Rule> ipsec_rules();

/* The chain of management access. What it holds is stored nowhere, and so right as it is. */
inline constexpr char access_chain[] = "input_ext_access_ctrl";

}  // namespace management
