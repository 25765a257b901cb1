/* l3ctl level: the security level, one word for the master switch and port-scan protection. */
#include <iostream>
#include <memory>

#include "l3ctl/commands.hpp"
#include "l3ctl/usage_error.hpp"
#include "l3ctl/views/change_report.hpp"
#include "l3ctl/views/problem_report.hpp"
#include "management/change/change.hpp"
#include "management/store/sections.hpp"
#include "management/store/setters.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"

namespace l3ctl {

namespace {

constexpr const char* level_words[] = {"off", "low", "high"};

/* As the switches stand. The library's own call would write the file to answer, which nobody may who
 * only looks, or while a change waits for its confirmation. */
int show(const Context& context) {
  warn_of_stored_damage();
  const std::string word = level_of(stored_or_defaults());
  std::cout << (context.json ? "{\n  \"security_level\": \"" + word + "\"\n}\n"
                             : "security level " + word + "\n");
  return exit_done;
}

int set(const Context& context, const std::string& word) {
  Change change(context);
  int32_t level = 0;
  while (word != level_words[level]) {
    ++level;
  }
  settings::Settings wanted = change.stored();
  wanted.security_level = static_cast<settings::SecurityLevel>(level);
  warn_of_change(change.stored(), level_as_switches(wanted));
  change.call("level", [level] { return set_security_level(level); });
  return report(context, change, "level: " + word);
}

}  // namespace

void add_level_command(CLI::App& app, Context& context) {
  CLI::App* command =
      app.add_subcommand("level", "Show or set the security level: off, low or high");
  command->footer(
      "off: firewall off; low: firewall on; high: firewall and port-scan protection on.");
  auto word = std::make_shared<std::string>();
  command->add_option("LEVEL", *word, "The new level")->transform(one_of({"off", "low", "high"}));
  command->callback([&context, word] {
    context.action = [&context, word] {
      return word->empty() ? show(context) : set(context, *word);
    };
  });
}

}  // namespace l3ctl
