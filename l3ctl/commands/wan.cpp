/* l3ctl wan: the interface that carries Internet traffic, as the layer-3 daemon reports it. */
#include <algorithm>
#include <cctype>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "l3_advance/internet_wan.h"
#include "l3ctl/commands.hpp"
#include "l3ctl/views/change_report.hpp"
#include "l3ctl/views/json_output.hpp"
#include "management/change/change.hpp"
#include "management/system/escape.hpp"
#include "management/system/platform_info.hpp"
#include "management/system/redirect_output.hpp"

namespace l3ctl {

namespace {

/* An interface name goes into command lines: nothing else gets through. */
std::string check_name(const std::string& name) {
  constexpr size_t longest_name = 15;
  const bool is_good =
      !name.empty() && name.size() <= longest_name && name[0] != '-' && name != "." &&
      name != ".." && std::all_of(name.begin(), name.end(), [](unsigned char c) {
        return c < 0x80 && (std::isalnum(c) != 0 || c == '_' || c == '.' || c == '-');
      });
  return is_good
             ? ""
             : "must be an interface name of at most 15 letters, digits, \"_\", \".\" and \"-\"";
}

int show(const Context& context) {
  // The library takes over a short name here; a longer one it learns from "update" alone.
  quietly(gl3_update_internet_wan);
  const std::string name = internet_wan_name();
  if (name.empty()) {
    throw Error("the platform knows no Internet WAN");
  }
  std::cout << (context.json ? json_text({{"internet_wan", name}}) : escape(name) + "\n");
  return exit_done;
}

int update(const Context& context, const std::string& name) {
  Change change(context);
  change.keep_tables({{"iptables", "filter"}, {"ip6tables", "filter"}});
  // The daemon clears first as well: updating appends to the dispatch chains.
  change.call("wan", gl3_l3ctl_clear_firewall);
  change.call("wan", [&] { return gl3_l3ctl_update_firewall(name.c_str()); });
  return report(context, change, "wan: " + name);
}

int clear(const Context& context) {
  Change change(context);
  change.keep_tables({{"iptables", "filter"}, {"ip6tables", "filter"}});
  change.call("wan", gl3_l3ctl_clear_firewall);
  return report(context, change, "wan: cleared");
}

}  // namespace

void add_wan_command(CLI::App& app, Context& context) {
  CLI::App* command =
      app.add_subcommand("wan", "The interface of the Internet WAN, to which rules are bound");
  command->require_subcommand(1);
  command->add_subcommand("show", "The interface that the platform names")->callback([&context] {
    context.action = [&context] { return show(context); };
  });
  auto name = std::make_shared<std::string>();
  CLI::App* change = command->add_subcommand("update", "Bind the rules to another interface");
  change->add_option("INTERFACE", *name, "Its name, at most 15 characters")
      ->required()
      ->check(CLI::Validator(check_name, ""));
  change->callback(
      [&context, name] { context.action = [&context, name] { return update(context, *name); }; });
  command->add_subcommand("clear", "Unbind the rules: there is no Internet WAN")
      ->callback([&context] { context.action = [&context] { return clear(context); }; });
}

}  // namespace l3ctl
