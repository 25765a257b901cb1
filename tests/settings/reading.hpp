/* Reads a settings text for a test. */
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "settings/settings.hpp"

using Messages = std::vector<std::string>;

inline Messages texts_of(const std::vector<settings::Problem>& problems) {
  Messages texts;
  for (const settings::Problem& problem : problems) {
    texts.push_back(to_text(problem, "home.json"));
  }
  return texts;
}

inline Messages errors_of(const std::string& text) {
  return texts_of(settings::read(text).errors);
}

inline Messages warnings_of(const std::string& text) {
  const settings::Reading reading = settings::read(text);
  EXPECT_EQ(texts_of(reading.errors), Messages{});
  return texts_of(reading.warnings);
}

/* The settings of a text without faults. */
inline settings::Settings settings_of(const std::string& text) {
  settings::Reading reading = settings::read(text);
  EXPECT_EQ(texts_of(reading.errors), Messages{});
  return std::move(reading.settings);
}

/* Expects that a text comes out as it went in. */
inline void expect_round_trip(const std::string& text) {
  EXPECT_EQ(settings::write(settings_of(text)), text);
}
