/*
 * Confirmed commit, as in RFC 6241: before the first rule changes, the old settings are stored and a timer starts.
 * Unless the change is confirmed in time it is rolled back, whatever becomes of the process that made it and of its
 * terminal.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "management/change/change.hpp"
#include "management/change/pending_confirmation.hpp"
#include "management/options.hpp"

namespace management {

/* Notes the old settings and starts the timer, for a change that holds the lock and has changed nothing yet. */
void begin_confirmation(const Options& options, const Change& change,
                        const settings::Settings& requested, int seconds);

/* Starts the time anew, once the rules are made. Where that cannot be noted, the change is rolled back, and fails. */
void restart_confirmation(Change& change);

/* After a change that ended so: a rollback that left nothing to restore ends the confirmation; one that did not
 * succeed is left to the timer, at once. Returns whether a confirmation is pending. */
bool settle_confirmation(const ChangeResult& result);

/* Keeps the new settings: nothing is pending any more. */
void keep_new_settings(const Pending& pending);

/* What becomes of a pending confirmation. */
enum class ConfirmationState : uint8_t {
  waiting,    /* the timer runs */
  overdue,    /* the deadline has passed, and the rollback is at work */
  retrying,   /* a rollback has failed, and the timer tries again */
  timer_gone, /* the next change rolls back once the deadline has passed */
};

struct ConfirmationStatus {
  ConfirmationState state = ConfirmationState::waiting;
  int64_t seconds_left = 0;
  bool timer = false; /* whether the timer lives */
  std::string reason; /* why the last rollback failed; empty where none has */
};

/* Nothing where no confirmation is pending. */
std::optional<ConfirmationStatus> confirmation_status();

/* Start-up, before any rule is made: stores the old settings of a change that was not confirmed when the machine went
 * down. Notifies of what it did; nothing of it keeps a gateway from its start. Returns whether settings were set. */
bool restore_after_restart(Change& change);

}  // namespace management
