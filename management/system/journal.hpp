/*
 * What becomes of the gateway, told to the system's log: with fields where journald listens, in its native protocol,
 * else as a line of syslog. Where nothing listens, nothing is told; no failure here fails anything.
 */
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace management {

/* Each has a message id of its own, which fleet/monitoring/l3ctl.catalog explains. */
enum class Event : uint8_t {
  change_confirmed,
  change_rolled_back,
  drift_found,
};

/* Names such as "L3_REASON", of capital letters, digits and underscores. A field without a value is left out. */
using JournalFields = std::vector<std::pair<const char*, std::string>>;

/* Message and values are escaped, and cut at 1024 bytes. */
void tell_journal(Event event, const std::string& message, const JournalFields& fields);

}  // namespace management
