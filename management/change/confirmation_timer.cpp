#include "management/change/confirmation_timer.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <vector>

#include "executor/process.hpp"
#include "management/error.hpp"
#include "management/system/atomic_file.hpp"

namespace management {

namespace {

/* Locked by the timer as long as it lives, and its standard error. */
constexpr char timer_path[] = "/run/l3ctl.timer";
/* Why the last rollback failed. Lies where a full or read-only store does not matter. */
constexpr char failure_path[] = "/run/l3ctl.rollback";
constexpr size_t longest_failure = 4096;

/* This program, also after its file was replaced. */
constexpr char own_program[] = "/proc/self/exe";

/* SIGUSR1: nothing is pending any more. SIGTERM: roll back now. An init system sends that when the machine goes
 * down, and unconfirmed settings must not be there when it comes up. */
constexpr int stop_signal = SIGUSR1;
constexpr int hurry_signal = SIGTERM;
/* The deadline has moved. */
constexpr int wake_signal = SIGUSR2;

/* Seconds between attempts: doubled after each, up to the largest. */
constexpr int first_delay = 1;
constexpr int largest_delay = 30;

sigset_t timer_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, stop_signal);
  sigaddset(&signals, hurry_signal);
  sigaddset(&signals, wake_signal);
  return signals;
}

/* Waits until the time on the clock of running_time(), or for a signal; returns that, or 0. */
int wait_until(int64_t deadline) {
  const sigset_t signals = timer_signals();
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

/* A new file for every timer: an earlier one may still be on its way out. */
int make_timer_file() {
  unlink(timer_path);
  const int file = open(timer_path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_APPEND, 0600);
  if (file == -1 || flock(file, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    if (file != -1) {
      close(file);
    }
    throw Error(std::string("cannot make ") + timer_path + ": " + std::strerror(error));
  }
  return file;
}

std::vector<std::string> own_command(const Options& options, const std::vector<std::string>& what) {
  std::vector<std::string> words = {own_program, "--lock-timeout",
                                    std::to_string(options.lock_timeout)};
  if (options.one_by_one) {
    words.emplace_back("--one-by-one");
  }
  words.emplace_back("confirm");
  words.insert(words.end(), what.begin(), what.end());
  return words;
}

/* In a session of its own, with three descriptors and no signal handling of the caller. No signal reaches it before it
 * is ready. Returns an error number. */
int spawn_timer(pid_t& process, const Options& options, int input, int timer_file) {
  const std::vector<std::string> words = own_command(options, {"--wait"});
  std::vector<char*> arguments;
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t descriptors;
  posix_spawn_file_actions_init(&descriptors);
  posix_spawn_file_actions_adddup2(&descriptors, input, STDIN_FILENO);
  posix_spawn_file_actions_addopen(&descriptors, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&descriptors, timer_file, STDERR_FILENO);
  sigset_t all;
  sigfillset(&all);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigmask(&attributes, &all);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
  const int error =
      posix_spawn(&process, own_program, &descriptors, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&descriptors);
  return error;
}

/* The process that started this one has noted what is pending once its end is closed, or has died. */
void wait_for_starter() {
  char byte = 0;
  while (read(STDIN_FILENO, &byte, 1) > 0 || errno == EINTR) {
    errno = 0;
  }
  const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (null != -1) {
    dup2(null, STDIN_FILENO);
    close(null);
  }
}

/* What an inherited descriptor leads to stays in use as long as the timer lives. */
void leave_caller() {
  // Older C libraries, among them musl 1.2.3, have no function for it.
  syscall(SYS_close_range, STDERR_FILENO + 1, ~0U, 0);
  if (chdir("/") != 0) {
    notify("the timer cannot leave its working folder", Severity::error);
  }
  std::signal(SIGHUP, SIG_IGN);
  const sigset_t signals = timer_signals();
  sigprocmask(SIG_SETMASK, &signals, nullptr);
}

/* What is pending and waited for by this process. */
std::optional<Pending> my_pending() {
  auto pending = read_pending();
  if (pending && (pending->timer != getpid() || pending->boot != this_boot())) {
    pending.reset();
  }
  return pending;
}

/* The last line of what a process said, for one that noted nothing itself. */
std::string last_message(const executor::ProcessResult& run) {
  std::string text = run.errors.substr(0, run.errors.find_last_not_of('\n') + 1);
  text.erase(0, text.rfind('\n') + 1);
  return run.exit_status() > 128 || text.empty()
             ? "the rollback ended with status " + std::to_string(run.exit_status())
             : text.substr(text.starts_with("l3ctl: ") ? std::strlen("l3ctl: ") : 0);
}

/* One attempt, in a process of its own. Returns why it failed, empty where it did not. */
std::string attempt(const Options& options, bool is_hurried) {
  const executor::ProcessResult run = executor::run(own_command(
      options, is_hurried ? std::vector<std::string>{"--revert", "--why", "the machine went down"}
                          : std::vector<std::string>{"--roll-back"}));
  if (run.status == 0) {
    return "";
  }
  if (!rollback_failure()) {
    note_rollback_failure(last_message(run));
  }
  return rollback_failure().value_or(last_message(run));
}

/* Waits for the deadline, which a change at work moves. Returns whether to roll back. */
bool wait_for_deadline(bool& is_hurried) {
  while (const auto pending = my_pending()) {
    const int signal = wait_until(pending->deadline);
    if (signal == stop_signal) {
      return false;
    }
    is_hurried = signal == hurry_signal;
    const auto now = my_pending();
    if (now && (is_hurried || is_overdue(*now))) {
      return true;
    }
  }
  return false;
}

/* The system log gets each reason once, and not with every attempt. */
class FailureLog {
 public:
  void note(const std::string& reason) {
    if (reason != last_) {
      syslog(LOG_DAEMON | LOG_ERR, "l3ctl: settings were not confirmed; retrying to roll back: %s",
             reason.c_str());
      last_ = reason;
    }
  }

 private:
  std::string last_;
};

/* Attempts until one succeeds. Returns whether the timer was not told to stop meanwhile. */
bool roll_back_until_done(const Options& options, bool is_hurried, FailureLog& log) {
  for (int delay = first_delay;; delay = std::min(2 * delay, largest_delay)) {
    const std::string reason = attempt(options, is_hurried);
    if (reason.empty()) {
      return true;
    }
    log.note(reason);
    const int64_t next = running_time() + delay * int64_t{1000};
    int signal = wait_until(next);
    // A failed attempt to roll back at once asks for the next one; that one has its time, too.
    while (signal == hurry_signal && is_hurried) {
      signal = wait_until(next);
    }
    if (signal == stop_signal) {
      return false;
    }
    is_hurried = is_hurried || signal == hurry_signal;
  }
}

/* Returns whether the confirmation is pending still: a change at work has moved the deadline. */
bool wait_and_roll_back(const Options& options, FailureLog& log) {
  bool is_hurried = false;
  if (!wait_for_deadline(is_hurried) || !roll_back_until_done(options, is_hurried, log)) {
    return false;
  }
  if (my_pending()) {
    return true;
  }
  syslog(LOG_DAEMON | LOG_WARNING, "l3ctl: settings were not confirmed; the old ones are restored");
  return false;
}

/* Whether the process has the locked timer file open as its standard error, which no other process has. */
bool is_timer(pid_t process) {
  struct stat file = {};
  struct stat errors = {};
  const std::string path =
      "/proc/" + std::to_string(process) + "/fd/" + std::to_string(STDERR_FILENO);
  return stat(timer_path, &file) == 0 && stat(path.c_str(), &errors) == 0 &&
         file.st_dev == errors.st_dev && file.st_ino == errors.st_ino && timer_lives();
}

/* The descriptor stands for one process, whatever becomes of its number; so the process that was verified is the one
 * that is signalled. Before Linux 5.3 there is none, and the number has to do. */
void signal_timer(pid_t process, int signal) {
  if (process <= 1 || process == getpid()) {
    return;
  }
  const int descriptor = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
  if (descriptor == -1 && errno != ENOSYS) {
    return;
  }
  if (is_timer(process)) {
    if (descriptor == -1) {
      kill(process, signal);
    } else {
      syscall(SYS_pidfd_send_signal, descriptor, signal, nullptr, 0);
    }
  }
  if (descriptor != -1) {
    close(descriptor);
  }
}

}  // namespace

StartedTimer::StartedTimer(const Options& options) {
  clear_rollback_failure();
  const int timer_file = make_timer_file();
  int ends[2] = {-1, -1};
  const int error =
      pipe2(ends, O_CLOEXEC) != 0 ? errno : spawn_timer(process_, options, ends[0], timer_file);
  close(timer_file);
  if (ends[0] != -1) {
    close(ends[0]);
  }
  held_ = ends[1];
  if (error != 0) {
    if (held_ != -1) {
      close(held_);
    }
    throw Error(std::string("cannot start the timer: ") + std::strerror(error));
  }
}

StartedTimer::~StartedTimer() {
  close(held_);
}

void run_timer(const Options& options) {
  leave_caller();
  wait_for_starter();
  FailureLog log;
  while (true) {
    try {
      if (!wait_and_roll_back(options, log)) {
        return;
      }
    } catch (const std::exception& error) {
      // What is pending cannot be read now.
      log.note(error.what());
      note_rollback_failure(error.what());
      if (wait_until(running_time() + largest_delay * int64_t{1000}) == stop_signal) {
        return;
      }
    }
  }
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
  signal_timer(pending.timer, stop_signal);
}

void wake_timer(const Pending& pending) {
  signal_timer(pending.timer, wake_signal);
}

void hurry_timer(const Pending& pending) {
  signal_timer(pending.timer, hurry_signal);
}

bool roll_back_if_overdue(const Options& options) {
  const auto pending = read_pending();
  if (!pending || !is_overdue(*pending)) {
    return false;
  }
  const executor::ProcessResult run = executor::run(own_command(options, {"--roll-back"}));
  if (run.status != 0) {
    throw Error("a change was not confirmed in time, and rolling it back failed: " +
                rollback_failure().value_or("the rollback ended with status " +
                                            std::to_string(run.exit_status())) +
                "; nothing else was changed");
  }
  notify("a change was not confirmed in time: the old settings are restored");
  stop_timer(*pending);
  return true;
}

std::optional<std::string> rollback_failure() {
  try {
    return read_if_exists(failure_path);
  } catch (const Error&) {
    return std::nullopt;
  }
}

void note_rollback_failure(const std::string& reason) {
  try {
    write_atomically(failure_path, reason.substr(0, longest_failure));
  } catch (const Error& error) {
    notify(error.what(), Severity::error);
  }
}

void clear_rollback_failure() {
  unlink(failure_path);
}

}  // namespace management
