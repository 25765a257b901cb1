/*
 * An apply that takes itself back: before the first rule changes, the old settings are put aside and a
 * process of its own starts to wait. It brings them back unless somebody confirms in time, whatever
 * becomes of the l3ctl that started it and of its terminal.
 */
#pragma once

#include "management/change/change.hpp"
#include "management/change/pending_confirmation.hpp"
#include "management/options.hpp"

namespace management {

/* Starts the wait for an apply of these settings. `change` holds the lock and has changed nothing. */
void begin_confirmation(const Options& options, const Change& change,
                        const settings::Settings& wanted, int seconds);

/* Starts the time anew, once the rules of the apply are made. Where that cannot be noted, the apply is
 * taken back, and fails. */
void restart_confirmation(Change& change);

/* Whether an apply is waited for. One that changed nothing, or was put back, is not any more. */
bool confirmation_pending_or_cleanup();

/* Whether the process that waits is there. */
bool timer_lives();

/* Tells the process that waits that there is nothing left to wait for. */
void stop_timer(const Pending& pending);

/* Sets the old settings again and forgets the apply. Once that is done, no confirmation is pending. */
ChangeResult restore_old_settings(Change& change, const Pending& pending);

/* Start-up, before any rule is made: stores the old settings of an apply that nobody had confirmed when
 * the machine went down. Says what it did; nothing of it keeps a gateway from its start. */
void restore_after_restart(Change& change);

}  // namespace management
