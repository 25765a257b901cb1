#include "management/store/settings_record.hpp"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>

#include "management/store/sections.hpp"
#include "management/store/unsafe_text.hpp"
#include "settings/values.hpp"

namespace management {

using Json = nlohmann::ordered_json;
using settings::Settings;

namespace {

/* The settings as their text, where reading that gives the section back byte for byte. */
std::optional<std::string> in_words(const Settings& alone, const Section& section) {
  const std::string text = settings::write(alone);
  const settings::Reading reading = settings::read(text, settings::Origin::stored);
  const bool is_same = reading.errors.empty() && section.is_wanted(reading.settings) &&
                       section.image(reading.settings) == section.image(alone);
  return is_same ? std::optional(text) : std::nullopt;
}

}  // namespace

SettingsRecord record_of(const Settings& settings) {
  SettingsRecord record{Json::object(), Json::object()};
  for (const Section& section : sections()) {
    if (section.image == nullptr || !section.is_wanted(settings)) {
      continue;
    }
    Settings alone;
    section.overlay(alone, settings);
    if (alone.route_qos_rules) {
      // The rules are written beside their switch alone.
      alone.route_qos_enabled = settings.route_qos_enabled;
    }
    if (const auto text = in_words(alone, section)) {
      record.words.update(Json::parse(*text), true);
    } else {
      record.bytes[section.key] = settings::hex_text(section.image(settings));
    }
  }
  if (settings.time_zone) {
    // The offset of the stored spans belongs to it, which no settings text says.
    record.bytes["time_zone"] = {{"name", settings.time_zone->name},
                                 {"offset_minutes", settings.time_zone->offset_minutes}};
  }
  return record;
}

Settings settings_of(const SettingsRecord& record) {
  settings::Reading reading = settings::read(record.words.dump(), settings::Origin::stored);
  if (!reading.errors.empty()) {
    throw std::runtime_error(to_text(reading.errors.front()));
  }
  for (const Section& section : sections()) {
    if (section.set_image == nullptr || !record.bytes.contains(section.key)) {
      continue;
    }
    const auto image = settings::parse_hex(record.bytes.at(section.key).get<std::string>()).value;
    if (!image || !section.set_image(reading.settings, *image)) {
      throw std::runtime_error(std::string("stored_bytes.") + section.key +
                               " is no image of the section");
    }
  }
  if (record.bytes.contains("time_zone")) {
    const Json& zone = record.bytes["time_zone"];
    reading.settings.time_zone = {zone.at("name").get<std::string>(),
                                  zone.at("offset_minutes").get<int>()};
  }
  // What comes back must not hold what a shell could run.
  const std::string unsafe =
      reading.settings.captive_portal ? find_unsafe_text(reading.settings) : std::string();
  if (!unsafe.empty()) {
    throw std::runtime_error(unsafe);
  }
  return std::move(reading.settings);
}

Settings differing_sections(const Settings& one, const Settings& other) {
  Settings result;
  for (const Section& section : sections()) {
    if (section.load != nullptr && section.differs(one, other)) {
      section.overlay(result, one);
    }
  }
  return result;
}

bool holds_any(const Settings& settings) {
  const auto all = sections();
  return std::any_of(all.begin(), all.end(),
                     [&](const Section& section) { return section.is_wanted(settings); });
}

}  // namespace management
