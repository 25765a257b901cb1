/* l3ctl: settings of the gateway in, rules of the packet filter out. */
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <string_view>

#include "l3ctl/answer.hpp"
#include "l3ctl/commands.hpp"
#include "l3ctl/usage_error.hpp"
#include "management/change/change.hpp"
#include "management/system/escape.hpp"
#include "management/system/find_tool.hpp"
#include "platform/linux/platform_linux.hpp"

namespace l3ctl {

namespace {

struct Command {
  const char* name;
  AddCommand add;
};

constexpr Command commands[] = {
    {"apply", add_apply_command},
    {"plan", add_plan_command},
    {"diff", add_diff_command},
    {"confirm", add_confirm_command},
    {"show", add_show_command},
    {"export", add_export_command},
    {"status", add_status_command},
    {"version", add_version_command},
    {"init", add_init_command},
    {"reset", add_reset_command},
    {"level", add_level_command},
    {"firewall", add_firewall_command},
    {"portal", add_portal_command},
    {"ip-filter", add_ip_filter_command},
    {"acl", add_acl_command},
    {"url-filter", add_url_filter_command},
    {"mac-filter", add_mac_filter_command},
    {"dhcp-filter", add_dhcp_filter_command},
    {"captive-portal", add_captive_portal_command},
    {"port-scan", add_port_scan_command},
    {"ipsec", add_ipsec_command},
    {"vpn", add_vpn_command},
    {"qos", add_qos_command},
    {"wan", add_wan_command},
    {"access", add_access_command},
    {"page-jump", add_page_jump_command},
    {"record", add_record_command},
    {"restore-rules", add_restore_rules_command},
    {"explain", add_explain_command},
    {"completion", add_completion_command},
    {"rules", add_rules_command},
    {"check", add_check_command},
    {"inspect", add_inspect_command},
    {"backup", add_backup_command},
    {"restore", add_restore_command},
    {"doctor", add_doctor_command},
};

constexpr const char* unanswered_or_busy =
    "  4  the change was made, but its answer could not be written\n"
    "  5  busy: another change holds the lock, or waits for its confirmation; nothing was "
    "changed\n";

/* Commands that change nothing, but wait for a change that is at work. */
constexpr const char* busy_alone = "  5  busy: another change holds the lock\n";

constexpr const char* every_status_three =
    "  3  the packet filter refused a rule; everything is as it was before, but that \"init\"\n"
    "     leaves all other rules standing\n"
    "     check: the kernel's rules are not those of the settings\n"
    "     inspect, backup: the configuration file is torn or implausible\n"
    "     doctor: something is wrong with the gateway\n";

/* What status 3 is of commands that do not change rules; "" where they never end so. */
constexpr struct {
  const char* command;
  const char* text;
} other_status_three[] = {
    {"init", "  3  the packet filter refused a rule; all other rules stand\n"},
    {"check", "  3  the kernel's rules are not those of the settings\n"},
    {"inspect", "  3  the configuration file is torn or implausible\n"},
    {"backup", "  3  the configuration file is torn; no backup was made\n"},
    {"doctor", "  3  something is wrong with the gateway\n"},
    {"show", ""},
    {"export", ""},
    {"status", ""},
    {"version", ""},
    {"rules", ""},
    {"explain", ""},
    {"completion", ""},
};

/* Statuses behind 3, by the name of the command. */
const char* higher_statuses_of(std::string_view command) {
  if (command == "check" || command == "rules") {
    return busy_alone;
  }
  constexpr const char* readers[] = {"show",    "export",  "status",     "version",
                                     "explain", "inspect", "completion", "doctor"};
  return std::find(std::begin(readers), std::end(readers), command) != std::end(readers)
             ? ""
             : unanswered_or_busy;
}

std::string footer_with(const char* status_three, const char* higher = unanswered_or_busy) {
  return std::string(
             "Exit status:\n"
             "  0  done\n"
             "  1  the system or the library refused; messages say what\n"
             "  2  the command line or the settings are wrong; nothing was changed\n") +
         status_three + higher +
         "\n"
         "Settings are kept in /ztcfg/l3_advance.dat. Results go to standard output, everything "
         "else,\n"
         "the library's own messages included, to standard error.";
}

/* Commands have taken the footer that tells of all of them; from here on each tells of itself. */
void say_status_three(CLI::App& app) {
  const std::string all = footer_with(every_status_three);
  for (CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    const auto* other =
        std::find_if(std::begin(other_status_three), std::end(other_status_three),
                     [&](const auto& one) { return command->get_name() == one.command; });
    const char* text =
        other != std::end(other_status_three)
            ? other->text
            : "  3  the packet filter refused a rule; everything is as it was before\n";
    std::string footer = command->get_footer();
    if (footer.ends_with(all)) {
      command->footer(footer.replace(footer.size() - all.size(), all.size(),
                                     footer_with(text, higher_statuses_of(command->get_name()))));
    }
  }
}

/* A closed standard descriptor would be given to the next file that is opened, and what is meant for
 * people would be written into it. */
void occupy_standard_descriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) == -1) {
      // Standard output stays unwritable, so that the loss of a result is noticed.
      open("/dev/null", fd == STDERR_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

/* What a flag says is stored only after this one is answered, so the command line itself is asked. */
std::string version_text(bool as_json) {
  return as_json ? nlohmann::ordered_json{{"l3ctl", L3CTL_VERSION}}.dump(2)
                 : "l3ctl " L3CTL_VERSION;
}

/* The parser without any command. */
std::unique_ptr<CLI::App> options_alone(Context& context) {
  auto app = std::make_unique<CLI::App>("Settings of the gateway's firewall and services", "l3ctl");
  app->set_version_flag("--version",
                        [one = app.get()] { return version_text(one->count("--json") != 0); });
  app->add_flag("--json", context.json, "Results as JSON");
  app->add_flag("--one-by-one", context.one_by_one,
                "Make rules by one command each, not all of a change at once: slower, and packets\n"
                "meet half of them");
  app->add_flag("--force", context.force,
                "Change settings also where those that are stored are torn or implausible,\n"
                "and start up once more");
  app->add_option("--lock-timeout", context.lock_timeout,
                  "Seconds to wait while another l3ctl is changing settings")
      ->check(CLI::Range(0, 86400))
      ->capture_default_str();
  app->require_subcommand(1);
  app->fallthrough();
  return app;
}

/* The first command that the command line names, if it needs no other to be known: completion does. */
const Command* named_command(std::span<char*> words) {
  for (const std::string_view word : words) {
    const auto* named = std::find_if(std::begin(commands), std::end(commands),
                                     [&](const Command& one) { return word == one.name; });
    if (named != std::end(commands)) {
      return named->add == add_completion_command ? nullptr : named;
    }
  }
  return nullptr;
}

/* Parses with one command alone, since all of them take as long to build as the rest of a start.
 * What does not go through, a call for help too, is left to the parser that knows them all. */
std::unique_ptr<CLI::App> parsed_alone(const Command& named, Context& context, int argc,
                                       char** argv) {
  auto app = options_alone(context);
  named.add(*app, context);
  try {
    app->parse(argc, argv);
  } catch (const CLI::ParseError&) {
    return nullptr;
  }
  return app;
}

/* What has been said on standard error. */
std::vector<std::string>& said() {
  static std::vector<std::string> messages;
  return messages;
}

/* For programs that asked for JSON: the failure, and what was said of it before. */
void print_failure(const std::string& message, const std::vector<std::string>& before) {
  using Json = nlohmann::ordered_json;
  const Json failure = {{"error", message}, {"messages", before}};
  std::cout << failure.dump(-1, ' ', true, Json::error_handler_t::replace) << '\n';
}

void tell_failure(const Context& context, const char* message) {
  if (context.json) {
    print_failure(message, said());
  }
  complain(message);
}

/* The status that the program ends with at once, or -1. */
int parse(CLI::App& app, const Context& context, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (app.exit(error) == 0) {
      return exit_done;
    }
    // A flag is stored with the last word, so the command line itself is asked.
    if (app.count("--json") != 0) {
      const std::string text = usage_error(&app, error);
      const size_t start = std::string_view("l3ctl: ").size();
      print_failure(text.substr(start, text.find_last_not_of('\n') + 1 - start), {});
    }
    return context.wrong_input;
  }
  return -1;
}

int run_with_all(Context& context, int argc, char** argv) {
  const auto app = options_alone(context);
  app->footer(footer_with(every_status_three));
  app->failure_message(usage_error);
  for (const Command& command : commands) {
    command.add(*app, context);
  }
  say_status_three(*app);
  if (const int status = parse(*app, context, argc, argv); status != -1) {
    return status;
  }
  return context.action();
}

int run(Context& context, int argc, char** argv) {
  if (const Command* named = named_command(std::span(argv + std::min(argc, 1), argv + argc))) {
    // Never destroyed: the end of the process gives its memory back faster.
    static const CLI::App* const app = parsed_alone(*named, context, argc, argv).release();
    if (app != nullptr) {
      return context.action();
    }
    context = Context();
  }
  return run_with_all(context, argc, argv);
}

int exit_status_of(ErrorKind kind, const Context& context) {
  switch (kind) {
    case ErrorKind::invalid_input:
      return context.wrong_input;
    case ErrorKind::stored_damaged:
      return exit_implausible;
    case ErrorKind::busy:
      return exit_busy;
    case ErrorKind::system:
      break;
  }
  return exit_failed;
}

}  // namespace

void complain(const std::string& message) {
  said().push_back(message);
  std::cerr << "l3ctl: " << escape(message) << '\n';
}

}  // namespace l3ctl

int main(int argc, char** argv) {
  l3ctl::occupy_standard_descriptors();
  management::extend_path();
  management::set_notice_sink(l3ctl::complain);
  // A parent that ignores it, as many daemons do, hands that down: no tool could be waited for.
  std::signal(SIGCHLD, SIG_DFL);
  platform_linux::filter_log_lines(management::escape);
  l3ctl::Context context;
  int status = l3ctl::exit_failed;
  try {
    status = l3ctl::run(context, argc, argv);
  } catch (const l3ctl::Error& failure) {
    l3ctl::tell_failure(context, failure.what());
    status = l3ctl::exit_status_of(failure.kind(), context);
  } catch (const std::exception& error) {
    l3ctl::tell_failure(context, error.what());
  }
  return l3ctl::finish_answer(status);
}
