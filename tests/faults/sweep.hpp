/* Letting each operation of a scenario go wrong, one a run, and looking at what is left. */
#pragma once

#include "scenarios.hpp"

namespace scenarios {

/* Whether every way of every operation is tried. In the short form each operation goes wrong once, in
 * a way that changes from one to the next. */
bool in_full();

/* The step of the sampling: each operation is tried, or every L3_TEST_SAMPLE-th. Sanitizers and emulators
 * are some twenty times slower. */
int sample();

/* What went on in a sweep. */
struct Tally {
  int scenarios = 0;
  int faults = 0;
  int refused = 0;  /* the call returned -1 */
  int repaired = 0; /* the file needed its scenario's repair */
  int lost = 0;     /* settings that a failed reload turned into zeros */
  int stale6 = 0;   /* IPv6 rules that a start does not bring back, but switching on does */
};

Tally sweep(const List& list);

}  // namespace scenarios
