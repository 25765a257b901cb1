/* l3ctl qos: the switch of route QoS, and its rules as one block of bytes. */
#include <cstring>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "l3_advance/route_qos.h"
#include "l3ctl/commands.hpp"
#include "l3ctl/input/read_input.hpp"
#include "l3ctl/views/change_report.hpp"
#include "l3ctl/views/json_output.hpp"
#include "management/change/change.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"
#include "settings/route_qos.hpp"
#include "settings/settings.hpp"
#include "settings/values.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;

/* The fields that are known; the rest of the block is the platform's. */
Json known_fields(const l3_qos_rules& rules) {
  return {{"rules_num", rules.RulesNum},
          {"control", rules.control},
          {"qos_type", rules.QoSType},
          {"protocol", rules.Protocol},
          {"source", settings::ipv4_text(rules.SrcIp)},
          {"destination", settings::ipv4_text(rules.DstIp)}};
}

int show(const Context& context) {
  warn_of_stored_damage();
  const settings::Settings stored = stored_or_defaults();
  Json view = {{"enabled", *stored.route_qos_enabled}};
  view.update(known_fields(*stored.route_qos_rules));
  view["block"] = settings::qos_rules_text(*stored.route_qos_rules);
  if (context.json) {
    print_json(view);
    return exit_done;
  }
  for (const auto& [key, value] : view.items()) {
    const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    std::cout << key << std::string(14 - key.size(), ' ') << (text.empty() ? "empty" : text)
              << '\n';
  }
  return exit_done;
}

int set_rules(const Context& context, const std::string& file) {
  const std::string block = read_input(file, sizeof(l3_qos_rules));
  if (block.size() != sizeof(l3_qos_rules)) {
    throw Error(input_name(file) + ": a block of rules is " + std::to_string(sizeof(l3_qos_rules)) +
                    " bytes; nothing was changed",
                ErrorKind::invalid_input);
  }
  l3_qos_rules rules;
  std::memcpy(&rules, block.data(), sizeof rules);
  Change change(context);
  change.call("qos", [&] { return gl3_web_set_route_qos(&rules); });
  return report(context, change, "qos: rules set");
}

int clear(const Context& context) {
  Change change(context);
  change.call("qos", gl3_web_remove_all_qos_cfg);
  return report(context, change, "qos: cleared");
}

int enable(const Context& context, bool on) {
  Change change(context);
  change.call("qos", [on] { return gl3_web_set_route_qos_control(on ? 1 : 0); });
  return report(context, change, std::string("qos: ") + (on ? "on" : "off"));
}

}  // namespace

void add_qos_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("qos", "Route QoS: its switch and its block of rules");
  command->require_subcommand(1);
  command->add_subcommand("show", "Show the switch and what is known of the rules")
      ->callback([&context] { context.action = [&context] { return show(context); }; });
  command->add_subcommand("on", "Turn route QoS on")->callback([&context] {
    context.action = [&context] { return enable(context, true); };
  });
  command->add_subcommand("off", "Turn route QoS off")->callback([&context] {
    context.action = [&context] { return enable(context, false); };
  });
  command->add_subcommand("clear", "Remove all rules")->callback([&context] {
    context.action = [&context] { return clear(context); };
  });
  auto file = std::make_shared<std::string>();
  CLI::App* set = command->add_subcommand("set", "Replace the rules by a block from a file");
  set->add_option("FILE", *file, "244 bytes in the gateway's byte order; - is standard input")
      ->required();
  set->callback([&context, file] {
    context.action = [&context, file] { return set_rules(context, *file); };
  });
}

}  // namespace l3ctl
