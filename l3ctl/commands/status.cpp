/* l3ctl status: everything on one screen. l3ctl version: who is speaking. */
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <set>

#include "l3_advance/version.h"
#include "l3ctl/commands.hpp"
#include "l3ctl/views/clock_report.hpp"
#include "l3ctl/views/colour.hpp"
#include "l3ctl/views/json_output.hpp"
#include "management/change/confirmation.hpp"
#include "management/rules/live_bindings.hpp"
#include "management/store/history.hpp"
#include "management/store/paths.hpp"
#include "management/store/sections.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"
#include "management/store/time_zone_file.hpp"
#include "management/system/escape.hpp"
#include "management/system/platform_info.hpp"
#include "management/system/redirect_output.hpp"
#include "management/system/text.hpp"
#include "platform/linux/platform_linux.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;
using settings::Settings;

/* Of each list, whether it makes rules now, and how many entries it holds. */
Json lists(const Settings& stored) {
  Json result = Json::object();
  for (const std::string& name : settings::section_names()) {
    if (const SectionList* list = section_named(name).list; list != nullptr) {
      const bool is_on = list->is_on(stored);
      result[name] = {{"enabled", is_on},
                      {"active", is_on && *stored.firewall},
                      {"entries", list->used(stored)}};
    }
  }
  return result;
}

const char* state_name(ConfirmationState state) {
  switch (state) {
    case ConfirmationState::waiting:
      return "waiting";
    case ConfirmationState::overdue:
      return "overdue";
    case ConfirmationState::retrying:
      return "retrying";
    case ConfirmationState::timer_gone:
      break;
  }
  return "timer_gone";
}

/* A pending confirmation; null when none is. */
Json confirmation() {
  // Who may not read the note is told nothing of it.
  const auto pending = access(pending_path, R_OK) == 0 ? confirmation_status() : std::nullopt;
  if (!pending) {
    return nullptr;
  }
  return {{"id", pending->id.empty() ? Json() : Json(pending->id)},
          {"seconds_left", pending->seconds_left},
          {"timer", pending->timer},
          {"state", state_name(pending->state)},
          {"reason", pending->reason.empty() ? Json() : Json(pending->reason)}};
}

/* A change that was rolled back, and nothing has changed since. */
Json last_rolled_back() {
  const auto rollback = last_rollback();
  return rollback ? Json{{"id", rollback->id}, {"time", rollback->time}, {"why", rollback->why}}
                  : Json();
}

/* The interfaces that the lists' rules are bound to; null where the packet filter does not tell. */
Json bound_to() {
  try {
    const LiveBindings live = read_live_bindings();
    return {{"ip_filter", live.ip_filter}, {"ip6_filter", live.ip6_filter}, {"acl", live.acl}};
  } catch (const Error&) {
    return nullptr;
  }
}

/* The gateway's clock; null where no zone is set, or none can be read. */
Json time_zone() {
  settings::Settings zone;
  zone.time_zone = time_zone_to_show();
  return span_offset(zone) ? clock_as_json(clock_state()) : Json();
}

Json status() {
  warn_of_stored_damage();
  const Settings stored = stored_or_defaults();
  const std::string wan = quietly(internet_wan_name);
  const std::string lan = lan_address();
  const auto is_saved = [](const char* path) { return access(path, F_OK) == 0; };
  return {
      {"firewall", *stored.firewall},
      {"security_level", level_of(stored)},
      {"internet_wan", wan.empty() ? Json() : Json(wan)},
      {"bound_to", bound_to()},
      {"lan_address", lan.empty() ? Json() : Json(lan)},
      {"port_scan_protection", *stored.port_scan_protection},
      {"ipsec_pass_through", *stored.ipsec_pass_through},
      {"vpn_pass_through", *stored.vpn_pass_through},
      {"lists", lists(stored)},
      {"route_qos",
       {{"enabled", *stored.route_qos_enabled}, {"rules", stored.route_qos_rules->RulesNum}}},
      {"saved_rules",
       {{"ipv4", is_saved("/ztcfg/firewall.conf")}, {"ipv6", is_saved("/ztcfg/firewall6.conf")}}},
      {"confirmation", confirmation()},
      {"rolled_back", last_rolled_back()},
      {"time_zone", time_zone()}};
}

void print_line(const std::string& name, const std::string& value) {
  const Paint paint = paint_of_state(value.substr(0, value.find(',')));
  std::cout << painted(Paint::strong, name)
            << std::string(name.size() < 24 ? 24 - name.size() : 1, ' ')
            << painted(paint, escape(value)) << '\n';
}

std::string in_words(const Json& value) {
  if (value.is_boolean()) {
    return value.get<bool>() ? "on" : "off";
  }
  return value.is_null() ? "none" : value.get<std::string>();
}

std::string plural(size_t count) {
  return std::to_string(count) + (count == 1 ? " entry" : " entries");
}

std::string list_in_words(const Json& list) {
  const size_t count = list["entries"];
  const std::string entries = plural(count);
  if (!list["enabled"].get<bool>()) {
    return "off, " + entries;
  }
  return (list["active"].get<bool>() ? "on, " : "waits for the firewall, ") + entries;
}

std::string state_of_confirmation(const Json& confirmation) {
  const std::string state = confirmation["state"];
  const std::string left = confirmation["seconds_left"].dump();
  if (state == "waiting") {
    return "pending: rollback in " + left + " s unless \"l3ctl confirm\" keeps the settings";
  }
  if (state == "overdue") {
    return "overdue, the rollback is at work";
  }
  if (state == "retrying") {
    return "overdue, the rollback is tried again: " +
           escape(confirmation["reason"].get<std::string>());
  }
  return left == "0" ? "overdue, and the timer is gone: the next change rolls back first"
                     : "pending, but the timer is gone: \"l3ctl confirm\" keeps the settings; the "
                       "first change after " +
                           left + " s rolls back";
}

/* The note of an older program has no id. */
std::string confirmation_in_words(const Json& confirmation) {
  const Json& id = confirmation["id"];
  return (id.is_null() ? "" : "change " + escape(id.get<std::string>()) + " ") +
         state_of_confirmation(confirmation);
}

/* Each binding adds its rules once more, so a name may be there several times. */
std::string names_in_words(const Json& names) {
  const auto once = names.get<std::set<std::string>>();
  return once.empty() ? "none" : joined({once.begin(), once.end()}, " and ");
}

/* "wan3", or for each list where they differ. */
std::string bound_in_words(const Json& bound) {
  if (bound.is_null()) {
    return "unknown";
  }
  std::string all;
  bool is_one = true;
  for (const auto& [list, names] : bound.items()) {
    is_one = is_one && names_in_words(names) == names_in_words(bound["ip_filter"]);
    all += (all.empty() ? "" : ", ") + list + " " + names_in_words(names);
  }
  return is_one ? names_in_words(bound["ip_filter"]) : all;
}

void print_status(const Json& view) {
  for (const char* key : {"firewall", "security_level", "internet_wan"}) {
    print_line(key, in_words(view[key]));
  }
  print_line("bound_to", bound_in_words(view["bound_to"]));
  for (const char* key :
       {"lan_address", "port_scan_protection", "ipsec_pass_through", "vpn_pass_through"}) {
    print_line(key, in_words(view[key]));
  }
  for (const auto& [name, list] : view["lists"].items()) {
    print_line(name, list_in_words(list));
  }
  const Json& qos = view["route_qos"];
  print_line("route_qos", in_words(qos["enabled"]) + ", " + plural(qos["rules"]));
  const Json& saved = view["saved_rules"];
  const auto yes_no = [](const Json& value) { return value.get<bool>() ? "yes" : "no"; };
  print_line("saved_rules",
             std::string("IPv4 ") + yes_no(saved["ipv4"]) + ", IPv6 " + yes_no(saved["ipv6"]));
  if (!view["time_zone"].is_null()) {
    print_line("local_time", clock_in_words(clock_state()));
  }
  if (!view["confirmation"].is_null()) {
    print_line("confirmation", confirmation_in_words(view["confirmation"]));
  }
  if (const Json& rollback = view["rolled_back"]; !rollback.is_null()) {
    print_line("rolled_back", "change " + rollback["id"].get<std::string>() + " at " +
                                  rollback["time"].get<std::string>() + ": " +
                                  escape(rollback["why"].get<std::string>()));
  }
}

int show_status(const Context& context) {
  const Json view = status();
  if (context.json) {
    print_json(view);
  } else {
    print_status(view);
  }
  return exit_done;
}

/* The library registers its banner with the platform, which keeps it. */
int show_version(const Context& context) {
  if (quietly(libonu_bsp_version_export) != 0) {
    throw Error("the platform does not take the library's version");
  }
  std::string banners = platform_linux::read_state("versions");
  if (context.json) {
    banners.erase(banners.find_last_not_of('\n') + 1);
    print_json({{"l3ctl", L3CTL_VERSION}, {"registered", banners}});
  } else {
    std::cout << "l3ctl " << L3CTL_VERSION << '\n' << escape_lines(banners);
  }
  return exit_done;
}

}  // namespace

void add_status_command(CLI::App& app, Context& context) {
  app.add_subcommand("status", "Everything on one screen")->callback([&context] {
    context.action = [&context] { return show_status(context); };
  });
}

void add_version_command(CLI::App& app, Context& context) {
  app.add_subcommand("version", "Versions of this program and of the library")
      ->callback([&context] { context.action = [&context] { return show_version(context); }; });
}

}  // namespace l3ctl
