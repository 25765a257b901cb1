/*
 * One run of a scenario is three processes. The first does what the scenario says while an operation
 * goes wrong. The second is another process of the same device: it loads what is stored, does the
 * same again, and switches the firewall on. The third is the device's next start, with an empty
 * packet filter. What the second and the third leave has to be what a run without a fault leaves.
 */
#pragma once

#include "scenarios.hpp"

namespace scenarios {

/* What the first process tells; only its wait status when it did not come to an end. */
struct Account {
  int status = -1;
  int32_t result = 99;
  std::string transcript;
  std::vector<harness::Kind> operations;
  std::string met; /* the operation that went wrong */
  int left_open = 0;
  std::string kernel;
};

Account play(const Scenario& scenario, const Start& start, const harness::Mishap& mishap);

/* What the second and the third process find, given the files and the kernel that the first left. */
struct Aftermath {
  int32_t result = 99;      /* of doing it again */
  device::Files files;      /* after that */
  std::string switched_on;  /* what switching on does then, and the rules that stand after it */
  std::string started;      /* what the next start does, and the IPv4 rules */
  std::string rules6;       /* the IPv6 rules after it */
  std::string all_restored; /* every rule after the start and switching on */
};

/* A scenario that may not be done again is only followed by the start. */
Aftermath aftermath_of(const Scenario& scenario, const std::string& kernel_left);

/* Starts the device until both save files are there, as it does in its life. The migration's flag is
 * gone by then. */
void start_until_saved();
/* One start, in this process: what it does. */
std::string start();

/* What is stored, the two save files left out. */
device::Files settings_of(device::Files files);

}  // namespace scenarios
