/*
 * l3ctl access: telnet and web management of the gateway, as the operator opens and closes them.
 * l3ctl page-jump: sends web requests of the LAN to a configuration page.
 * Neither is stored: both live in the running packet filter alone.
 */
#include <cstdint>
#include <memory>

#include "executor/system.hpp"
#include "l3_advance/management_access.h"
#include "l3ctl/commands.hpp"
#include "l3ctl/views/change_report.hpp"
#include "management/change/change.hpp"
#include "settings/values.hpp"

namespace l3ctl {

namespace {

/* Every change first deletes the rules of an earlier one, which are often not there. */
void expect_missing_rules() {
  executor::system_executor().allow_failure("iptables -D INPUT -j input_ext_access_ctrl");
  executor::system_executor().allow_failure("iptables -D input_ext_access_ctrl -p tcp --dport ");
}

int set_telnet(const Context& context, bool allow) {
  Change change(context);
  change.keep_tables({{"iptables", "filter"}});
  expect_missing_rules();
  change.call("access", [allow] { return omci_set_telnet_state(allow ? 1 : 0); });
  return report(context, change, std::string("access: telnet ") + (allow ? "allowed" : "blocked"));
}

int set_web(const Context& context, bool allow, int port) {
  Change change(context);
  change.keep_tables({{"iptables", "filter"}});
  expect_missing_rules();
  change.call("access", [allow, port] { return omci_set_web_state(allow ? 1 : 0, port); });
  return report(context, change,
                "access: web at port " + std::to_string(port) + (allow ? " allowed" : " blocked"));
}

struct Jump {
  std::string lan;
  std::string target;
};

int set_jump(const Context& context, const Jump& jump, bool add) {
  Change change(context);
  change.keep_tables({{"iptables", "nat"}});
  change.call("page-jump", [&] {
    return gl3_web_cfg_page_jump(add ? 1 : 0, jump.lan.c_str(), jump.target.c_str());
  });
  return report(context, change, std::string("page-jump: ") + (add ? "added" : "removed"));
}

/* Both texts go into a command line: nothing but addresses gets through. */
std::string check_network(const std::string& text) {
  const auto parsed = settings::parse_destination(text);
  return parsed.value ? "" : "must be " + parsed.allowed;
}

std::string check_address(const std::string& text) {
  return text != "any" && settings::parse_ipv4(text).value
             ? ""
             : "must be an IPv4 address such as \"192.168.1.1\"";
}

void add_jump_verb(CLI::App& command, Context& context, bool add) {
  CLI::App* verb = command.add_subcommand(add ? "add" : "remove",
                                          add ? "Redirect the web requests of a LAN network"
                                              : "Remove a redirect, given as it was added");
  auto jump = std::make_shared<Jump>();
  verb->add_option("LAN", jump->lan, "Source network, as 192.168.1.0/24")
      ->required()
      ->check(CLI::Validator(check_network, ""));
  verb->add_option("TARGET", jump->target, "Address that the requests are sent to")
      ->required()
      ->check(CLI::Validator(check_address, ""));
  verb->callback([&context, jump, add] {
    context.action = [&context, jump, add] { return set_jump(context, *jump, add); };
  });
}

}  // namespace

void add_access_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand(
      "access", "Telnet and web management of the gateway; not stored, gone after a restart");
  command->require_subcommand(1);
  CLI::App* telnet = command->add_subcommand("telnet", "TCP ports 23 and 26 of the gateway");
  CLI::App* web = command->add_subcommand("web", "One TCP port of the gateway");
  telnet->require_subcommand(1);
  web->require_subcommand(1);
  auto port = std::make_shared<int>(80);
  web->add_option("--port", *port, "The port of web management")
      ->check(CLI::Range(1, 65535))
      ->capture_default_str();
  for (const bool allow : {true, false}) {
    const char* verb = allow ? "allow" : "block";
    telnet->add_subcommand(verb, allow ? "Open telnet" : "Close telnet")
        ->callback([&context, allow] {
          context.action = [&context, allow] { return set_telnet(context, allow); };
        });
    web->add_subcommand(verb, allow ? "Open the port" : "Close the port")
        ->callback([&context, allow, port] {
          context.action = [&context, allow, port] { return set_web(context, allow, *port); };
        });
  }
}

void add_page_jump_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand(
      "page-jump", "Send web requests of the LAN to a configuration page; not stored");
  command->require_subcommand(1);
  add_jump_verb(*command, context, true);
  add_jump_verb(*command, context, false);
}

}  // namespace l3ctl
