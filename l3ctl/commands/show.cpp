/* l3ctl show, l3ctl export: what is stored, for people and for apply. */
#include <iostream>

#include "l3ctl/commands.hpp"
#include "l3ctl/usage_error.hpp"
#include "l3ctl/views/settings_text.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"

namespace l3ctl {

namespace {

settings::Settings stored_settings(bool in_utc) {
  settings::Settings stored = stored_or_defaults();
  if (in_utc) {
    write_in_utc(stored);
  }
  return stored;
}

}  // namespace

void add_show_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("show", "Show the stored settings");
  auto sections = std::make_shared<std::vector<std::string>>();
  command->add_option("SECTION", *sections, "Sections to show; all by default")
      ->transform(one_of(settings::section_names()));
  const auto in_utc = add_utc_option(*command);
  command->callback([&context, sections, in_utc] {
    context.action = [&context, sections, in_utc] {
      warn_of_stored_damage();
      const settings::Settings stored = stored_settings(*in_utc);
      const auto shown = with_zone(stored, *sections);
      std::cout << (context.json ? settings::write(stored, shown) : text_view(stored, shown));
      return exit_done;
    };
  });
}

void add_export_command(CLI::App& app, Context& context) {
  CLI::App* command =
      app.add_subcommand("export", "Write the stored settings as JSON that apply takes");
  auto sections = std::make_shared<std::vector<std::string>>();
  command->add_option("--section", *sections, "Only this section; may be given again")
      ->allow_extra_args(false)
      ->transform(one_of(settings::section_names()));
  const auto in_utc = add_utc_option(*command);
  command->callback([&context, sections, in_utc] {
    context.action = [sections, in_utc] {
      warn_of_stored_damage();
      const settings::Settings stored = stored_settings(*in_utc);
      const std::string text = settings::write(stored, with_zone(stored, *sections));
      std::cout << text;
      // Other programs may have stored what no settings text can say.
      const settings::Reading reading =
          settings::read(text, settings::Origin::input, *stored.time_zone);
      for (const settings::Problem& error : reading.errors) {
        complain(to_text(error, "export"));
      }
      return reading.errors.empty() ? exit_done : exit_failed;
    };
  });
}

}  // namespace l3ctl
