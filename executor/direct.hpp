/* A command line run at once, by the C library's system(). */
#pragma once

#include "executor/executor.hpp"

namespace executor {

/* Runs the line; where it fails, keeps it with what it wrote to standard error. Returns its
 * wait status. */
int run_directly(const char* command);

/* Keeps a line that failed in another way. */
void note_failed_line(const FailedLine& line);

}  // namespace executor
