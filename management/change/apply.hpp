/* How a whole set of settings reaches the library: section by section, in the one order that works. */
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "management/change/change.hpp"
#include "management/store/sections.hpp"
#include "settings/settings.hpp"

namespace management {

/* Whether there is anything to set. */
bool changes_something(const settings::Settings& wanted, const settings::Settings& stored);

/* What is stored once the wanted settings are applied. */
settings::Settings with_changes(settings::Settings stored, const settings::Settings& wanted);

/* Sections by what became of them. */
struct Applied {
  std::vector<std::string> set;
  std::vector<std::string> unchanged;
};

/* Told of every section before it is set: its name, its place among the wanted ones, their number. */
using Progress = std::function<void(const char* section, size_t place, size_t total)>;

/* Sets what the wanted settings say and the stored ones do not, so that the rules of an unchanged
 * section are never touched. Failures are noted in the change. */
Applied apply_in_order(Change& change, const settings::Settings& wanted, const Progress& progress);

}  // namespace management
