/* Two sets of settings compared field by field, in the words and paths of the settings file. */
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "settings/settings.hpp"

namespace management {

/* One field: an entry of a list that is only on one side, or a member that differs. Null stands for
 * a side without it. The index of an entry that goes is its old one, else its new one. */
struct FieldChange {
  std::string path; /* as in messages: ip_filter.rules[0].source */
  nlohmann::ordered_json old_value;
  nlohmann::ordered_json new_value;
};

/* What the wanted settings would change; sections that they leave out stay. A section whose stored
 * bytes differ where no field shows it is a change of null to null. */
std::vector<FieldChange> settings_diff(const settings::Settings& stored,
                                       const settings::Settings& wanted);

}  // namespace management
