/* l3ctl plan: what apply would do. */
#include "management/change/plan.hpp"

#include "l3ctl/commands.hpp"
#include "l3ctl/input/settings_file.hpp"
#include "l3ctl/views/plan_report.hpp"
#include "l3ctl/views/problem_report.hpp"
#include "management/change/apply.hpp"
#include "management/change/change.hpp"

namespace l3ctl {

namespace {

int show_plan(const Context& context, const SettingsFile& file) {
  const settings::Settings wanted = read_settings_file(file);
  Options options = context;
  options.dry_run = true;
  Change change(options);
  warn_of_change(change.stored(), with_changes(change.stored(), wanted), wanted);
  apply_in_order(change, wanted, [](const char*, size_t, size_t) {});
  const ChangeResult result = change.finish();
  if (!result.failed.empty()) {
    throw Error(result.failed.front() + ": the library reports a failure, so would apply");
  }
  return print_plan(context, *result.plan);
}

}  // namespace

void add_plan_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("plan", "What apply would do, without doing it");
  command->footer(
      "Shown are the fields that change, the command lines and the calls to the platform in their\n"
      "order, and the bytes of the configuration file that change. They are those of the library\n"
      "itself, which works on a private copy here while every command is taken to succeed: what\n"
      "apply --one-by-one runs. Without that, apply hands one iptables-restore and one\n"
      "ip6tables-restore what differs from the rules in the kernel; the plan counts the rules "
      "that\n"
      "stay, with their counters, and those that it adds and removes. Bytes that no terminal "
      "shows\n"
      "stand as \\x07; --json has them as they are. A plan needs to read the configuration and a "
      "mount of\n"
      "its own: root, or user namespaces.");
  auto file = add_settings_file_options(*command);
  command->callback([&context, file] {
    context.action = [&context, file] { return show_plan(context, *file); };
  });
}

}  // namespace l3ctl
