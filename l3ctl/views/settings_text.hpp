/* Settings for people: the same words as in JSON, aligned. */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "l3ctl/context.hpp"
#include "settings/settings.hpp"

namespace l3ctl {

/* The named sections, or all of them where none is named. */
std::string text_view(const settings::Settings& settings, const std::vector<std::string>& sections);

/* The named sections, and the time zone where one of them has spans in it. */
std::vector<std::string> with_zone(const settings::Settings& settings,
                                   std::vector<std::string> sections);

/* Adds --utc. */
std::shared_ptr<bool> add_utc_option(CLI::App& command);

/* Has spans written in UTC, whatever the zone. */
void write_in_utc(settings::Settings& settings);

}  // namespace l3ctl
