/* A command line run at once, by a shell. The C library's system() would hand it the signals that this
 * program puts off, and a tool that hangs could not be ended. */
#pragma once

namespace executor {

/* Runs the line; where it fails, keeps it with what it wrote to standard error. Returns what
 * ended_with() does. */
int run_directly(const char* command);

}  // namespace executor
