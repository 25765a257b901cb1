/* The command lines that ran, and those of them that failed. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace executor {

struct FailedLine {
  std::string line;
  int status;          /* the wait status, as wait(2) describes it */
  std::string message; /* what the command wrote to standard error */
};

/* What a transaction does when the packet filter refuses an edit: no line after it is run, or the
 * edits that are held are run one by one, so that all others are made. */
enum class OnRefusal : std::uint8_t { stop, go_on };

/* Wait status of exit code 1: the rule to delete does not exist, or the chain to create already does. */
inline constexpr int exit_1 = 1 << 8;

/* A line that begins so may end with 1 harmlessly, such as one that removes what is often not there: to
 * the library it then succeeds, and it is not kept. Any other end, a tool's death among them, tells
 * nothing about what is there: it is a failure. */
void may_fail(std::string_view beginning);

/* The wait status of a line for the library. One that failed is kept, but where it may and ended with
 * 1: then this is 0. */
int ended_with(const FailedLine& line);

/* Keeps a line that failed, whether it may or not. */
void keep_failed_line(const FailedLine& line);

/* The lines that failed since the start or the last forget_failed_lines(), in order. */
[[nodiscard]] const std::vector<FailedLine>& failed_lines();
void forget_failed_lines();

/* Number of lines run so far, failed ones included; not those recorded, or held by a transaction. */
[[nodiscard]] std::uint64_t lines_run();
void count_line();

}  // namespace executor
