/*
 * One run of a scenario takes three processes. In the first the scenario's call runs and one operation
 * fails. The second is another process of the same device: it loads the stored settings, repeats the
 * call, and switches the firewall on. The third is the device's next start, with an empty packet
 * filter. Both must leave what a run without a fault leaves.
 */
#pragma once

#include "scenarios.hpp"

namespace scenarios {

/* The report of the first process; only its wait status when it was killed. */
struct Outcome {
  int status = -1;
  int32_t result = 99;
  std::string transcript;
  std::vector<harness::Kind> operations;
  std::string met; /* the operation that went wrong */
  int left_open = 0;
  std::string kernel;
};

Outcome play(const Scenario& scenario, const Start& start, const harness::Fault& fault);

/* The results of the second and the third process, with the files and the rules that the first left. */
struct AfterRestart {
  int32_t result = 99;      /* of the repeated call */
  device::Files files;      /* after that */
  std::string switched_on;  /* the commands of switching on, and the rules after it */
  std::string started;      /* the commands of the next start, and the IPv4 rules */
  std::string rules6;       /* the IPv6 rules after it */
  std::string all_restored; /* every rule after the start and switching on */
};

/* A scenario that is not repeatable is only followed by the start. */
AfterRestart restart_after(const Scenario& scenario, const std::string& kernel_left);

/* Starts the device until both save files exist. Removes the flag of the migration first. */
void start_until_saved();
/* One start, in this process; returns its transcript. */
std::string start();

/* The files without the two save files. */
device::Files settings_of(device::Files files);

}  // namespace scenarios
