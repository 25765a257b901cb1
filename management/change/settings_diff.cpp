#include "management/change/settings_diff.hpp"

#include <algorithm>
#include <span>

#include "management/change/apply.hpp"

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

/* lengths[i][j]: how many entries the longest common run of before[i..] and after[j..] has, with
 * others in between. Lists have 50 entries at most. */
std::vector<std::vector<size_t>> common_lengths(const Json& before, const Json& after) {
  std::vector<std::vector<size_t>> lengths(before.size() + 1,
                                           std::vector<size_t>(after.size() + 1));
  for (size_t i = before.size(); i-- > 0;) {
    for (size_t j = after.size(); j-- > 0;) {
      lengths[i][j] = before[i] == after[j] ? lengths[i + 1][j + 1] + 1
                                            : std::max(lengths[i + 1][j], lengths[i][j + 1]);
    }
  }
  return lengths;
}

/* Entries that went and came at one place of a list. */
struct Gap {
  std::vector<size_t> gone;
  std::vector<size_t> come;
};

/* As many came as went: each was changed. Otherwise nobody can tell which became which. */
void close_gap(const std::string& path, const Json& before, const Json& after, Gap& gap,
               std::vector<FieldChange>& changes) {
  if (gap.gone.size() == gap.come.size()) {
    for (size_t i = 0; i < gap.gone.size(); ++i) {
      compare(item_path(path, gap.come[i]), before[gap.gone[i]], after[gap.come[i]], changes);
    }
  } else {
    for (const size_t i : gap.gone) {
      changes.push_back({item_path(path, i), before[i], Json()});
    }
    for (const size_t i : gap.come) {
      changes.push_back({item_path(path, i), Json(), after[i]});
    }
  }
  gap = {};
}

/* The entries that both lists have stay; what lies between two of those went, came or changed. */
void compare_lists(const std::string& path, const Json& before, const Json& after,
                   std::vector<FieldChange>& changes) {
  const auto lengths = common_lengths(before, after);
  Gap gap;
  size_t i = 0;
  size_t j = 0;
  while (i < before.size() || j < after.size()) {
    if (i < before.size() && j < after.size() && before[i] == after[j]) {
      close_gap(path, before, after, gap, changes);
      ++i;
      ++j;
    } else if (j == after.size() || (i < before.size() && lengths[i + 1][j] >= lengths[i][j + 1])) {
      gap.gone.push_back(i++);
    } else {
      gap.come.push_back(j++);
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

bool is_told(const std::vector<FieldChange>& changes, const std::string& section) {
  return std::any_of(changes.begin(), changes.end(), [&](const FieldChange& change) {
    return change.path == section || change.path.starts_with(section + ".");
  });
}

}  // namespace

std::vector<FieldChange> settings_diff(const Settings& stored, const Settings& wanted) {
  const Settings after = level_as_switches(wanted);
  Settings before = stored;
  for (const ApplyStep& step : apply_steps()) {
    if (!step.is_wanted(after)) {
      step.leave_out(before);
    }
  }
  std::vector<FieldChange> changes;
  compare("", in_words(before), in_words(after), changes);
  for (const ApplyStep& step : apply_steps()) {
    if (step.is_wanted(after) && step.differs(after, stored) && !is_told(changes, step.section)) {
      changes.push_back({step.section, Json(), Json()});
    }
  }
  return changes;
}

}  // namespace management
