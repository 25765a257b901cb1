/*
 * The daily time span of a URL or MAC entry, as the two texts of a rule.
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

/* A stop hour of 24 or more is the end of the day, 23:59. Everything else is printed as it is; the
 * packet filter refuses a time that does not exist. */
[[nodiscard]] DailySpan daily_span(DailyTime start, DailyTime stop);

}  // namespace l3
