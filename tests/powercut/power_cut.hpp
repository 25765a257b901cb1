/* Every power cut of one scenario, and what is found after each. */
#pragma once

#include <set>
#include <string>

#include "left_behind.hpp"

/* A scenario without a power cut, with which the cuts are compared. */
struct Whole {
  const scenarios::Scenario& scenario;
  scenarios::Start start;
  int operations = 0;
  bool writes = false;
  std::string before = {}; /* the file that it is about */
  std::string after = {};
  Works works = {}; /* of one that writes */
};

Whole played_through(const scenarios::Scenario& scenario);

/* The files that were left, by what they look like. */
struct Found {
  int cuts = 0;
  std::set<std::string> short_files;  /* shorter than before and after */
  std::set<std::string> cut_sections; /* a section neither old nor new */
  std::set<std::string> some_new;     /* whole sections, some old, some new */
};

/* `l3ctl inspect` reports of these files what docs/reliability.md says; not checked in builds without it. */
void check_inspection(const Whole& whole, const Found& found);

/* Cuts the power at every operation: before it, half-way through it, and in the middle of the bytes that it
 * changes in each section. */
Found cut_everywhere(const Whole& whole);
