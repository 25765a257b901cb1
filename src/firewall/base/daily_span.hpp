/*
 * The daily time span of a URL or MAC entry, as the two texts that a rule carries.
 */
#pragma once

#include <cstdint>

namespace l3 {

struct DailyTime {
  uint8_t hour;
  uint8_t minute;
};

/* Hour, ":" and minute without leading zeros, as in "8:5". */
struct DailySpan {
  char start[8];
  char stop[8];
};

/* A stop hour of 24 or more is the end of the day, 23:59. Everything else is printed as it is, and
 * a time that does not exist is left for the packet filter to refuse. */
[[nodiscard]] DailySpan daily_span(DailyTime start, DailyTime stop);

}  // namespace l3
