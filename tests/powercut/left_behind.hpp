/* What a device makes of the files that a power cut left. */
#pragma once

#include <cstdint>
#include <string>

#include "scenarios.hpp"

/* Every get call returns 0 and what the file holds; zeros where it ends early. */
void expect_readable(const device::Files& left);

/* The files of a device that starts, runs the scenario, and is switched on. */
struct Works {
  int32_t result = 99;
  device::Files stored;
  std::string rules;
};

Works works(const scenarios::Scenario& scenario);
