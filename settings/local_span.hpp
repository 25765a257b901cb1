/* Daily spans of a local clock, and the same spans in UTC as the records keep them. */
#pragma once

#include "settings/values.hpp"

namespace settings {

/* Both never shift "all day", nor a time that does not exist, which a record may hold. Midnight as the end of a local
 * span is 0:00 of the next day, so that its last minute counts; a stored end of 24:00 is what its rule makes of it,
 * 23:59. */
TimeSpan to_utc(TimeSpan local, int offset_minutes);
TimeSpan to_local(TimeSpan utc, int offset_minutes);

/* A span in UTC as the local clock shows it at the old offset, in UTC at the new one. */
inline TimeSpan with_offset(TimeSpan utc, int old_offset, int new_offset) {
  return to_utc(to_local(utc, old_offset), new_offset);
}

/* The second of the day that a clock shows so many minutes ahead of UTC. */
inline uint32_t local_second(uint32_t utc_second, int offset_minutes) {
  constexpr int64_t day = 86400;
  return static_cast<uint32_t>(((utc_second + int64_t{60} * offset_minutes) % day + day) % day);
}

/* parse_time_span() for words that are in local time. */
Parsed<TimeSpan> parse_local_span(std::string_view text);

/* The four bytes of an entry that applies at certain hours. */
template <typename Entry>
TimeSpan span_of(const Entry& entry) {
  return {entry.start_hour, entry.start_minute, entry.stop_hour, entry.stop_minute};
}

template <typename Entry>
void set_span(Entry& entry, TimeSpan span) {
  entry.start_hour = span.start_hour;
  entry.start_minute = span.start_minute;
  entry.stop_hour = span.stop_hour;
  entry.stop_minute = span.stop_minute;
}

/* Gives the entries' spans the one form that to_utc() gives them. */
template <typename Entries>
void unify_spans(Entries&& entries) {
  for (auto& entry : entries) {
    set_span(entry, with_offset(span_of(entry), 0, 0));
  }
}

}  // namespace settings
