/* The settings file of apply, plan and diff: how it is named, read and checked. */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "l3ctl/context.hpp"
#include "settings/settings.hpp"

namespace l3ctl {

struct SettingsFile {
  std::string file;
  std::vector<std::string> sections; /* only these; all of them when empty */
};

/* Adds FILE and --section to a command. */
std::shared_ptr<SettingsFile> add_settings_file_options(CLI::App& command);

/* Reads settings, prints their problems, and throws an error that says `consequence` where there are
 * faults, or where the file is a configuration file. */
settings::Reading read_settings(const std::string& file, const std::string& consequence);

/* What the file asks for. Ends the program, with every fault told, when the file is wrong. */
settings::Settings read_settings_file(const SettingsFile& wanted);

}  // namespace l3ctl
