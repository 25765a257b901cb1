#include "management/change/settings_diff.hpp"

#include <algorithm>
#include <span>

#include "executor/sequence_diff.hpp"
#include "management/store/sections.hpp"

namespace management {

namespace {

using Json = nlohmann::ordered_json;
using settings::Settings;

void compare(const std::string& path, const Json& before, const Json& after,
             std::vector<FieldChange>& changes);

std::string member_path(const std::string& path, const std::string& key) {
  return path.empty() ? key : path + "." + key;
}

std::string item_path(const std::string& path, size_t index) {
  return path + "[" + std::to_string(index) + "]";
}

void compare_objects(const std::string& path, const Json& before, const Json& after,
                     std::vector<FieldChange>& changes) {
  for (const auto& [key, value] : before.items()) {
    compare(member_path(path, key), value, after.value(key, Json()), changes);
  }
  for (const auto& [key, value] : after.items()) {
    if (!before.contains(key)) {
      compare(member_path(path, key), Json(), value, changes);
    }
  }
}

/* Entries that were removed and added at one place of a list. */
struct Gap {
  std::vector<size_t> removed;
  std::vector<size_t> added;
};

/* As many added as removed: each was changed. Otherwise it is unknown which became which. */
void close_gap(const std::string& path, const Json& before, const Json& after, Gap& gap,
               std::vector<FieldChange>& changes) {
  if (gap.removed.size() == gap.added.size()) {
    for (size_t i = 0; i < gap.removed.size(); ++i) {
      compare(item_path(path, gap.added[i]), before[gap.removed[i]], after[gap.added[i]], changes);
    }
  } else {
    for (const size_t i : gap.removed) {
      changes.push_back({item_path(path, i), before[i], Json()});
    }
    for (const size_t i : gap.added) {
      changes.push_back({item_path(path, i), Json(), after[i]});
    }
  }
  gap = {};
}

/* The entries that both lists have stay; what lies between two of those was removed, added or changed. */
void compare_lists(const std::string& path, const Json& before, const Json& after,
                   std::vector<FieldChange>& changes) {
  Gap gap;
  for (const executor::DiffStep& step :
       executor::sequence_diff(before.size(), after.size(), executor::DiffOrder::removed_first,
                               [&](size_t i, size_t k) { return before[i] == after[k]; })) {
    if (step.kind == executor::DiffStep::Kind::kept) {
      close_gap(path, before, after, gap, changes);
    } else if (step.kind == executor::DiffStep::Kind::removed) {
      gap.removed.push_back(step.before);
    } else {
      gap.added.push_back(step.after);
    }
  }
  close_gap(path, before, after, gap, changes);
}

void compare(const std::string& path, const Json& before, const Json& after,
             std::vector<FieldChange>& changes) {
  if (before == after) {
    return;
  }
  if (before.is_object() && after.is_object()) {
    compare_objects(path, before, after, changes);
  } else if (before.is_array() && after.is_array()) {
    compare_lists(path, before, after, changes);
  } else {
    changes.push_back({path, before, after});
  }
}

Json in_words(const Settings& settings) {
  return Json::parse(settings::write(settings));
}

Json zone_in_words(const Settings& settings) {
  return span_offset(settings) ? settings.time_zone->name : "UTC";
}

bool is_told(const std::vector<FieldChange>& changes, const std::string& section) {
  return std::any_of(changes.begin(), changes.end(), [&](const FieldChange& change) {
    return change.path == section || change.path.starts_with(section + ".");
  });
}

}  // namespace

std::vector<FieldChange> settings_diff(const Settings& stored, const Settings& wanted) {
  Settings after = level_as_switches(wanted);
  Settings before = stored;
  std::vector<FieldChange> changes;
  if (after.time_zone && section_named("time_zone").differs(after, stored)) {
    changes.push_back({"time_zone", zone_in_words(stored), zone_in_words(after)});
  }
  for (const Section& section : sections()) {
    if (!section.is_wanted(after)) {
      section.leave_out(before);
    }
  }
  // Both sides in one zone: a span that stays as it is in UTC is no change.
  before.time_zone = after.time_zone = after.time_zone ? after.time_zone : stored.time_zone;
  compare("", in_words(before), in_words(after), changes);
  for (const Section& section : sections()) {
    if (section.is_wanted(after) && section.differs(after, stored) &&
        !is_told(changes, section.name)) {
      changes.push_back({section.name, Json(), Json()});
    }
  }
  return changes;
}

}  // namespace management
