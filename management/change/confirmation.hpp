/*
 * Confirmed commit, as in RFC 6241: before the first rule changes, the old settings are stored and a timer starts.
 * Unless the change is confirmed in time it is rolled back, whatever becomes of the process that made it and of its
 * terminal.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "management/change/pending_confirmation.hpp"
#include "management/options.hpp"

namespace management {

/* Notes the old settings and starts the timer, for a change that holds the lock and has changed nothing yet. */
void begin_confirmation(const Options& options, const std::string& id,
                        const settings::Settings& stored);

/* For a change that makes rules and stores nothing: keeps these tables, before the first rule is made. */
void keep_tables(const std::vector<executor::Table>& tables);

/* Once the rules are made: starts the time anew, with the old settings of the sections that changed. Returns whether a
 * confirmation is pending: without any such section, or a kept table that changed, it is over. */
bool complete_confirmation(const Options& options, const settings::Settings& before,
                           const settings::Settings& after);

/* Gives so many seconds from now on. */
void extend_confirmation(Pending pending, int seconds);

/* After a change that failed: a rollback that left nothing to restore ends the confirmation; one that did not succeed
 * is left to the timer, at once. */
void end_confirmation();
void leave_to_timer();

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
  std::string id; /* of the change */
  ConfirmationState state = ConfirmationState::waiting;
  int64_t seconds_left = 0;
  bool timer = false; /* whether the timer lives */
  std::string reason; /* why the last rollback failed; empty where none has */
};

/* Nothing where no confirmation is pending. */
std::optional<ConfirmationStatus> confirmation_status();

}  // namespace management
