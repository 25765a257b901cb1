#include "management/health/list_status.hpp"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string_view>

#include "management/store/sections.hpp"
#include "settings/sections.hpp"

namespace management {

namespace {

using settings::Json;
using settings::Settings;

/* When and whether an entry applies, and what never told two entries apart. */
constexpr std::array<std::string_view, 5> no_identity = {"active", "enabled", "reserved", "index",
                                                         "flag"};

std::string in_words(const Json& value) {
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string identity_of(const Json& entry) {
  if (!entry.is_object()) {
    return in_words(entry);
  }
  std::vector<std::string> names;
  for (const auto& [name, value] : entry.items()) {
    if (std::find(no_identity.begin(), no_identity.end(), name) == no_identity.end()) {
      names.push_back(name);
    }
  }
  if (names.size() == 1) {
    return in_words(entry[names.front()]);
  }
  std::string identity;
  for (const std::string& name : names) {
    identity += (identity.empty() ? "" : " ") + name + "=" + in_words(entry[name]);
  }
  return identity;
}

template <typename Region>
std::vector<settings::TimeSpan> spans_in(const Region& region) {
  std::vector<settings::TimeSpan> spans;
  for (const auto& entry : settings::used_entries(region)) {
    spans.push_back({entry.start_hour, entry.start_minute, entry.stop_hour, entry.stop_minute});
  }
  return spans;
}

/* The time span of each entry, as the rules have it; none where entries have none. */
std::vector<settings::TimeSpan> spans_of(const std::string& section, const Settings& stored) {
  if (section == "url_filter") {
    return spans_in(*stored.url_filter);
  }
  if (section == "mac_filter") {
    return spans_in(*stored.mac_filter);
  }
  return section == "mac6_filter" ? spans_in(*stored.mac6_filter)
                                  : std::vector<settings::TimeSpan>();
}

}  // namespace

std::vector<ListStatus> list_statuses(const Settings& stored, uint32_t second) {
  const Json words = Json::parse(settings::write(stored));
  std::vector<ListStatus> result;
  for (const std::string& name : settings::section_names()) {
    const SectionList* list = section_named(name).list;
    if (list == nullptr) {
      continue;
    }
    ListStatus status{name, list->is_on(stored), list->capacity, {}};
    const auto spans = spans_of(name, stored);
    for (const Json& entry : words.at(name).at(list->entries)) {
      const size_t place = status.entries.size();
      const bool is_enabled = !entry.is_object() || entry.value("enabled", true);
      const bool is_running = spans.empty() || settings::is_active(spans[place], second);
      status.entries.push_back(
          {identity_of(entry), *stored.firewall && status.is_enabled && is_enabled && is_running});
    }
    result.push_back(std::move(status));
  }
  return result;
}

}  // namespace management
