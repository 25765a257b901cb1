/* l3ctl apply: a settings file is checked as a whole, and then what differs from the stored is set. */
#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "l3ctl/apply_steps.hpp"
#include "l3ctl/commands.hpp"
#include "l3ctl/input.hpp"
#include "l3ctl/library.hpp"

namespace l3ctl {

namespace {

/* Far more than the largest settings need. */
constexpr size_t largest_file = 1 << 20;

settings::Settings checked_settings(const std::string& file) {
  const settings::Reading reading =
      settings::read(read_input(file, largest_file), input_name(file));
  for (const std::string& warning : reading.warnings) {
    complain("warning: " + warning);
  }
  for (const std::string& error : reading.errors) {
    complain(error);
  }
  if (!reading.errors.empty()) {
    throw Failure("nothing was changed", exit_wrong_input);
  }
  return reading.settings;
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text.empty() ? "nothing" : text;
}

void add_once(std::vector<std::string>& names, const char* name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) {
    names.emplace_back(name);
  }
}

int apply_file(const Context& context, const std::string& file) {
  const settings::Settings wanted = checked_settings(file);
  Change change(context);
  change.may_fail("iptables -t filter -D FORWARD -p udp ");
  std::vector<std::string> applied;
  std::vector<std::string> unchanged;
  settings::Settings now = change.stored();
  for (const ApplyStep& step : apply_steps()) {
    if (!step.is_wanted(wanted)) {
      continue;
    }
    if (!step.differs(wanted, now)) {
      add_once(unchanged, step.section);
      continue;
    }
    add_once(applied, step.section);
    if (change.call(step.section, [&] { return step.set(wanted); }) && wanted.security_level) {
      now = load_stored();
    }
  }
  std::erase_if(unchanged, [&](const std::string& name) {
    return std::find(applied.begin(), applied.end(), name) != applied.end();
  });
  return change.report("applied: " + joined(applied) + "; unchanged: " + joined(unchanged),
                       {{"applied", applied}, {"unchanged", unchanged}});
}

}  // namespace

void add_apply_command(CLI::App& app, Context& context) {
  CLI::App* command =
      app.add_subcommand("apply", "Check a settings file as a whole and set what it changes");
  command->footer(
      "A section that FILE leaves out stays as it is; one that says what is stored already is not "
      "set\n"
      "again. Time spans are in UTC; \"all day\", and an end of 24:00, end at 23:59, which leaves "
      "the\n"
      "day's last minute open.\n\n" +
      app.get_footer());
  auto file = std::make_shared<std::string>();
  command->add_option("FILE", *file, "Settings as JSON; - is standard input")->required();
  command->callback([&context, file] {
    context.action = [&context, file] { return apply_file(context, *file); };
  });
}

}  // namespace l3ctl
