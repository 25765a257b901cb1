/*
 * Numbers about the gateway for a monitor, taken from what rules, status, check and doctor work with.
 * The lists' capacities bound how many there are, and an entry is named by what it is about, never by
 * its place.
 */
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "management/options.hpp"

namespace management {

using Labels = std::vector<std::pair<const char*, std::string>>;

struct Metric {
  enum class Kind : uint8_t { counter, gauge, info };
  Kind kind;
  std::string name; /* without the ending of its kind, "_total" or "_info" */
  std::string help;
  std::map<Labels, uint64_t> samples;
};

/* Reads what is stored and what is live, between changes of others. Fails where the packet filter
 * cannot be read: half of the numbers would look like all of them. `version` is the program's. */
std::vector<Metric> read_metrics(const Options& options, const std::string& version);

}  // namespace management
