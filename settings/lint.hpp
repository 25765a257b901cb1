/* Warnings about settings that are allowed, and stop more, or less, than their author must want. */
#pragma once

#include <optional>
#include <vector>

#include "settings/model.hpp"
#include "settings/problems.hpp"

namespace settings {

/* Of a section that another one makes ineffective, of what a section stops beside what it names, and
 * of what nothing can reach any more (`locks_out`). Sections that are not there are left out. The
 * problems name no line. `span_offset` is that of the words which the problems are about. */
std::vector<Problem> warn_ineffective(const Settings& settings,
                                      std::optional<int> span_offset = {});

}  // namespace settings
