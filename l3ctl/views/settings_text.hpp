/* Settings for people: the same words as in JSON, aligned. */
#pragma once

#include <string>
#include <vector>

#include "l3ctl/context.hpp"
#include "settings/settings.hpp"

namespace l3ctl {

/* The named sections, or all of them where none is named. */
std::string text_view(const settings::Settings& settings, const std::vector<std::string>& sections);

}  // namespace l3ctl
