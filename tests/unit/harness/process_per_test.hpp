/*
 * Runs all tests of a program, or a part of them, each in a forked process with empty directories of its own.
 * Under an emulator or with sanitizers a program takes much longer to start than a test to run.
 */
#pragma once

namespace harness {

/* Part `part` of `parts`, counted from 1. Prints what failed, and "N cases passed, N failed"; returns the
 * program's exit status. */
int run_process_per_test(int part, int parts);

}  // namespace harness
