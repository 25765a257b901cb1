/*
 * Settings as people write them, JSON in words, and as the library takes them, region images. Nothing
 * here calls the library: a text is checked as a whole, and only a text without a fault becomes
 * settings. docs/settings.md describes every key.
 */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "settings/model.hpp"
#include "settings/problems.hpp"

namespace settings {

struct Reading {
  Settings settings; /* complete only when there are no errors */
  std::vector<Problem> errors;
  std::vector<Problem> warnings;
};

/* Reads a whole text. `origin` is `stored` for what write() made of stored settings: it may hold
 * entries that are refused from people and harm nothing. Spans are in the text's time zone, or, where
 * it names none, in the stored one. `parse_mac` reads what stands where people write a hardware
 * address. */
Reading read(std::string_view text, Origin origin = Origin::input, const TimeZone& stored = {},
             ParseMac parse_mac = settings::parse_mac);

/* Writes the sections that are there, or of these only the named ones where any is named, in a fixed
 * order, as text that read() takes. A stored value that read() would refuse is written as it is,
 * so that it can be seen and mended. Spans are in the settings' time zone, also where that is not
 * written. */
std::string write(const Settings& settings, const std::vector<std::string>& only = {});

/* The sections of a settings text, in the order in which write() puts them. */
const std::vector<std::string>& section_names();

}  // namespace settings
