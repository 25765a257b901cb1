#include "l3ctl/help.hpp"

#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

#include "l3ctl/command_table.hpp"
#include "l3ctl/usage_error.hpp"

namespace l3ctl {

namespace {

constexpr unsigned bit(Effect effect) {
  return 1U << static_cast<unsigned>(effect);
}

constexpr unsigned answering = bit(Effect::shows) | bit(Effect::waits) | bit(Effect::changes);
constexpr unsigned comparing = bit(Effect::compares) | bit(Effect::plans);

/* One exit status of every command with one of these effects; status 3 is the command table's. */
constexpr struct {
  int status;
  const char* text;
  unsigned effects;
} common_statuses[] = {
    {exit_done, "done", answering},
    {exit_done, "there is nothing to do", comparing},
    {exit_failed, "the system or the library refused; messages say what", answering},
    {exit_failed, "an error; wrong settings and a wrong command line too", comparing},
    {exit_wrong_input, "the command line or the settings are wrong; nothing was changed",
     answering},
    {exit_changes, "there are changes", comparing},
    {exit_unanswered, "the change was made, but its answer could not be written",
     bit(Effect::changes)},
    {exit_busy, "busy: another change holds the lock", bit(Effect::waits)},
    {exit_busy, "busy: another change holds the lock, or waits for its confirmation",
     bit(Effect::plans)},
    {exit_busy,
     "busy: another change holds the lock, or waits for its confirmation; nothing was changed",
     bit(Effect::changes)},
};

constexpr const char* closing_words =
    "Settings are kept in /ztcfg/l3_advance.dat. Results go to standard output, messages to\n"
    "standard error; the library's own lines only when a command fails, or with --verbose.\n";

bool only_shows(const std::string& verb) {
  return verb == "list" || verb == "status" || verb == "show";
}

/* The command that a verb belongs to; null for the program itself. */
const Command* command_of(const CLI::App& app) {
  if (app.get_parent() == nullptr) {
    return nullptr;
  }
  if (app.get_parent()->get_parent() != nullptr) {
    return command_of(*app.get_parent());
  }
  const auto all = commands();
  const auto found = std::find_if(all.begin(), all.end(),
                                  [&](const Command& one) { return app.get_name() == one.name; });
  return found == all.end() ? nullptr : &*found;
}

bool is_verb_that_shows(const CLI::App& app) {
  const CLI::App* parent = app.get_parent();
  return parent != nullptr && parent->get_parent() != nullptr &&
         (only_shows(app.get_name()) || is_verb_that_shows(*parent));
}

/* Whether it is this verb, or a verb of it. */
bool is_below(const CLI::App& app, const std::string& verb) {
  return app.get_parent() != nullptr &&
         (app.get_name() == verb || is_below(*app.get_parent(), verb));
}

std::string status_line(int status, const std::string& text) {
  return "  " + std::to_string(status) + "  " + text + "\n";
}

/* What status 3 means of all commands: the usual meaning, then the others with the commands' names. */
std::string every_status_three() {
  std::string text = status_line(3, rules_refused);
  std::vector<std::string> told = {rules_refused};
  for (const Command& command : commands()) {
    if (command.status_three == nullptr ||
        std::find(told.begin(), told.end(), command.status_three) != told.end()) {
      continue;
    }
    told.emplace_back(command.status_three);
    text += std::string("     ") + command.name + ": " + command.status_three + "\n";
  }
  return text;
}

std::string status_three_of(const CLI::App& app, const Command* command) {
  if (command == nullptr) {
    return every_status_three();
  }
  return command->status_three == nullptr || is_verb_that_shows(app)
             ? ""
             : status_line(3, command->status_three);
}

Effect effect_of(const CLI::App& app, const Command* command) {
  if (command == nullptr) {
    return Effect::changes;
  }
  if (is_below(app, "read")) {
    // It creates a file that is missing, and so takes the lock.
    return Effect::waits;
  }
  return is_verb_that_shows(app) ? Effect::shows : command->effect;
}

/* The options of its command that a verb takes too, where they are for changes. */
std::string change_options(const CLI::App& app) {
  const Command* command = command_of(app);
  if (command == nullptr) {
    return "What changes settings also takes --dry-run, --confirm SECONDS and --who NAME: \"l3ctl "
           "apply\n"
           "--help\" says what they do.\n\n";
  }
  const bool is_verb = app.get_parent()->get_parent() != nullptr;
  if (!is_verb || effect_of(app, command) != Effect::changes ||
      command->offers == Offers::nothing) {
    return "";
  }
  const char* options = command->offers == Offers::all
                            ? "--dry-run, --confirm SECONDS and --who NAME"
                        : command->offers == Offers::dry_run ? "--dry-run and --who NAME"
                                                             : "--who NAME";
  return std::string("It also takes ") + options + ": \"l3ctl " + command->name + " --help\".\n\n";
}

/* Prints what "l3ctl WORDS --help" prints. */
int print_help(const CLI::App& app, const std::vector<std::string>& words) {
  const CLI::App* command = &app;
  for (const std::string& word : words) {
    const CLI::App* next = find_command(*command, word);
    if (next == nullptr) {
      throw Error(unknown_word_message(word, *command), ErrorKind::invalid_input);
    }
    command = next;
  }
  // App::help() would print the help of the command that was parsed, which is this one.
  std::cout << app.get_formatter()->make_help(command, path_of(*command),
                                              CLI::AppFormatMode::Normal);
  return exit_done;
}

}  // namespace

std::string exit_statuses(const CLI::App& app) {
  const Command* command = command_of(app);
  const Effect effect = effect_of(app, command);
  std::string text = "Exit status:\n";
  bool has_three = false;
  for (const auto& one : common_statuses) {
    if (one.status > 3 && !has_three) {
      text += status_three_of(app, command);
      has_three = true;
    }
    if ((one.effects & bit(effect)) != 0) {
      text += status_line(one.status, one.text);
    }
  }
  return has_three ? text : text + status_three_of(app, command);
}

bool has_own_statuses(const CLI::App& app) {
  return (bit(effect_of(app, command_of(app))) & comparing) != 0;
}

std::string HelpFormatter::make_footer(const CLI::App* app) const {
  const std::string remarks = app->get_footer();
  return (remarks.empty() ? "" : remarks + "\n\n") + change_options(*app) + exit_statuses(*app) +
         "\n" + closing_words;
}

void add_help_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("help", "The help of a command, as its --help prints it");
  auto words = std::make_shared<std::vector<std::string>>();
  command->add_option("COMMAND", *words, "The command, with its verbs; none for the whole program");
  command->callback([&app, &context, words] {
    context.action = [&app, words] { return print_help(app, *words); };
  });
}

}  // namespace l3ctl
