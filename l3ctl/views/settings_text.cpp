#include "l3ctl/views/settings_text.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "l3ctl/context.hpp"
#include "l3ctl/views/colour.hpp"
#include "l3ctl/views/table.hpp"
#include "management/devices/ethers.hpp"
#include "management/system/escape.hpp"
#include "management/system/text.hpp"
#include "settings/stored_file/span_lists.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;

constexpr size_t name_width = 24;

/* A key that entries may leave out, and what its absence means. */
struct Absent {
  const char* key;
  const char* meaning;
};
constexpr Absent absent_keys[] = {{"source", "any"},
                                  {"destination", "any"},
                                  {"source_ports", "any"},
                                  {"destination_ports", "any"},
                                  {"enabled", "true"}};

std::string shown(const Json& value) {
  if (value.is_boolean()) {
    return value.get<bool>() ? "on" : "off";
  }
  return value.is_string() ? escape(value.get<std::string>()) : value.dump();
}

std::string cell(const Json& entry, const std::string& key) {
  if (entry.contains(key)) {
    return entry[key].is_boolean() ? entry[key].dump() : shown(entry[key]);
  }
  for (const Absent& absent : absent_keys) {
    if (key == absent.key) {
      return absent.meaning;
    }
  }
  return "-";
}

/* The keys of all entries in the order in which settings are written. */
Row columns_of(const Json& entries) {
  Row columns;
  for (const Json& entry : entries) {
    size_t at = 0;
    for (const auto& [key, value] : entry.items()) {
      const auto found = std::find(columns.begin(), columns.end(), key);
      if (found == columns.end()) {
        columns.insert(columns.begin() + static_cast<std::ptrdiff_t>(at), key);
        ++at;
      } else {
        at = static_cast<size_t>(found - columns.begin()) + 1;
      }
    }
  }
  return columns;
}

/* The name that people gave to a device; empty without one, and where the names cannot be read. */
std::string name_of(const Json& mac) {
  static const std::vector<GivenName> names = [] {
    try {
      return given_names();
    } catch (const Error&) {
      return std::vector<GivenName>();
    }
  }();
  const auto named = std::find_if(names.begin(), names.end(), [&](const GivenName& given) {
    return settings::mac_text(given.mac) == mac;
  });
  return named == names.end() ? "" : named->name;
}

void add_names(Json& entries) {
  for (Json& entry : entries) {
    const std::string name = entry.contains("mac") ? name_of(entry["mac"]) : "";
    if (!name.empty()) {
      entry["name"] = name;
    }
  }
}

/* The entries with their numbers, counted from 0 as in the paths of messages. */
std::string table(Json entries, const std::string& list) {
  if (entries.empty()) {
    return "";
  }
  for (Json& entry : entries) {
    if (!entry.is_object()) {
      entry = Json{{list == "destinations" ? "destination" : "mac", entry}};
    }
  }
  add_names(entries);
  const Row columns = columns_of(entries);
  std::vector<Row> rows{{""}};
  rows[0].insert(rows[0].end(), columns.begin(), columns.end());
  for (size_t i = 0; i < entries.size(); ++i) {
    Row row{std::to_string(i)};
    for (const std::string& column : columns) {
      row.push_back(cell(entries[i], column));
    }
    rows.push_back(row);
  }
  return aligned(rows);
}

/* On and off, and whatever else stands there, painted at a terminal. */
std::string state(const Json& value) {
  return painted(paint_of_state(shown(value)), shown(value));
}

std::string section_text(const std::string& name, const Json& section) {
  const std::string title = painted(Paint::strong, padded(name, name_width));
  if (!section.is_object()) {
    return title + state(section) + "\n";
  }
  std::string head = title + state(section["enabled"]);
  std::string entries;
  for (const auto& [key, value] : section.items()) {
    if (value.is_array()) {
      const char* plain = value.size() == 1 ? " entry" : " entries";
      head += ", " + std::to_string(value.size()) + plain;
      entries = table(value, key);
    } else if (key != "enabled") {
      const std::string text = shown(value);
      head += ", " + (key == "mode" ? text : key + " " + (text.empty() ? "none" : text));
    }
  }
  return head + "\n" + entries;
}

}  // namespace

std::vector<std::string> with_zone(const settings::Settings& settings,
                                   std::vector<std::string> sections) {
  const auto is_local = [&](const std::string& name) { return settings::has_spans(name); };
  if (settings.time_zone && !settings.time_zone->name.empty() &&
      std::any_of(sections.begin(), sections.end(), is_local)) {
    sections.emplace_back("time_zone");
  }
  return sections;
}

std::shared_ptr<bool> add_utc_option(CLI::App& command) {
  auto in_utc = std::make_shared<bool>(false);
  command.add_flag("--utc", *in_utc, "Time spans in UTC, whatever time_zone is set");
  return in_utc;
}

void write_in_utc(settings::Settings& settings) {
  if (span_offset(settings)) {
    settings.time_zone = settings::TimeZone{"UTC", 0};
  }
}

std::string text_view(const settings::Settings& settings,
                      const std::vector<std::string>& sections) {
  const Json document = Json::parse(settings::write(settings, sections));
  std::string text;
  for (const auto& [name, section] : document.items()) {
    text += section_text(name, section);
  }
  return text;
}

}  // namespace l3ctl
