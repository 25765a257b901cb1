/* l3ctl init, reset, restore-rules: the gateway as a whole. */
#include <unistd.h>

#include <iostream>
#include <memory>
#include <utility>

#include "executor/system.hpp"
#include "l3_advance/firewall.h"
#include "l3_advance/rule_set.h"
#include "l3_advance/vpn_pass_through.h"
#include "l3ctl/commands.hpp"
#include "l3ctl/views/change_report.hpp"
#include "management/change/begun_shift.hpp"
#include "management/change/change.hpp"
#include "management/change/clock_shift.hpp"
#include "management/change/confirmation.hpp"
#include "management/change/confirmation_timer.hpp"
#include "management/change/revert_unconfirmed.hpp"
#include "management/change/start_again.hpp"
#include "management/store/setters.hpp"
#include "management/store/unsafe_text.hpp"

namespace l3ctl {

namespace {

constexpr const char* what_reset_keeps =
    "IPsec and VPN pass-through stay as they are, as do the rules of management access";

/* Rolls back what was not confirmed in this start of the machine, or in another one. Start-up itself reports a damaged
 * note. Nothing keeps a gateway from its start. */
void roll_back_unconfirmed(const Context& context, bool of_this_boot) {
  try {
    const auto pending = read_pending();
    if (!pending || (pending->boot == this_boot()) != of_this_boot) {
      return;
    }
  } catch (const Error&) {
    return;
  }
  try {
    roll_back_if_overdue(context);
  } catch (const Error& error) {
    complain(error.what());
  }
}

/* Start-up has made the rules of the spans as they are stored. Nothing keeps a gateway from its start. */
void shift_at_start(const Context& context) {
  try {
    const ClockState state = clock_state();
    if (!state.problem.empty()) {
      inform("warning: " + state.problem + ": time spans are left as they are");
    } else if (state.is_due()) {
      shift_in_own_process(context);
    }
  } catch (const Error& error) {
    complain(error.what());
  }
}

/* Start-up as the web management server does it. A gateway without any rule would be worse than one
 * that lacks the rules which the packet filter refuses. */
int start_up(const Context& context, Lock lock) {
  Change change(context, std::move(lock), any_state, OnFailure::continue_);
  reject_unsafe_migration();
  restore_after_restart(change);
  executor::system_executor().allow_failure("mkdir -p /lib/modules/");
  executor::system_executor().allow_failure("iptables -N ");
  executor::system_executor().allow_failure("ip6tables -N ");
  change.call("firewall", gl3_web_init_fw);
  change.call("VPN pass-through", gl3_web_init_vpn_pass_through);
  return report(context, change, "init: the gateway is up");
}

/* A gateway that runs keeps the rules that it has when one of the new ones is refused. */
int start_up_again(const Context& context, Lock lock) {
  Change change(context, std::move(lock), sound_state, OnFailure::rollback);
  reject_unsafe_migration();
  executor::system_executor().allow_failure("mkdir -p /lib/modules/");
  executor::system_executor().allow_failure("iptables -N ");
  executor::system_executor().allow_failure("ip6tables -N ");
  start_again(change);
  change.call("VPN pass-through", gl3_web_init_vpn_pass_through);
  if (*change.stored().firewall && change.stored().dhcp_filter->dhcp_mac_filter_ctrl != 0) {
    inform(
        "note: a start makes no rules of the DHCP filter; \"l3ctl dhcp-filter off\", then \"l3ctl "
        "dhcp-filter on\" makes them");
  }
  return report(context, change, "init: the gateway has started again");
}

int init(const Context& context, bool again) {
  if (!context.dry_run) {
    roll_back_unconfirmed(context, true);
  }
  Lock lock(context);
  if (is_started()) {
    if (!again) {
      throw Error(
          "init: the gateway has started; a second start would put every jump into the chains "
          "there "
          "once more; \"l3ctl init --again\" removes our rules first; nothing was changed");
    }
    return start_up_again(context, std::move(lock));
  }
  const int status = start_up(context, std::move(lock));
  if (!context.dry_run) {
    // Rules of settings that were not confirmed must not stay, also where the old ones cannot be stored.
    roll_back_unconfirmed(context, false);
    shift_at_start(context);
  }
  return status;
}

/* Asks at a terminal; without one there is nobody to ask. */
void confirm() {
  if (isatty(STDIN_FILENO) == 0) {
    throw Error("reset needs --yes when nobody can be asked; nothing was changed",
                ErrorKind::invalid_input);
  }
  std::cerr << "Turn the firewall off and forget every filter and route QoS (" << what_reset_keeps
            << ")? [y/N] ";
  std::string answer;
  std::getline(std::cin, answer);
  if (answer != "y" && answer != "Y" && answer != "yes") {
    throw Error("nothing was changed");
  }
}

int reset(const Context& context, bool is_sure) {
  if (!is_sure && !context.dry_run) {
    confirm();
  }
  Change change(context, Preconditions{.allow_damaged = true, .allow_unsafe_text = true});
  change.call("reset", gl3_web_set_firewall_default);
  change.call("time_zone", remove_time_zone);
  return report(context, change, "reset: factory state");
}

int restore_rules(const Context& context) {
  Change change(context);
  change.keep_tables({{"iptables", "filter"}, {"ip6tables", "filter"}});
  inform(
      "warning: after the IPv4 rules are restored, rule number 8 of INPUT is deleted, whatever it "
      "is");
  change.call("IPv4", restore_fw);
  change.call("IPv6", restore_fw6);
  return report(context, change,
                "restore-rules: restored from /ztcfg/firewall.conf and /ztcfg/firewall6.conf");
}

}  // namespace

void add_init_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand(
      "init", "Start-up, once at boot: chains, stored rules, route QoS, VPN pass-through");
  command->footer(
      "With --again, on a gateway that runs, our rules are removed and made anew at once; the\n"
      "Internet WAN stays bound, and rules of other programs and of management access stay. Where\n"
      "the packet filter refuses a rule then, everything is as it was before.");
  auto again = std::make_shared<bool>(false);
  command->add_flag("--again", *again, "Also on a gateway that runs: our rules are removed first");
  command->callback(
      [&context, again] { context.action = [&context, again] { return init(context, *again); }; });
}

void add_reset_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("reset", "Firewall off, every filter and route QoS empty");
  command->footer(std::string(what_reset_keeps) + ".");
  auto is_sure = std::make_shared<bool>(false);
  command->add_flag("--yes", *is_sure, "Do not ask");
  command->callback([&context, is_sure] {
    context.action = [&context, is_sure] { return reset(context, *is_sure); };
  });
}

void add_restore_rules_command(CLI::App& app, Context& context) {
  app.add_subcommand("restore-rules",
                     "Put the saved rules back; deletes rule 8 of INPUT afterwards")
      ->callback([&context] { context.action = [&context] { return restore_rules(context); }; });
}

}  // namespace l3ctl
