/* Times in words; every text about a time of day comes from here. */
#pragma once

#include <cstdint>
#include <string>

#include "settings/model.hpp"

namespace l3ctl {

/* The clock by which times of day are told. */
struct Clock {
  std::string zone = "UTC";
  int offset_minutes = 0;
};

/* That of the spans in these settings. */
Clock clock_of(const settings::Settings& settings);

/* "06:00" for a second of the day on the same clock, or for the day's end. */
std::string day_time(uint32_t second);

/* "2026-11-22T06:00:00Z" for seconds since 1970, for programs. */
std::string timestamp(int64_t seconds);

/* "12 s ago", "3 h ago" */
std::string age_text(int64_t seconds);

}  // namespace l3ctl
