/* Which settings the packets have met: the counters of the rules, summed up by the setting behind them. */
#pragma once

#include <string>
#include <vector>

#include "management/rules/drift.hpp"

namespace management {

struct Hits {
  std::string section;
  std::string setting; /* such as "mac_filter.devices[0]" */
  Counters counters;
};

/* The settings that have rules, those with most packets first. A jump between own chains is left out: the rules of the
 * chain count its packets. */
std::vector<Hits> hits_by_setting(const RuleComparison& comparison);

/* What was added since the last call that noted the counters, and notes them. Rules made anew count from zero. Without
 * an earlier note, or one of another start of the machine, everything was added. */
std::vector<Hits> hits_since_last(std::vector<Hits> hits);

}  // namespace management
