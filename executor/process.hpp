/* Other programs: one class starts them all, their input and output in memory. */
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace executor {

struct ProcessResult {
  int status = 0;         /* the wait status, as wait(2) describes it; 127 << 8 if not started */
  bool is_started = true; /* otherwise `errors` says why it was not */
  std::string output;
  std::string errors; /* what it wrote to standard error */

  /* As a shell has it: 128 and the signal's number where a signal ended the program. */
  [[nodiscard]] int exit_status() const;
};

/* For a library in a program that is not ours. From now on a child of this process starts each program, with a
 * PATH that has /usr/sbin and /sbin, and reports how it ended: so it does not matter whether this process
 * ignores SIGCHLD, or waits for children that it has not started. */
void start_through_child();

/* Forks a child that does work of ours. While it does, is_forking() is true in this thread and in the child's: a
 * handler of pthread_atfork() tells such a child from the program's own. */
[[nodiscard]] pid_t fork_child();
[[nodiscard]] bool is_forking();

/* PATH, extended by those of /usr/sbin and /sbin that it lacks. */
[[nodiscard]] std::string extended_path();

/* A running program. Its destructor waits for it. */
class Process {
 public:
  /* Starts the program that PATH leads to, without a shell. */
  explicit Process(const std::vector<std::string>& words, std::string_view input = {});
  /* Starts a shell with this line. It has this program's standard input and output. */
  explicit Process(const char* line);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  /* Waits until the program has ended; may be called once. In a process that was forked off since the
   * start it returns at once with the status 127: the program is a child of the other one. */
  [[nodiscard]] ProcessResult wait();

 private:
  void start(const std::vector<std::string>& words, int input, int output);
  void wait_for_report(ProcessResult& result);

  pid_t process_ = -1;
  int report_ = -1;    /* pipe from the child that starts the program, where there is one */
  pid_t starter_ = -1; /* the process that started it */
  int input_ = -1;
  int output_ = -1;
  int errors_;
  std::string name_;
  std::string problem_; /* why it was not started */
};

/* Runs a program to its end. */
[[nodiscard]] ProcessResult run(const std::vector<std::string>& words, std::string_view input = {});

/* Writes all of the text. Returns whether it could; if not, errno says why. */
[[nodiscard]] bool write_all(int file, std::string_view text);

/* Reads a file from its start. */
[[nodiscard]] std::string read_all(int file);

}  // namespace executor
