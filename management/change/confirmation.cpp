#include "management/change/confirmation.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <optional>

#include "executor/executor.hpp"
#include "management/change/apply.hpp"
#include "management/error.hpp"
#include "management/store/stored_settings.hpp"

namespace management {

namespace {

using settings::Settings;

/* Locked by the process that waits, as long as it lives; holds what that had to say. */
constexpr char timer_path[] = "/run/l3ctl.timer";

/* End of the wait without a word, and at once. */
constexpr int stop_signal = SIGUSR1;
/* The machine is going down: unconfirmed settings must not be there when it comes up. */
constexpr int hurry_signal = SIGTERM;

/* Two steps may belong to one section: whether any of them would change what is stored. Of route QoS, to
 * set the one may lose what the other has stored. */
bool changes_section(const char* section, const Settings& wanted, const Settings& stored) {
  const auto steps = apply_steps();
  return std::any_of(steps.begin(), steps.end(), [&](const ApplyStep& step) {
    return std::strcmp(step.section, section) == 0 && step.is_wanted(wanted) &&
           step.differs(wanted, stored);
  });
}

/* The stored settings of every section that these would change. */
Settings put_aside(const Settings& stored, const Settings& wanted) {
  const Settings switches = level_as_switches(wanted);
  Settings old_settings = stored;
  for (const ApplyStep& step : apply_steps()) {
    if (!changes_section(step.section, switches, stored)) {
      step.leave_out(old_settings);
    }
  }
  return old_settings;
}

void set_in_order(Change& change, const Settings& settings) {
  apply_in_order(change, settings, [](const char*, size_t, size_t) {});
}

sigset_t waited_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, stop_signal);
  sigaddset(&signals, hurry_signal);
  return signals;
}

/* Waits until the time is over or a signal comes; returns that, or 0. */
int wait_until(int64_t deadline) {
  const sigset_t signals = waited_signals();
  while (true) {
    const int64_t left = std::max<int64_t>(0, deadline - running_time());
    const timespec time = {left / 1000, left % 1000 * 1000000};
    const int signal = sigtimedwait(&signals, nullptr, &time);
    if (signal > 0) {
      return signal;
    }
    if (errno != EINTR) {
      return 0;
    }
  }
}

/* When the apply of this process has to be taken back; nothing when it need not be any more. */
std::optional<int64_t> my_deadline() {
  const auto pending = read_pending();
  return pending && pending->timer == getpid() ? std::optional(pending->deadline) : std::nullopt;
}

void bring_back_unless_confirmed(const Options& options, int64_t deadline) {
  int signal = 0;
  while ((signal = wait_until(deadline)) != stop_signal) {
    // Under the lock: an apply that is still at work ends first, and then starts the time anew.
    Change change(options, any_state);
    const auto known = my_deadline();
    if (!known) {
      return;
    }
    deadline = *known;
    if (signal == hurry_signal || deadline <= running_time()) {
      const bool is_restored = restore_old_settings(change, *read_pending()).is_done;
      syslog(LOG_DAEMON | LOG_WARNING, "l3ctl: settings were not confirmed; %s",
             is_restored ? "the old ones are back" : "the old ones could not be set");
      return;
    }
  }
}

/* Nothing of the caller stays: its session, terminal, folder, lock, pipes, and the tools that it has at
 * work, whose files are closed here. */
void leave_the_caller(int timer_file) {
  executor::forget();
  setsid();
  std::signal(SIGHUP, SIG_IGN);
  const sigset_t signals = waited_signals();
  sigprocmask(SIG_SETMASK, &signals, nullptr);
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  dup2(null, STDIN_FILENO);
  dup2(null, STDOUT_FILENO);
  dup2(timer_file, STDERR_FILENO);
  close_range(STDERR_FILENO + 1, ~0U, 0);
  if (chdir("/") != 0) {
    notify("cannot leave the working folder");
  }
}

[[noreturn]] void live_as_timer(Options options, int timer_file, int64_t deadline) {
  leave_the_caller(timer_file);
  options.lock_timeout = 86400;
  try {
    bring_back_unless_confirmed(options, deadline);
  } catch (const std::exception& error) {
    notify(error.what());
    syslog(LOG_DAEMON | LOG_ERR, "l3ctl: the old settings could not be set: %s", error.what());
  }
  _exit(0);
}

/* A new file for every timer: an earlier one may still be on its way out. */
int make_timer_file() {
  unlink(timer_path);
  const int file = open(timer_path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_APPEND, 0600);
  if (file == -1 || flock(file, LOCK_EX | LOCK_NB) != 0) {
    throw Error(std::string("cannot make ") + timer_path + ": " + std::strerror(errno) +
                "; nothing was changed");
  }
  return file;
}

/* The timer as a process of its own; no signal reaches it before it is ready for them. */
pid_t start_timer(const Options& options, int64_t deadline) {
  const int timer_file = make_timer_file();
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, &before);
  const pid_t timer = fork();
  if (timer == 0) {
    live_as_timer(options, timer_file, deadline);
  }
  sigprocmask(SIG_SETMASK, &before, nullptr);
  close(timer_file);
  if (timer == -1) {
    throw Error(std::string("cannot start the timer: ") + std::strerror(errno) +
                "; nothing was changed");
  }
  return timer;
}

}  // namespace

void begin_confirmation(const Options& options, const Change& change, const Settings& wanted,
                        int seconds) {
  const int64_t deadline = running_time() + seconds * int64_t{1000};
  Pending pending{this_boot(), 0, seconds, deadline, put_aside(change.stored(), wanted)};
  pending.timer = start_timer(options, deadline);
  try {
    write_pending(pending);
  } catch (const Error& failure) {
    kill(pending.timer, stop_signal);
    throw Error(std::string(failure.what()) + "; nothing was changed");
  }
}

void restart_confirmation(Change& change) {
  try {
    if (auto pending = read_pending()) {
      pending->deadline = running_time() + pending->seconds * int64_t{1000};
      write_pending(*pending);
    }
  } catch (const Error& failure) {
    const bool is_back = change.rollback();
    confirmation_pending_or_cleanup();
    throw Error(std::string(failure.what()) +
                (is_back ? "; everything is as it was before" : "; the change failed"));
  }
}

bool confirmation_pending_or_cleanup() {
  const auto pending = read_pending();
  if (!pending || changes_something(pending->old_settings, load_stored())) {
    return pending.has_value();
  }
  remove_pending();
  stop_timer(*pending);
  return false;
}

bool timer_lives() {
  const int file = open(timer_path, O_RDONLY | O_CLOEXEC);
  if (file == -1) {
    return false;
  }
  const bool is_locked = flock(file, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  close(file);
  return is_locked;
}

void stop_timer(const Pending& pending) {
  if (timer_lives()) {
    kill(pending.timer, stop_signal);
  }
}

ChangeResult restore_old_settings(Change& change, const Pending& pending) {
  set_in_order(change, pending.old_settings);
  ChangeResult result = change.finish();
  if (result.is_done) {
    remove_pending();
  }
  return result;
}

void restore_after_restart(Change& change) {
  try {
    const auto pending = read_pending();
    if (!pending || pending->boot == this_boot()) {
      return;
    }
    change.without_rules([&] { set_in_order(change, pending->old_settings); });
    if (confirmation_pending_or_cleanup()) {
      throw Error("not all of them could be stored");
    }
    notify("the machine went down before an apply was confirmed: the old settings are back");
  } catch (const Error& failure) {
    notify(std::string("an apply was not confirmed, and the old settings are not back: ") +
           failure.what());
  }
}

}  // namespace management
