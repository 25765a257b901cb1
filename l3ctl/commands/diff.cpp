/* l3ctl diff: which fields a settings file would change. */
#include <iostream>

#include "l3ctl/commands.hpp"
#include "l3ctl/input/settings_file.hpp"
#include "l3ctl/views/field_changes.hpp"
#include "l3ctl/views/json_output.hpp"
#include "l3ctl/views/problem_report.hpp"
#include "management/change/apply.hpp"
#include "management/change/settings_diff.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"

namespace l3ctl {

namespace {

int show_diff(const Context& context, const SettingsFile& file) {
  const settings::Settings wanted = read_settings_file(file);
  warn_of_stored_damage();
  const settings::Settings stored = stored_or_defaults();
  warn_of_change(stored, with_changes(stored, wanted), wanted);
  const auto changes = settings_diff(stored, wanted);
  if (context.json) {
    print_json({{"fields", field_list(changes)}});
  } else {
    std::cout << field_lines(changes);
  }
  return changes.empty() ? exit_done : exit_changes;
}

}  // namespace

void add_diff_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("diff", "Which fields a settings file would change");
  command->footer(
      "A line a field, old -> new; - and + are entries that go and come. An entry that\n"
      "goes has its old index, any other its new one.");
  auto file = add_settings_file_options(*command);
  command->callback([&context, file] {
    context.action = [&context, file] { return show_diff(context, *file); };
  });
}

}  // namespace l3ctl
