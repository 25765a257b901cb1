/* A command for one stored switch: status, on, off. */
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "l3ctl/context.hpp"
#include "management/change/change.hpp"
#include "settings/settings.hpp"

namespace l3ctl {

struct Switch {
  const char* command;
  const char* help;
  const char* section; /* its section of the settings */
  const char* on_help;
  const char* off_help;
  int32_t (*set)(bool on);
  std::optional<bool> settings::Settings::*value; /* its place in the settings */
  std::string_view may_fail = {};                 /* lines that begin so may exit with 1 */
};

/* Adds the switch's command; returns it for further verbs. */
CLI::App* add_switch_command(CLI::App& app, Context& context, const Switch& stored_switch);

}  // namespace l3ctl
