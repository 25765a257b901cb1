/* l3ctl show, l3ctl export: what is stored, for people and for apply. */
#include <iostream>

#include "l3ctl/commands.hpp"
#include "l3ctl/usage_error.hpp"
#include "l3ctl/views/settings_text.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"

namespace l3ctl {

void add_show_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("show", "Show the stored settings");
  auto sections = std::make_shared<std::vector<std::string>>();
  command->add_option("SECTION", *sections, "Sections to show; all by default")
      ->transform(one_of(settings::section_names()));
  command->callback([&context, sections] {
    context.action = [&context, sections] {
      warn_of_stored_damage();
      const settings::Settings stored = stored_or_defaults();
      std::cout << (context.json ? settings::write(stored, *sections)
                                 : text_view(stored, *sections));
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
  command->callback([&context, sections] {
    context.action = [sections] {
      warn_of_stored_damage();
      const std::string text = settings::write(stored_or_defaults(), *sections);
      std::cout << text;
      // Other programs may have stored what no settings text can say.
      const settings::Reading reading = settings::read(text);
      for (const settings::Problem& error : reading.errors) {
        complain(to_text(error, "export"));
      }
      return reading.errors.empty() ? exit_done : exit_failed;
    };
  });
}

}  // namespace l3ctl
