#include "l3ctl/input/settings_file.hpp"

#include <algorithm>

#include "l3ctl/input/read_input.hpp"
#include "l3ctl/usage_error.hpp"
#include "management/change/apply.hpp"
#include "management/devices/find_device.hpp"
#include "management/store/time_zone_file.hpp"
#include "settings/stored_file/stored_file.hpp"

namespace l3ctl {

namespace {

/* Far more than the largest settings need. */
constexpr size_t largest_file = 1 << 20;

bool holds(const std::vector<std::string>& names, const char* name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

/* A section that is asked for and not there is a slip of the hand. */
void check_sections(const SettingsFile& wanted, const settings::Settings& settings) {
  for (const std::string& name : wanted.sections) {
    const auto all = sections();
    if (std::none_of(all.begin(), all.end(), [&](const Section& section) {
          return section.name == name && section.is_wanted(settings);
        })) {
      throw Error(
          input_name(wanted.file) + ": there is no section " + name + "; nothing was changed",
          ErrorKind::invalid_input);
    }
  }
}

/* Throws an error that says `consequence` where the text has faults. */
void print_problems(const settings::Reading& reading, const std::string& name,
                    const std::string& consequence) {
  for (const settings::Problem& warning : reading.warnings) {
    inform("warning: " + to_text(warning, name));
  }
  for (const settings::Problem& error : reading.errors) {
    complain(to_text(error, name));
  }
  if (!reading.errors.empty()) {
    throw Error(consequence, ErrorKind::invalid_input);
  }
}

}  // namespace

std::shared_ptr<SettingsFile> add_settings_file_options(CLI::App& command) {
  auto wanted = std::make_shared<SettingsFile>();
  command.add_option("FILE", wanted->file, "Settings as JSON; - is standard input")->required();
  std::vector<std::string> names = settings::section_names();
  names.emplace_back("security_level");
  command
      .add_option("--section", wanted->sections, "Only this section of FILE; may be given again")
      ->allow_extra_args(false)
      ->transform(one_of(names));
  return wanted;
}

settings::Reading read_settings(const std::string& file, const std::string& consequence) {
  const std::string text = read_input(file, largest_file);
  if (settings::begins_as_stored_file(text)) {
    throw Error(input_name(file) + ": is a configuration file, no settings: \"l3ctl restore " +
                    file + "\" puts it in place; " + consequence,
                ErrorKind::invalid_input);
  }
  settings::Reading reading =
      settings::read(text, settings::Origin::input, stored_time_zone(), find_named_device);
  print_problems(reading, input_name(file), consequence);
  return reading;
}

settings::Settings read_settings_file(const SettingsFile& wanted) {
  settings::Reading reading = read_settings(wanted.file, "nothing was changed");
  check_sections(wanted, reading.settings);
  for (const Section& section : sections()) {
    if (!wanted.sections.empty() && !holds(wanted.sections, section.name)) {
      section.leave_out(reading.settings);
    }
  }
  return reading.settings;
}

}  // namespace l3ctl
