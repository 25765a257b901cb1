#include "management/change/confirmation.hpp"

#include <algorithm>
#include <utility>

#include "executor/snapshots.hpp"
#include "management/change/confirmation_timer.hpp"
#include "management/error.hpp"
#include "management/rules/own_jumps.hpp"
#include "management/store/paths.hpp"
#include "management/store/settings_record.hpp"
#include "management/system/journal.hpp"

namespace management {

namespace {

using settings::Settings;

ConfirmationState state_of(const Pending& pending, bool timer, bool has_failed) {
  if (!timer) {
    return ConfirmationState::timer_gone;
  }
  if (has_failed) {
    return ConfirmationState::retrying;
  }
  return is_overdue(pending) ? ConfirmationState::overdue : ConfirmationState::waiting;
}

std::string rules_of(const executor::Table& table) {
  std::string problem;
  auto rules = executor::Snapshots::read(table, problem);
  if (!rules) {
    throw Error("cannot read the rules: " + problem);
  }
  return std::move(*rules);
}

/* Notes what became of the kept tables; those without a difference are not kept any longer. */
void complete_tables(Pending& pending) {
  for (KeptTable& kept : pending.tables) {
    kept.after = rules_of(kept.table);
  }
  std::erase_if(pending.tables, [](const KeptTable& kept) {
    return !executor::Snapshots::is_difference(kept.table, kept.before, kept.after);
  });
}

}  // namespace

void begin_confirmation(const Options& options, const std::string& id, const Settings& stored) {
  try {
    Pending pending{id,
                    this_boot(),
                    0,
                    options.confirm_within,
                    running_time() + options.confirm_within * int64_t{1000},
                    stored,
                    read_own_jumps()};
    const StartedTimer timer(options);
    pending.timer = timer.process();
    write_pending(pending);
  } catch (const Error& error) {
    throw Error(std::string(error.what()) + "; nothing was changed");
  }
}

void keep_tables(const std::vector<executor::Table>& tables) {
  auto pending = read_pending();
  for (const executor::Table& table : tables) {
    pending->tables.push_back({table, rules_of(table), ""});
  }
  write_pending(*pending);
}

bool complete_confirmation(const Options& options, const Settings& before, const Settings& after) {
  Settings old_settings = differing_sections(before, after);
  auto pending = read_pending();
  if (pending) {
    complete_tables(*pending);
  }
  if (!pending || (!holds_any(old_settings) && pending->tables.empty())) {
    end_confirmation();
    return false;
  }
  if (old_settings.route_qos_enabled || old_settings.route_qos_rules) {
    // Setting one of the two values of route QoS can clear the other, so both are saved.
    old_settings.route_qos_enabled = before.route_qos_enabled;
    old_settings.route_qos_rules = before.route_qos_rules;
  }
  pending->old_settings = std::move(old_settings);
  pending->deadline = running_time() + options.confirm_within * int64_t{1000};
  write_pending(*pending);
  return true;
}

void extend_confirmation(Pending pending, int seconds) {
  pending.seconds = seconds;
  pending.deadline = running_time() + seconds * int64_t{1000};
  write_pending(pending);
  wake_timer(pending);
}

void end_confirmation() {
  if (const auto pending = read_pending()) {
    remove_pending();
    stop_timer(*pending);
  }
}

void leave_to_timer() {
  if (const auto pending = read_pending()) {
    hurry_timer(*pending);
    notify("the rollback is not complete; the timer tries again until it is", Severity::error);
  }
}

void keep_new_settings(const Pending& pending) {
  remove_pending();
  stop_timer(pending);
  tell_journal(Event::change_confirmed, "a change was confirmed and stays", {});
}

std::optional<ConfirmationStatus> confirmation_status() {
  const auto pending = read_pending();
  if (!pending) {
    return std::nullopt;
  }
  ConfirmationStatus status;
  status.id = pending->id;
  status.timer = timer_lives();
  status.reason = rollback_failure().value_or("");
  status.state = state_of(*pending, status.timer, !status.reason.empty());
  const int64_t left = std::max<int64_t>(0, pending->deadline - running_time());
  status.seconds_left = is_overdue(*pending) ? 0 : (left + 999) / 1000;
  return status;
}

}  // namespace management
