/* Runs single command lines in a shell, and keeps those that failed. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "executor/failed_line.hpp"

namespace executor {

class LineRunner {
 public:
  /* A line that begins so may exit with 1, such as a deletion of a rule that is often missing: the library
   * is then told that it succeeded, and it is not kept. Any other end, such as a killed tool, does not say
   * what the packet filter holds: it stays a failure. */
  void allow_failure(std::string_view beginning) { allowed_.emplace_back(beginning); }

  /* Runs the line. Returns its result for the library. The C library's system() would let the line
   * inherit this program's signal mask, and a tool that hangs could not be ended. */
  int run(const char* line);

  /* The result of a line for the library: its wait status, 0 where it was allowed to fail. Keeps the line
   * where it failed. */
  int result(const FailedLine& line);

  void add_failure(const FailedLine& line) { failed_.push_back(line); }

  /* In order, since the start or the last forget_failed_lines(). */
  [[nodiscard]] const std::vector<FailedLine>& failed_lines() const { return failed_; }
  void forget_failed_lines() { failed_.clear(); }

  /* How many lines run() was given, failed ones included. */
  [[nodiscard]] std::uint64_t lines_run() const { return lines_run_; }

 private:
  std::vector<std::string> allowed_;
  std::vector<FailedLine> failed_;
  std::uint64_t lines_run_ = 0;
};

}  // namespace executor
