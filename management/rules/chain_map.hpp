/* The gateway's own chains, from the commands by which the library creates and hooks them in. */
#pragma once

#include <string>
#include <vector>

#include "management/rules/rule.hpp"

namespace management {

/* Whether the family has an own chain of this name. */
bool is_own_chain(Family family, const std::string& name);

/* The own chains of a family, in the order of their creation. */
const std::vector<std::string>& own_chains(Family family);

/* The section whose rules a chain holds; "" for a chain that only dispatches, and for a foreign one. */
std::string section_of_chain(Family family, const std::string& chain);

/* The setting that appends the last rule of a chain's list, such as "url_filter.mode"; "" where none does. */
std::string closing_setting(Family family, const std::string& chain);

/* The rules of INPUT and FORWARD that lead into the own chains, in order. */
std::vector<Rule> entry_jumps(Family family);

/* The same as lines of a restore tool, such as "-A FORWARD -j forward_ext_ip". */
std::vector<std::string> entry_jump_lines(Family family);

/* The rules that stand behind them in FORWARD while IPsec may not pass. */
std::vector<Rule> ipsec_rules();
std::vector<std::string> ipsec_lines();

/* The chain of management access. Its rules are stored nowhere, so none of them is unexpected. */
inline constexpr char access_chain[] = "input_ext_access_ctrl";

}  // namespace management
