/* What becomes of a packet through the day: daily spans begin and end. */
#pragma once

#include <cstdint>
#include <vector>

#include "settings/simulation/verdict.hpp"

namespace settings {

inline constexpr uint32_t seconds_of_day = 86400;

/* A part of the day, in UTC, through which the same setting brings about the same. */
struct Period {
  uint32_t from = 0; /* its first second */
  uint32_t to = 0;   /* the first one behind it */
  Verdict verdict;
};

/* The whole day, in order. The packet's own second does not count. */
std::vector<Period> day_of(Packet packet, const Settings& settings);

/* The same day, its seconds those of a clock so many minutes ahead of UTC. */
std::vector<Period> at_offset(const std::vector<Period>& day, int offset_minutes);

/* What holds at a second of the day, and until when. */
struct Moment {
  Verdict now;
  bool has_end = false; /* otherwise all day */
  uint32_t seconds_left = 0;
  Verdict next;
};

/* An end of a span at 24:00 leaves the day's last minute open: where the same goes on behind it, that minute
 * is no end. */
Moment moment_of(const std::vector<Period>& day, uint32_t second);

}  // namespace settings
