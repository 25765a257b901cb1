#include "l3ctl/views/problem_report.hpp"

#include <algorithm>

#include "l3ctl/context.hpp"
#include "settings/lint.hpp"

namespace l3ctl {

namespace {

using settings::Problem;
using settings::Settings;

bool holds(const std::vector<Problem>& problems, const Problem& problem) {
  return std::find(problems.begin(), problems.end(), problem) != problems.end();
}

}  // namespace

void warn_of_change(const Settings& stored, const Settings& changed, const Settings& told) {
  const bool goes_on = *changed.firewall && !*stored.firewall;
  const auto offset = span_offset(changed);
  const std::vector<Problem> before = warn_ineffective(stored, offset);
  const std::vector<Problem> printed = warn_ineffective(told, offset);
  for (const Problem& warning : warn_ineffective(changed, offset)) {
    const bool is_new = !holds(before, warning) || (goes_on && warning.locks_out);
    if (is_new && !holds(printed, warning)) {
      inform("warning: " + to_text(warning));
    }
  }
}

}  // namespace l3ctl
