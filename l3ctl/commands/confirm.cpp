/* l3ctl confirm: keeps what a change with --confirm set, extends its time, or rolls it back. */
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "l3ctl/commands.hpp"
#include "l3ctl/views/change_report.hpp"
#include "management/change/change.hpp"
#include "management/change/confirmation.hpp"
#include "management/change/confirmation_timer.hpp"
#include "management/change/revert_unconfirmed.hpp"
#include "management/store/history.hpp"
#include "management/system/lock.hpp"

namespace l3ctl {

namespace {

constexpr const char* nothing_pending = "no confirmation is pending; nothing was changed";

struct Verb {
  std::string id;    /* of the change that is meant; empty for whatever is pending */
  int extend_to = 0; /* seconds from now on */
  bool revert = false;
  std::string why = "reverted by confirm --revert"; /* for the history */
  bool roll_back =
      false;         /* the rollback of an overdue change, by the timer or by the next change */
  bool wait = false; /* the timer itself */
};

std::string rollback_text(const Rollback& rollback) {
  return "change " + rollback.id + " was rolled back at " + rollback.time + ": " + rollback.why;
}

/* What is pending, if it is the change that is meant. */
Pending pending_change(const std::string& id) {
  auto pending = read_pending();
  if (!pending) {
    if (const auto rollback = last_rollback()) {
      inform("note: " + rollback_text(*rollback));
    }
    throw Error(nothing_pending);
  }
  if (!id.empty() && id != pending->id) {
    throw Error("change " + pending->id + " is pending, and not " + id + "; nothing was changed",
                ErrorKind::invalid_input);
  }
  return *std::move(pending);
}

/* Throws where the time is over. */
void roll_back_overdue_change(const Context& context) {
  if (roll_back_if_overdue(context)) {
    throw Error("the time for the confirmation was over");
  }
}

int extend(const Context& context, const Verb& verb) {
  roll_back_overdue_change(context);
  const Lock lock(context);
  const Pending pending = pending_change(verb.id);
  if (is_overdue(pending)) {
    throw Error("the time for the confirmation is over, and the old settings are restored");
  }
  extend_confirmation(pending, verb.extend_to);
  ChangeResult done;
  done.is_done = true;
  done.id = pending.id;
  return print_result(context, done,
                      "confirm: " + std::to_string(verb.extend_to) + " s from now on",
                      nlohmann::ordered_json{{"confirm_within", verb.extend_to}});
}

int keep(const Context& context, const std::string& id) {
  roll_back_overdue_change(context);
  Change change(context, Preconditions{.allow_damaged = true, .allow_pending = true});
  const std::optional<Pending> pending = pending_change(id);
  if (is_overdue(*pending)) {
    throw Error("the time for the confirmation is over, and the old settings are restored");
  }
  keep_new_settings(*pending);
  return report(context, change, "confirm: the new settings stay",
                nlohmann::ordered_json{{"id", pending->id}});
}

/* The timer goes on where this fails. */
int fail(const Pending& pending, const std::vector<std::string>& problems) {
  for (const std::string& problem : problems) {
    complain("cannot restore the old settings: " + problem);
  }
  hurry_timer(pending);
  throw Error(timer_lives()
                  ? "the rollback is not complete; the timer tries again until it is"
                  : "the rollback is not complete, and the timer is gone: mend the cause, "
                    "then \"l3ctl confirm --revert\"");
}

int revert(const Context& context, const Verb& verb) {
  Lock lock(context);
  const std::optional<Pending> pending = pending_change(verb.id);
  const auto problems = roll_back(context, std::move(lock), *pending, verb.why);
  if (!problems.empty()) {
    return fail(*pending, problems);
  }
  stop_timer(*pending);
  ChangeResult done;
  done.is_done = true;
  done.id = pending->id;
  return print_result(context, done, "confirm: the old settings are back",
                      nlohmann::ordered_json::object());
}

/* An attempt of the timer, or of a change that comes after it. */
int roll_back_overdue(const Context& context) {
  Lock lock(context);
  const auto pending = read_pending();
  if (!pending || !is_overdue(*pending)) {
    return exit_done;
  }
  const auto problems =
      roll_back(context, std::move(lock), *pending,
                pending->boot == this_boot()
                    ? "not confirmed within " + std::to_string(pending->seconds) + " s"
                    : "the machine restarted before the change was confirmed");
  for (const std::string& problem : problems) {
    complain("cannot restore the old settings: " + problem);
  }
  return problems.empty() ? exit_done : exit_failed;
}

int confirm(const Context& context, const Verb& verb) {
  if (verb.wait) {
    run_timer(context);
    return exit_done;
  }
  if (verb.roll_back) {
    return roll_back_overdue(context);
  }
  if (verb.extend_to != 0) {
    return extend(context, verb);
  }
  return verb.revert ? revert(context, verb) : keep(context, verb.id);
}

std::string check_id(const std::string& id) {
  return is_change_id(id) ? "" : "must be the id of a change, 16 hexadecimal digits";
}

}  // namespace

void add_confirm_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("confirm", "Keep what a change with --confirm has set");
  auto verb = std::make_shared<Verb>();
  command->add_option("ID", verb->id, "The change that is meant; without it whichever is pending")
      ->check(CLI::Validator(check_id, ""));
  auto* revert =
      command->add_flag("--revert", verb->revert, "Restore the old settings at once instead");
  command
      ->add_option("--extend", verb->extend_to,
                   "Neither: wait for the confirmation for so many seconds from now on")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 86400).description(""))
      ->excludes(revert);
  // How l3ctl starts itself; in no help, for they are of no use to anybody else.
  command->add_flag("--roll-back", verb->roll_back)->group("");
  command->add_flag("--wait", verb->wait)->group("");
  command->add_option("--why", verb->why)->group("");
  command->callback(
      [&context, verb] { context.action = [&context, verb] { return confirm(context, *verb); }; });
}

}  // namespace l3ctl
