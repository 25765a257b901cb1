/* A command line that failed. */
#pragma once

#include <cstdint>
#include <string>

namespace executor {

struct FailedLine {
  std::string line;
  int status;          /* the wait status, as wait(2) describes it */
  std::string message; /* what the command wrote to standard error */
};

/* What a transaction does when the packet filter refuses an edit: stop, so that no line after it runs, or
 * run the edits of that table one by one, so that all others are made. */
enum class OnRefusal : std::uint8_t { stop, continue_ };

/* Wait status of exit code 1: the rule to delete does not exist, or the chain to create already does. */
inline constexpr int exit_1 = 1 << 8;

}  // namespace executor
