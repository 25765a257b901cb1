/* Differences of settings, for people and programs. */
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "management/change/settings_diff.hpp"

namespace l3ctl {

using management::FieldChange;

/* A line each, for people. */
std::string field_lines(const std::vector<FieldChange>& changes);

/* A list of objects with path, old and new, for programs. */
nlohmann::ordered_json field_list(const std::vector<FieldChange>& changes);

}  // namespace l3ctl
