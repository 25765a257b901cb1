/*
 * l3ctl captive-portal: where web requests of LAN clients may go.
 * l3ctl portal: whether that is active, and the switch of the whole firewall under its other name.
 */
#include "l3_advance/captive_portal.h"

#include <iostream>

#include "l3_advance/firewall.h"
#include "l3ctl/commands.hpp"
#include "l3ctl/commands/filter_verbs.hpp"
#include "l3ctl/views/change_report.hpp"
#include "l3ctl/views/problem_report.hpp"
#include "management/change/change.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"
#include "management/system/redirect_output.hpp"

namespace l3ctl {

namespace {

using settings::Settings;

constexpr FilterList captive_portal_lists[] = {
    {.section = "captive_portal", .remove_all = gl3_web_remove_all_caporl_rule},
};

/* Clearing leaves no rule, but the rules of a portal without destinations drop every request. */
const char* clear_note(const Settings& before) {
  return before.captive_portal->caporl_filter_ctrl == 0
             ? nullptr
             : "web requests pass until the rules are made again, by a start or by switching the "
               "firewall or the portal on; the portal then drops them all unless it has a "
               "destination";
}

const Filter captive_portal = {.command = "captive-portal",
                               .help = "Where web requests of LAN clients may go",
                               .main_key = "destination",
                               .example = "203.0.113.0/24",
                               .lists = captive_portal_lists,
                               .reset = gl3_web_set_caporl_table_default,
                               .clear_note = clear_note};

int show_portal(const Context& context) {
  warn_of_stored_damage();
  // The library's own view: the firewall's switch and the portal's must both be on.
  uint32_t active = 0;
  if (stored_exists()) {
    quietly([&] { return gl3_web_get_caporl_status(&active); });
  }
  std::cout << (context.json
                    ? std::string("{\n  \"active\": ") + (active != 0 ? "true" : "false") + "\n}\n"
                    : std::string("portal ") + (active != 0 ? "active" : "inactive") + "\n");
  return exit_done;
}

int switch_portal(const Context& context, bool on) {
  Change change(context);
  inform("note: this switches the whole firewall; \"l3ctl captive-portal " +
         std::string(on ? "on" : "off") + "\" switches the portal alone");
  settings::Settings wanted = change.stored();
  wanted.firewall = on;
  warn_of_change(change.stored(), wanted);
  change.call("portal", [on] { return gl3_web_set_caporl_enable(on ? 1 : 0); });
  return report(context, change, std::string("portal: the firewall is ") + (on ? "on" : "off"));
}

}  // namespace

void add_captive_portal_command(CLI::App& app, Context& context) {
  add_filter_command(app, context, captive_portal);
}

void add_portal_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand(
      "portal", "Whether the captive portal is active; on and off switch the whole firewall");
  command->require_subcommand(1);
  command->add_subcommand("status", "Show whether the portal is active")->callback([&context] {
    context.action = [&context] { return show_portal(context); };
  });
  command->add_subcommand("on", "Turn the whole firewall on")->callback([&context] {
    context.action = [&context] { return switch_portal(context, true); };
  });
  command->add_subcommand("off", "Turn the whole firewall off")->callback([&context] {
    context.action = [&context] { return switch_portal(context, false); };
  });
}

}  // namespace l3ctl
