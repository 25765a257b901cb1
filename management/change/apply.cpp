#include "management/change/apply.hpp"

#include <algorithm>

#include "executor/system.hpp"
#include "management/store/stored_settings.hpp"

namespace management {

namespace {

using settings::Settings;

/* Two steps may belong to one section; one that was set is told as that alone. */
void add_once(std::vector<std::string>& names, const char* name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) {
    names.emplace_back(name);
  }
}

}  // namespace

bool changes_something(const Settings& wanted, const Settings& stored) {
  const auto all = sections();
  return std::any_of(all.begin(), all.end(), [&](const Section& section) {
    return section.is_wanted(wanted) && section.differs(wanted, stored);
  });
}

Settings with_changes(Settings stored, const Settings& wanted) {
  for (const Section& section : sections()) {
    if (section.is_wanted(wanted)) {
      section.overlay(stored, wanted);
    }
  }
  return stored;
}

Applied apply_in_order(Change& change, const Settings& wanted, const Progress& progress) {
  Applied applied;
  // Removed before it is added, and often not there.
  executor::system_executor().allow_failure("iptables -t filter -D FORWARD -p udp ");
  const auto all = sections();
  const auto total = static_cast<size_t>(std::count_if(
      all.begin(), all.end(), [&](const Section& one) { return one.is_wanted(wanted); }));
  size_t place = 0;
  Settings now = change.stored();
  for (const Section& section : sections()) {
    if (!section.is_wanted(wanted)) {
      continue;
    }
    ++place;
    if (!section.differs(wanted, now)) {
      add_once(applied.unchanged, section.name);
      continue;
    }
    progress(section.name, place, total);
    add_once(applied.set, section.name);
    if (change.call(section.name, [&] { return section.set(wanted); }) && wanted.security_level) {
      now = load_stored();
    }
  }
  std::erase_if(applied.unchanged, [&](const std::string& name) {
    return std::find(applied.set.begin(), applied.set.end(), name) != applied.set.end();
  });
  return applied;
}

}  // namespace management
