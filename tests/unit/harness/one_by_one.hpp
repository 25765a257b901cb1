/*
 * All tests of a program, or a share of them, each in a process forked from this one and with empty folders
 * of its own. Under an emulator or with sanitizers a program takes much longer to start than a test to run.
 */
#pragma once

namespace harness {

/* Part `part` of `parts`, counted from 1. Prints what failed, and "N cases passed, N failed"; returns the
 * program's exit status. */
int run_one_by_one(int part, int parts);

}  // namespace harness
