/* l3ctl: settings of the gateway in, rules of the packet filter out. */
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "l3ctl/answer.hpp"
#include "l3ctl/command_table.hpp"
#include "l3ctl/help.hpp"
#include "l3ctl/usage_error.hpp"
#include "l3ctl/views/remedy_words.hpp"
#include "management/system/escape.hpp"
#include "management/system/find_tool.hpp"
#include "management/system/redirect_output.hpp"
#include "management/system/text.hpp"
#include "platform/linux/platform_linux.hpp"

namespace l3ctl {

namespace {

/* If descriptor 0, 1 or 2 is closed, the next open() would take it, and our output would go into that
 * file. */
void occupy_standard_descriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) == -1) {
      // Standard output stays unwritable, so that the loss of a result is noticed.
      open("/dev/null", fd == STDERR_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

/* CLI11 answers --version before it stores the other flags, so the caller counts --json itself. */
std::string version_text(bool as_json) {
  return as_json ? nlohmann::ordered_json{{"l3ctl", L3CTL_VERSION}}.dump(2)
                 : "l3ctl " L3CTL_VERSION;
}

/* The parser, with the options that every command takes. */
std::unique_ptr<CLI::App> make_parser(Context& context) {
  auto app = std::make_unique<CLI::App>("Settings of the gateway's firewall and services", "l3ctl");
  // Commands take the formatter when they are added.
  app->formatter(std::make_shared<HelpFormatter>());
  app->set_version_flag("--version",
                        [one = app.get()] { return version_text(one->count("--json") != 0); });
  app->add_flag("--json", context.json, "Results as JSON");
  app->add_flag("-q,--quiet", context.quiet,
                "Errors only, as cron wants it: no warnings, notes and progress, and no word of a\n"
                "change that was made");
  app->add_flag("--verbose", context.verbose,
                "The library's own lines too, on standard error, when a command succeeds");
  app->add_flag("--one-by-one", context.one_by_one,
                "Make rules by one command each, not all of a change at once: slower, and packets\n"
                "meet half of them");
  app->add_flag("--force", context.force,
                "Change settings also where those that are stored are torn or implausible");
  app->add_option("--lock-timeout", context.lock_timeout,
                  "Seconds to wait while another l3ctl is changing settings")
      ->type_name("SECONDS")
      ->check(CLI::Range(0, 86400).description(""))
      ->capture_default_str();
  app->require_subcommand(1);
  app->fallthrough();
  return app;
}

/* What every command that changes something offers. */
void add_change_options(CLI::App& command, Context& context, Offers offers) {
  command.add_option("--who", context.who, "Who asks for the change, for the history")
      ->type_name("NAME");
  command.add_option("--origin", context.origin, "What passes it on, for the history")->group("");
  if (offers == Offers::dry_run || offers == Offers::all) {
    command.add_flag("--dry-run", context.dry_run,
                     "Show what it would do, as plan does, and do nothing");
  }
  if (offers == Offers::all) {
    command
        .add_option(
            "--confirm", context.confirm_within,
            "Bring the old settings back unless \"l3ctl confirm\" comes within so many seconds")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 86400).description(""));
  }
}

void add_command(CLI::App& app, Context& context, const Command& command) {
  if (find_command(app, command.name) == nullptr) {
    command.add(app, context);
    if (command.effect == Effect::changes && command.offers != Offers::nothing) {
      add_change_options(*app.get_subcommand(command.name), context, command.offers);
    }
  }
}

void add_all_commands(CLI::App& app, Context& context) {
  for (const Command& command : commands()) {
    add_command(app, context, command);
  }
}

/* A start takes half the time with no other commands than the words name. Help, and words that name none, need all;
 * --version needs none. */
void add_commands(CLI::App& app, Context& context, const std::vector<std::string>& words) {
  const auto all = commands();
  const auto is_named = [&](const char* name) {
    return std::any_of(words.begin(), words.end(),
                       [&](const std::string& word) { return is_same_word(word, name); });
  };
  const bool names_none = std::none_of(
      all.begin(), all.end(), [&](const Command& command) { return is_named(command.name); });
  if (names_none && is_named("--version")) {
    return;
  }
  if (is_named("help") || is_named("--help") || is_named("-h") || is_named("completion") ||
      names_none) {
    add_all_commands(app, context);
    return;
  }
  for (const Command& command : all) {
    if (is_named(command.name)) {
      add_command(app, context, command);
    }
  }
}

/* Set by --quiet, which holds for messages of every depth. */
bool is_quiet = false;

void print_notice(Severity severity, const std::string& message) {
  severity == Severity::error ? complain(message) : inform(message);
}

/* The messages so far, those that --quiet leaves out too. */
std::vector<std::string>& messages() {
  static std::vector<std::string> list;
  return list;
}

/* For programs that asked for JSON: the failure, and the messages before it. */
void print_failure_as_json(const std::string& message, const std::vector<std::string>& before) {
  using Json = nlohmann::ordered_json;
  const Json failure = {{"error", message}, {"messages", before}};
  std::cout << failure.dump(-1, ' ', true, Json::error_handler_t::replace) << '\n';
}

void print_failure(const Context& context, const char* message) {
  if (context.json) {
    print_failure_as_json(message, messages());
  }
  print_held_library_output();
  complain(message);
}

/* How the chosen command ends on a wrong command line or wrong settings. */
ExitStatus wrong_input_status(const CLI::App& app, bool is_dry_run) {
  const auto chosen = app.get_subcommands();
  return is_dry_run || (!chosen.empty() && has_own_statuses(*chosen.front())) ? exit_failed
                                                                              : exit_wrong_input;
}

ExitStatus exit_status_of(ErrorKind kind, const CLI::App& app, bool is_dry_run) {
  switch (kind) {
    case ErrorKind::invalid_input:
      return wrong_input_status(app, is_dry_run);
    case ErrorKind::stored_damaged:
      return exit_implausible;
    case ErrorKind::busy:
      return exit_busy;
    case ErrorKind::system:
      break;
  }
  return exit_failed;
}

/* Returns the exit status with which the program ends at once, or -1. */
int parse(CLI::App& app, Context& context, std::vector<std::string> words) {
  add_commands(app, context, words);
  replace_other_words(app, words);
  app.failure_message([&words](const CLI::App* parser, const CLI::Error& error) {
    return "l3ctl: " + usage_error_message(*parser, error, words) + "\n";
  });
  try {
    // CLI11 takes the words from the back.
    std::vector<std::string> reversed(words.rbegin(), words.rend());
    app.parse(std::move(reversed));
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      // The message names the word that is closest to an unknown one.
      add_all_commands(app, context);
    }
    if (app.exit(error) == 0) {
      return exit_done;
    }
    // A flag is stored with the last word, so the command line itself is asked.
    if (app.count("--json") != 0) {
      print_failure_as_json(usage_error_message(app, error, words), {});
    }
    const bool is_dry_run = std::find(words.begin(), words.end(), "--dry-run") != words.end();
    return wrong_input_status(app, is_dry_run);
  }
  return -1;
}

/* For the history: who runs this program, and how. */
void describe_caller(Context& context, const std::vector<std::string>& words) {
  for (const char* name : {"SUDO_USER", "USER"}) {
    const char* user = std::getenv(name);
    context.who = context.who.empty() && user != nullptr ? user : context.who;
  }
  context.who = context.who.empty() ? "user " + std::to_string(getuid()) : context.who;
  context.origin = context.origin.empty() ? "l3ctl" : context.origin;
  context.command = joined(words, " ");
}

int run(Context& context, int argc, char** argv) {
  // Leaked on purpose: to destroy the parser takes time, and the process ends next.
  static CLI::App* const app = make_parser(context).release();
  const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  const int status = parse(*app, context, words);
  if (status != -1) {
    return status;
  }
  is_quiet = context.quiet;
  describe_caller(context, words);
  if (!context.verbose) {
    hold_library_output();
  }
  try {
    return context.action();
  } catch (const Error& error) {
    print_failure(context, error.what());
    return exit_status_of(error.kind(), *app, context.dry_run);
  }
}

}  // namespace

const std::vector<std::string>& reported_messages() {
  return messages();
}

void complain(const std::string& message) {
  messages().push_back(message);
  std::cerr << "l3ctl: " << escape(message) << '\n';
}

void inform(const std::string& message) {
  if (is_quiet) {
    messages().push_back(message);
  } else {
    complain(message);
  }
}

}  // namespace l3ctl

int main(int argc, char** argv) {
  l3ctl::occupy_standard_descriptors();
  management::extend_path();
  management::set_notice_sink(l3ctl::print_notice);
  management::set_remedy_words(l3ctl::remedy_words);
  // A parent that ignores it, as many daemons do, hands that down: no tool could be waited for.
  std::signal(SIGCHLD, SIG_DFL);
  platform_linux::filter_log_lines(management::escape);
  l3ctl::Context context;
  int status = l3ctl::exit_failed;
  try {
    status = l3ctl::run(context, argc, argv);
  } catch (const std::exception& error) {
    l3ctl::print_failure(context, error.what());
  }
  return l3ctl::finish_answer(status);
}
