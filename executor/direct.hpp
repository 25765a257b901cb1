/* A command line run at once, by the C library's system(). */
#pragma once

namespace executor {

/* Runs the line; where it fails, keeps it with what it wrote to standard error. Returns its
 * wait status. */
int run_directly(const char* command);

}  // namespace executor
