/* Settings that are allowed and cannot have the effect that their author must want. */
#pragma once

#include <cstddef>
#include <functional>

#include "settings/problems.hpp"
#include "settings/settings.hpp"

namespace settings {

/* Warns of one section that another undoes, and of what a section stops beside what it names.
 * `line_of` gives the line of a path of the text, or of what is nearest to it. */
void warn_of_effects(const Settings& settings,
                     const std::function<size_t(const std::string&)>& line_of, Problems& problems);

}  // namespace settings
