#include "l3ctl/commands/switch_verbs.hpp"

#include <iostream>

#include "executor/system.hpp"
#include "l3ctl/views/change_report.hpp"
#include "l3ctl/views/problem_report.hpp"
#include "l3ctl/views/settings_text.hpp"
#include "management/change/change.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"

namespace l3ctl {

namespace {

int show(const Context& context, const Switch& one) {
  warn_of_stored_damage();
  const settings::Settings stored = stored_or_defaults();
  std::cout << (context.json ? settings::write(stored, {one.section})
                             : text_view(stored, {one.section}));
  return exit_done;
}

int set(const Context& context, const Switch& one, bool on) {
  Change change(context);
  if (!one.may_fail.empty()) {
    executor::system_executor().allow_failure(one.may_fail);
  }
  settings::Settings wanted = change.stored();
  wanted.*one.value = on;
  warn_of_change(change.stored(), wanted);
  change.call(one.command, [&] { return one.set(on); });
  return report(context, change, std::string(one.command) + (on ? ": on" : ": off"));
}

}  // namespace

CLI::App* add_switch_command(CLI::App& app, Context& context, const Switch& stored_switch) {
  CLI::App* command = app.add_subcommand(stored_switch.command, stored_switch.help);
  command->require_subcommand(1);
  command->add_subcommand("status", "Show the switch")->callback([&context, &stored_switch] {
    context.action = [&] { return show(context, stored_switch); };
  });
  command->add_subcommand("on", stored_switch.on_help)->callback([&context, &stored_switch] {
    context.action = [&] { return set(context, stored_switch, true); };
  });
  command->add_subcommand("off", stored_switch.off_help)->callback([&context, &stored_switch] {
    context.action = [&] { return set(context, stored_switch, false); };
  });
  return command;
}

}  // namespace l3ctl
