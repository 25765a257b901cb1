/* What brings rules back in line with the settings. */
#pragma once

#include <string>
#include <vector>

#include "management/remedy.hpp"
#include "management/rules/drift.hpp"
#include "settings/settings.hpp"

namespace management {

/* One remedy for each kind of difference. `internet_wan` may be empty. */
std::vector<Remedy> remedies_for(const std::vector<Drift>& drifts, const settings::Settings& stored,
                                 const std::string& internet_wan);

}  // namespace management
