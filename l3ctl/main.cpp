/* l3ctl: settings of the gateway in, rules of the packet filter out. */
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>

#include "l3ctl/commands.hpp"
#include "l3ctl/wrong_words.hpp"

namespace l3ctl {

namespace {

constexpr AddCommand commands[] = {
    add_apply_command,
    add_plan_command,
    add_diff_command,
    add_confirm_command,
    add_show_command,
    add_export_command,
    add_status_command,
    add_version_command,
    add_init_command,
    add_reset_command,
    add_level_command,
    add_firewall_command,
    add_portal_command,
    add_ip_filter_command,
    add_acl_command,
    add_url_filter_command,
    add_mac_filter_command,
    add_dhcp_filter_command,
    add_captive_portal_command,
    add_port_scan_command,
    add_ipsec_command,
    add_vpn_command,
    add_qos_command,
    add_wan_command,
    add_access_command,
    add_page_jump_command,
    add_record_command,
    add_restore_rules_command,
    add_explain_command,
    add_completion_command,
    add_manual_command,
    add_rules_command,
    add_check_command,
    add_inspect_command,
    add_backup_command,
    add_restore_command,
    add_doctor_command,
};

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
    {"manual", ""},
};

std::string footer_with(const char* status_three) {
  return std::string(
             "Exit status:\n"
             "  0  done\n"
             "  1  the system or the library refused; messages say what\n"
             "  2  the command line or the settings are wrong; nothing was changed\n") +
         status_three +
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
      command->footer(footer.replace(footer.size() - all.size(), all.size(), footer_with(text)));
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

int parse(CLI::App& app, const Context& context, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? exit_done : context.wrong_input;
  }
  return -1;
}

int run(Context& context, int argc, char** argv) {
  CLI::App app("Settings of the gateway's firewall and services", "l3ctl");
  app.set_version_flag("--version", [&app] { return version_text(app.count("--json") != 0); });
  app.add_flag("--json", context.json, "Results as JSON");
  app.add_flag("--one-by-one", context.one_by_one,
               "Make rules by one command each, not all of a change at once: slower, and packets\n"
               "meet half of them");
  app.add_flag("--force", context.force,
               "Change settings also where those that are stored are torn or implausible,\n"
               "and start up once more");
  app.add_option("--lock-timeout", context.lock_timeout,
                 "Seconds to wait while another l3ctl is changing settings")
      ->check(CLI::Range(0, 86400))
      ->capture_default_str();
  app.footer(footer_with(every_status_three));
  app.failure_message(wrong_words);
  app.require_subcommand(1);
  app.fallthrough();
  for (const AddCommand add : commands) {
    add(app, context);
  }
  say_status_three(app);
  if (const int status = parse(app, context, argc, argv); status != -1) {
    return status;
  }
  return context.action();
}

}  // namespace

void complain(const std::string& message) {
  std::cerr << "l3ctl: " << message << '\n';
}

}  // namespace l3ctl

int main(int argc, char** argv) {
  l3ctl::occupy_standard_descriptors();
  l3ctl::Context context;
  int status = l3ctl::exit_failed;
  try {
    status = l3ctl::run(context, argc, argv);
  } catch (const l3ctl::Failure& failure) {
    l3ctl::complain(failure.what());
    status = failure.status() == l3ctl::exit_wrong_input ? context.wrong_input : failure.status();
  } catch (const std::exception& error) {
    l3ctl::complain(error.what());
  }
  std::cout.flush();
  if (!std::cout) {
    l3ctl::complain("cannot write to standard output");
    return l3ctl::exit_failed;
  }
  return status;
}
