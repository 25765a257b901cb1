/* l3ctl firewall, port-scan, ipsec, vpn: one switch each. */
#include "l3_advance/attack_protection.h"
#include "l3_advance/firewall.h"
#include "l3_advance/vpn_pass_through.h"
#include "l3ctl/commands.hpp"
#include "l3ctl/commands/switch_verbs.hpp"
#include "l3ctl/views/change_report.hpp"
#include "management/change/apply.hpp"
#include "management/change/change.hpp"
#include "management/store/setters.hpp"

namespace l3ctl {

namespace {

constexpr Switch firewall = {
    .command = "firewall",
    .help = "The master switch: rules exist only while it is on",
    .section = "firewall",
    .on_help = "Make the rules of every filter that is on",
    .off_help = "Remove the rules; settings stay",
    .set = set_firewall,
    .value = &settings::Settings::firewall,
};

constexpr Switch port_scan = {
    .command = "port-scan",
    .help = "Protection against port scans and malformed TCP",
    .section = "port_scan_protection",
    .on_help = "Drop TCP packets that open no proper connection",
    .off_help = "Let them pass",
    .set = set_port_scan_protection,
    .value = &settings::Settings::port_scan_protection,
};

constexpr Switch ipsec = {
    .command = "ipsec",
    .help = "Whether forwarded IPsec (UDP 500 and 4500) may pass",
    .section = "ipsec_pass_through",
    .on_help = "Let IPsec pass",
    .off_help = "Drop forwarded IPsec, also while the firewall is off",
    .set = [](bool on) { return gl3_web_set_ipsec_pass_ctrl(on ? 1 : 0); },
    .value = &settings::Settings::ipsec_pass_through,
    .may_fail = "iptables -t filter -D FORWARD -p udp ",
};

constexpr Switch vpn = {
    .command = "vpn",
    .help = "Whether VPN tunnels (GRE) may cross the address translation",
    .section = "vpn_pass_through",
    .on_help = "Let GRE pass",
    .off_help = "Do not let GRE pass",
    .set = set_vpn_pass_through,
    .value = &settings::Settings::vpn_pass_through,
};

int reset_vpn(const Context& context) {
  Change change(context);
  change.call("vpn", [] {
    uint8_t now = 0;
    const int32_t result = gl3_web_get_vpn_pass_through(&now);
    return result != 0 ? result : gl3_web_set_vpn_pass_through_default();
  });
  return report(context, change, "vpn: back to the factory state");
}

}  // namespace

void add_firewall_command(CLI::App& app, Context& context) {
  add_switch_command(app, context, firewall);
}

void add_port_scan_command(CLI::App& app, Context& context) {
  add_switch_command(app, context, port_scan);
}

void add_ipsec_command(CLI::App& app, Context& context) {
  add_switch_command(app, context, ipsec);
}

void add_vpn_command(CLI::App& app, Context& context) {
  CLI::App* command = add_switch_command(app, context, vpn);
  command->add_subcommand("reset", "Factory state: off")->callback([&context] {
    context.action = [&context] { return reset_vpn(context); };
  });
}

}  // namespace l3ctl
