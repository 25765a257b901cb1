/* The member "active" of entries that apply at certain hours. */
#pragma once

#include "settings/sections.hpp"

namespace settings {

/* Reads "active" into the entry's four time bytes; without it the entry applies all day. */
template <typename Entry>
void read_time_span(Object& object, Entry& entry) {
  TimeSpan span;
  object.text("active", parse_time_span, span);
  entry.start_hour = span.start_hour;
  entry.start_minute = span.start_minute;
  entry.stop_hour = span.stop_hour;
  entry.stop_minute = span.stop_minute;
}

template <typename Entry>
std::string written_time_span(const Entry& entry) {
  return time_span_text({entry.start_hour, entry.start_minute, entry.stop_hour, entry.stop_minute});
}

}  // namespace settings
