#include "management/change/confirmation.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "management/change/apply.hpp"
#include "management/change/confirmation_timer.hpp"
#include "management/error.hpp"
#include "management/rules/own_jumps.hpp"
#include "management/store/paths.hpp"
#include "management/system/journal.hpp"

namespace management {

namespace {

using settings::Settings;

/* Two steps may belong to one section: whether any of them would change what is stored. Setting one of the two values
 * of route QoS can clear the other, so both are saved. */
bool changes_section(const char* name, const Settings& requested, const Settings& stored) {
  const auto all = sections();
  return std::any_of(all.begin(), all.end(), [&](const Section& section) {
    return std::strcmp(section.name, name) == 0 && section.is_wanted(requested) &&
           section.differs(requested, stored);
  });
}

/* The stored settings of every section that these would change. */
Settings old_settings_of(const Settings& stored, const Settings& requested) {
  const Settings switches = level_as_switches(requested);
  Settings old_settings = stored;
  for (const Section& section : sections()) {
    if (!changes_section(section.name, switches, stored)) {
      section.leave_out(old_settings);
    }
  }
  return old_settings;
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

ConfirmationState state_of(const Pending& pending, bool timer, bool has_failed) {
  if (!timer) {
    return ConfirmationState::timer_gone;
  }
  if (has_failed) {
    return ConfirmationState::retrying;
  }
  return is_overdue(pending) ? ConfirmationState::overdue : ConfirmationState::waiting;
}

}  // namespace

void begin_confirmation(const Options& options, const Change& change, const Settings& requested,
                        int seconds) {
  try {
    Pending pending{this_boot(),
                    0,
                    seconds,
                    running_time() + seconds * int64_t{1000},
                    old_settings_of(change.stored(), requested),
                    read_own_jumps()};
    const StartedTimer timer(options);
    pending.timer = timer.process();
    write_pending(pending);
  } catch (const Error& error) {
    throw Error(std::string(error.what()) + "; nothing was changed");
  }
}

void restart_confirmation(Change& change) {
  try {
    if (auto pending = read_pending()) {
      pending->deadline = running_time() + pending->seconds * int64_t{1000};
      write_pending(*pending);
    }
  } catch (const Error& error) {
    const bool is_restored = change.rollback();
    if (is_restored) {
      end_confirmation();
    } else {
      leave_to_timer();
    }
    throw Error(std::string(error.what()) +
                (is_restored ? "; everything is as it was before" : "; the change failed"));
  }
}

bool settle_confirmation(const ChangeResult& result) {
  if (result.is_done) {
    return read_pending().has_value();
  }
  if (result.not_restored.empty()) {
    end_confirmation();
  } else {
    leave_to_timer();
  }
  return false;
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
  status.timer = timer_lives();
  status.reason = rollback_failure().value_or("");
  status.state = state_of(*pending, status.timer, !status.reason.empty());
  const int64_t left = std::max<int64_t>(0, pending->deadline - running_time());
  status.seconds_left = is_overdue(*pending) ? 0 : (left + 999) / 1000;
  return status;
}

bool restore_after_restart(Change& change) {
  try {
    const auto pending = read_pending();
    if (!pending || pending->boot == this_boot()) {
      return false;
    }
    change.without_rules(
        [&] { apply_in_order(change, pending->old_settings, [](const char*, size_t, size_t) {}); });
    if (changes_something(pending->old_settings, load_stored())) {
      throw Error("not all of them could be stored");
    }
    remove_pending();
    notify("the machine went down before an apply was confirmed: the old settings are back");
  } catch (const Error& error) {
    notify(std::string("an apply was not confirmed, and the old settings are not back: ") +
               error.what(),
           Severity::error);
  }
  return true;
}

}  // namespace management
