/* Settings, or some sections of them, in files of our own: they come back byte for byte. */
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "settings/settings.hpp"

namespace management {

struct SettingsRecord {
  nlohmann::ordered_json words; /* what a settings text can say exactly */
  nlohmann::ordered_json bytes; /* the images of the other sections */
};

SettingsRecord record_of(const settings::Settings& settings);

/* Throws a std::runtime_error that says what is wrong with the record. */
settings::Settings settings_of(const SettingsRecord& record);

/* The sections in which both differ, with what `one` says of them. */
settings::Settings differing_sections(const settings::Settings& one,
                                      const settings::Settings& other);

/* Whether any section is there. */
bool holds_any(const settings::Settings& settings);

}  // namespace management
