/* l3ctl confirm: keeps what an "apply --confirm" set, or rolls it back. */
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "l3ctl/commands.hpp"
#include "l3ctl/views/change_report.hpp"
#include "management/change/change.hpp"
#include "management/change/confirmation.hpp"
#include "management/change/confirmation_timer.hpp"
#include "management/change/rollback.hpp"
#include "management/system/lock.hpp"

namespace l3ctl {

namespace {

constexpr const char* nothing_pending = "no confirmation is pending; nothing was changed";

struct Verb {
  bool revert = false;
  bool roll_back =
      false;         /* the rollback of an overdue change, by the timer or by the next change */
  bool wait = false; /* the timer itself */
};

int keep(const Context& context) {
  if (roll_back_if_overdue(context)) {
    throw Error("the time for the confirmation was over");
  }
  Change change(context, Preconditions{.allow_damaged = true, .allow_pending = true});
  const auto pending = read_pending();
  if (!pending) {
    throw Error(nothing_pending);
  }
  if (is_overdue(*pending)) {
    throw Error("the time for the confirmation is over, and the old settings are restored");
  }
  keep_new_settings(*pending);
  return report(context, change, "confirm: the new settings stay");
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

int revert(const Context& context) {
  Lock lock(context);
  const auto pending = read_pending();
  if (!pending) {
    throw Error(nothing_pending);
  }
  const auto problems = roll_back(context, std::move(lock), *pending);
  if (!problems.empty()) {
    return fail(*pending, problems);
  }
  stop_timer(*pending);
  ChangeResult done;
  done.is_done = true;
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
  const auto problems = roll_back(context, std::move(lock), *pending);
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
  return verb.revert ? revert(context) : keep(context);
}

}  // namespace

void add_confirm_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("confirm", "Keep what an apply with --confirm has set");
  auto verb = std::make_shared<Verb>();
  command->add_flag("--revert", verb->revert, "Restore the old settings at once instead");
  // How l3ctl starts itself; in no help, for they are of no use to anybody else.
  command->add_flag("--roll-back", verb->roll_back)->group("");
  command->add_flag("--wait", verb->wait)->group("");
  command->callback(
      [&context, verb] { context.action = [&context, verb] { return confirm(context, *verb); }; });
}

}  // namespace l3ctl
