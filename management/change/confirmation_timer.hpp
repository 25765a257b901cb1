/*
 * The timer of a confirmed commit: a process of its own, "l3ctl confirm --wait", that has nothing of the l3ctl that
 * started it. At the deadline it starts "l3ctl confirm --roll-back", and does so until that succeeds. A failed or
 * killed attempt never ends the timer.
 */
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "management/change/pending_confirmation.hpp"
#include "management/options.hpp"

namespace management {

/* A timer that was started and waits until this object is destroyed: then it reads which confirmation is pending. */
class StartedTimer {
 public:
  explicit StartedTimer(const Options& options);
  StartedTimer(const StartedTimer&) = delete;
  StartedTimer& operator=(const StartedTimer&) = delete;
  ~StartedTimer();

  [[nodiscard]] pid_t process() const { return process_; }

 private:
  pid_t process_ = -1;
  int held_ = -1; /* the timer reads the other end until this one is closed */
};

/* The process that StartedTimer starts: waits, and rolls back. Returns when nothing is pending any more. */
void run_timer(const Options& options);

/* Whether a timer holds its file. */
bool timer_lives();

/* Tells the timer that nothing is pending any more. A process is only signalled once it is proved to be the timer. */
void stop_timer(const Pending& pending);

/* Makes it look at the deadline again, which may be earlier now. */
void wake_timer(const Pending& pending);

/* Tells the timer to roll back now, whatever its deadline is. */
void hurry_timer(const Pending& pending);

/* Rolls an overdue change back, in a process of its own, and notifies of it. An error where that fails. Returns whether
 * anything was overdue. */
bool roll_back_if_overdue(const Options& options);

/* Why the last attempt to roll back failed; nothing where none has failed. */
std::optional<std::string> rollback_failure();

/* Notes that for others, or clears it where nothing has failed. */
void note_rollback_failure(const std::string& reason);
void clear_rollback_failure();

}  // namespace management
