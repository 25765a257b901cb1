/*
 * The state that a case finds, kept in a folder, so that every run of every competitor starts from
 * the same one: both families' filter tables, the files of the store, and the lines that the call
 * runs.
 */
#pragma once

#include <string>
#include <vector>

#include "cases.hpp"
#include "l3_advance/records.h"

namespace bench {

/* Brings the gateway there with real commands, keeps all of it in `folder`, and records the call's
 * lines without running them. */
void prepare(const Case& one, const std::string& folder);

class GatewayState {
 public:
  /* Reads what prepare(), or whoever else fills such a folder, left there. */
  explicit GatewayState(const std::string& folder);

  /* Puts everything back: kernel, files, records and the switch in memory. */
  void restore() const;

  [[nodiscard]] const std::vector<std::string>& lines() const { return lines_; }

 private:
  std::string folder_;
  std::vector<std::string> lines_;
  l3_fw_rules fw_{};
  l3_fw6_rules fw6_{};
};

/* While on, system() keeps its lines and runs none. */
void record_lines(bool on);

/* Runs a program by its name and waits; ends this one where it fails. */
void run(const std::vector<std::string>& arguments);

}  // namespace bench
