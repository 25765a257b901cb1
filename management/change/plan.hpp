/*
 * What a change would do. The library does it for real, on a copy of what is stored that nobody else sees; its command
 * lines are recorded instead of run, and so are the calls that it makes to the platform.
 */
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "management/change/settings_diff.hpp"
#include "management/rules/rule_changes.hpp"
#include "settings/settings.hpp"

namespace management {

/* Bytes of the configuration file that lie side by side and change. */
struct ByteChange {
  size_t offset;
  std::string old_bytes; /* none where there was no file yet */
  std::string new_bytes;
};

struct Plan {
  std::vector<FieldChange> fields;
  nlohmann::ordered_json steps =
      nlohmann::ordered_json::array(); /* {"line": …} or {"call": …}, in order */
  std::vector<RuleChange> rules;
  std::vector<ByteChange> bytes;
};

class PlanRecorder {
 public:
  /* Enters the copy, for as long as the process lives. */
  PlanRecorder();

  /* Records from here on. */
  void start();

  /* What was recorded, for a change that began with these settings. */
  Plan finish(const settings::Settings& before);

 private:
  std::string bytes_;
  size_t first_line_ = 0;
};

}  // namespace management
