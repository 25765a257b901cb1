/* What brings rules back in line with the settings. */
#pragma once

#include <string>
#include <vector>

#include "l3ctl/drift.hpp"
#include "settings/settings.hpp"

namespace l3ctl {

/* A command for each kind of difference. `internet_wan` may be empty. */
std::string advice_on(const std::vector<Drift>& drifts, const settings::Settings& stored,
                      const std::string& internet_wan);

}  // namespace l3ctl
