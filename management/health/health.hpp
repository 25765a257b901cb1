/* What doctor looks at. Each look adds what it found; none changes anything. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "management/options.hpp"
#include "management/remedy.hpp"
#include "settings/stored_file/finding.hpp"

namespace management {

struct Finding {
  enum class State : uint8_t { ok, warning, problem };
  State state;
  std::string about;
  std::string what;
  std::string advice; /* empty where nothing is to be done, or where there is a remedy */
  std::vector<Remedy> remedies = {};
  std::optional<settings::StoredFinding> stored = {}; /* a finding in the configuration file */
};
using Findings = std::vector<Finding>;

/* What is said of a file, where the file stands in front anyway. */
std::string without_path(const std::string& what, const std::string& path);

/* The packet filter's tools, and whether the kernel takes every kind of rule that filters make. */
void check_tools(Findings& findings);
void check_kernel(Findings& findings);

/* The folder of the settings and its files: whether they can be used, and by root alone. */
void check_files(Findings& findings);

/* Whether the configuration file is torn or says what no settings can say. */
void check_configuration(Findings& findings);

/* A change that waits for its confirmation. */
void check_confirmation(Findings& findings);

/* What the stored settings meet on this machine: its clock, its Internet WAN, its rules. */
void check_settings(const Options& options, Findings& findings);

/* All of these, in this order. */
Findings examine(const Options& options);

}  // namespace management
