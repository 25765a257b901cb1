/* What brings rules back in line with the settings. */
#pragma once

#include <string>
#include <vector>

#include "management/rules/drift.hpp"
#include "settings/settings.hpp"

namespace management {

/* A command for each kind of difference. `internet_wan` may be empty. */
std::string remedies_for(const std::vector<Drift>& drifts, const settings::Settings& stored,
                         const std::string& internet_wan);

}  // namespace management
