/* What a test of the settings says about a text. */
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "settings/settings.hpp"

using Messages = std::vector<std::string>;

inline Messages errors_of(const std::string& text) {
  return settings::read(text, "home.json").errors;
}

inline Messages warnings_of(const std::string& text) {
  const settings::Reading reading = settings::read(text, "home.json");
  EXPECT_EQ(reading.errors, Messages{});
  return reading.warnings;
}

/* The settings of a text without faults. */
inline settings::Settings settings_of(const std::string& text) {
  settings::Reading reading = settings::read(text, "home.json");
  EXPECT_EQ(reading.errors, Messages{});
  return std::move(reading.settings);
}

/* Expects that a text comes out as it went in. */
inline void expect_round_trip(const std::string& text) {
  EXPECT_EQ(settings::write(settings_of(text)), text);
}
