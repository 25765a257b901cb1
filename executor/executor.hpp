/*
 * What system() means in our own programs.
 *
 * The library hands every command line to system(), and the process that loads it decides what that
 * is. A program that links this object library brings its own, which works in one of several ways:
 *
 *   direct   the lines run as ever, and the failed ones are kept with what the tool said about
 *            them, since several library calls ignore a failed rule
 *   record   no line runs; every one is kept and succeeds, so that what is kept is what runs
 *            directly when every command succeeds
 *
 * It must be linked as objects, not as an archive: from an archive nothing would ask for system(),
 * and the C library's would run silently. in_place() proves at start that this one is used.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace executor {

enum class Way : std::uint8_t { direct, record };

/* How system() works from now on; directly at start. */
void work(Way way);

/* The lines that were recorded, in order. */
[[nodiscard]] const std::vector<std::string>& recorded_lines();

struct FailedLine {
  std::string line;
  int status;          /* the wait status, as wait(2) describes it */
  std::string message; /* what the command wrote to standard error */
};

/* The lines that failed since the start or the last forget_failed_lines(), in order. */
[[nodiscard]] const std::vector<FailedLine>& failed_lines();
void forget_failed_lines();

/* Number of lines run so far, failed ones included, recorded ones not. */
[[nodiscard]] std::uint64_t lines_run();

/* Whether `run` (the library's runner of command lines) ends in this program's system(). Hands it a
 * line that is only looked for; the shell would take it for a comment. */
[[nodiscard]] bool in_place(std::int32_t (*run)(const char* command));

}  // namespace executor
