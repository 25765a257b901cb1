/* What doctor looks at. Each look adds what it found; none changes anything. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace l3ctl {

struct Finding {
  enum class State : uint8_t { ok, warning, problem };
  State state;
  std::string about;
  std::string what;
  std::string advice; /* empty where nothing is to be done */
};
using Findings = std::vector<Finding>;

/* The packet filter's tools, and whether the kernel takes every kind of rule that filters make. */
void look_at_tools(Findings& findings);
void look_at_kernel(Findings& findings);

/* The folder of the settings and its files. */
void look_at_files(Findings& findings);

/* Whether the configuration file is torn or says what no settings can say. */
void look_at_configuration(Findings& findings);

/* What the stored settings meet on this machine: its clock, its Internet WAN, its rules. */
void look_at_settings(Findings& findings);

}  // namespace l3ctl
