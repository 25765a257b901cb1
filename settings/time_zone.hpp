/*
 * Time zones as the C library knows them, by name or as a POSIX TZ string, whatever the zone of the process is. The zone
 * files of IANA names are checked here first, since the C library takes a missing or damaged one for UTC.
 */
#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "settings/values.hpp"

namespace settings {

/* A zone and the minutes that its clock is ahead of UTC; one offset holds for all stored spans. */
struct TimeZone {
  std::string name; /* "UTC", or empty, where spans are in UTC */
  int offset_minutes = 0;

  [[nodiscard]] bool is_utc() const { return name.empty() || name == "UTC"; }
};

/* Whether both say the same, whatever they call UTC. */
bool same_zone(const TimeZone& a, const TimeZone& b);

/* 2025-01-01. A clock that shows an earlier time was never set. */
inline constexpr std::time_t earliest_time = 1735689600;

/* The minutes that the zone's clock is ahead of UTC at a moment, or a text that says what a zone is. */
Parsed<int> offset_at(const std::string& zone, std::time_t moment);

/* The same for now, or for the earliest moment where the clock was never set. */
Parsed<int> offset_now(const std::string& zone);

struct OffsetChange {
  std::time_t at = 0; /* the first second of the new offset */
  int offset_minutes = 0;
};

/* The first change of the offset in the 400 days after a moment. The zone must be one. */
std::optional<OffsetChange> next_offset_change(const std::string& zone, std::time_t moment);

/* "+01:00" */
std::string offset_text(int offset_minutes);

}  // namespace settings
