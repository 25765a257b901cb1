/* A command line run at once, by a shell. The C library's system() would hand it the signals that this
 * program puts off, and a tool that hangs could not be ended. */
#pragma once

#include "executor/executor.hpp"

namespace executor {

/* As a wait status: how a tool ends that finds nothing to remove, or what it should make. */
inline constexpr int exit_1 = 1 << 8;

/* Runs the line; where it fails, keeps it with what it wrote to standard error. Returns what
 * ended_with() does. */
int run_directly(const char* command);

/* The wait status of a line for the library. One that failed is kept, but where it may and ended with
 * 1: then this is 0. */
int ended_with(const FailedLine& line);

/* Keeps a line that failed, whether it may or not. */
void keep_failed_line(const FailedLine& line);

}  // namespace executor
