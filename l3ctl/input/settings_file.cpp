#include "l3ctl/input/settings_file.hpp"

#include <algorithm>

#include "l3ctl/input/read_input.hpp"
#include "management/change/apply.hpp"

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
    const auto steps = apply_steps();
    if (std::none_of(steps.begin(), steps.end(), [&](const ApplyStep& step) {
          return step.section == name && step.is_wanted(settings);
        })) {
      throw Error(
          input_name(wanted.file) + ": there is no section " + name + "; nothing was changed",
          ErrorKind::invalid_input);
    }
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
      ->check(CLI::IsMember(names));
  return wanted;
}

void use_diff_exit_codes(CLI::App& command, Context& context, const std::string& about) {
  command.preparse_callback([&context](size_t) { context.wrong_input = exit_failed; });
  command.footer(about +
                 "\n\nExit status:\n"
                 "  0  there is nothing to do\n"
                 "  1  an error; wrong settings and a wrong command line too\n"
                 "  2  there are changes");
}

settings::Settings read_settings_file(const SettingsFile& wanted) {
  settings::Reading reading =
      settings::read(read_input(wanted.file, largest_file), input_name(wanted.file));
  for (const std::string& warning : reading.warnings) {
    complain("warning: " + warning);
  }
  for (const std::string& error : reading.errors) {
    complain(error);
  }
  if (!reading.errors.empty()) {
    throw Error("nothing was changed", ErrorKind::invalid_input);
  }
  check_sections(wanted, reading.settings);
  for (const ApplyStep& step : apply_steps()) {
    if (!wanted.sections.empty() && !holds(wanted.sections, step.section)) {
      step.leave_out(reading.settings);
    }
  }
  return reading.settings;
}

}  // namespace l3ctl
