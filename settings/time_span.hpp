/* The member "active" of entries that apply at certain hours. */
#pragma once

#include "settings/local_span.hpp"
#include "settings/sections.hpp"

namespace settings {

/* Reads "active" into the entry's four time bytes; without it the entry applies all day. */
template <typename Entry>
void read_time_span(Object& object, Entry& entry, std::optional<int> offset_minutes) {
  TimeSpan span;
  object.text("active", offset_minutes ? parse_local_span : parse_time_span, span);
  set_span(entry, offset_minutes ? to_utc(span, *offset_minutes) : span);
}

template <typename Entry>
std::string written_time_span(const Entry& entry, std::optional<int> offset_minutes) {
  const TimeSpan span = span_of(entry);
  return time_span_text(offset_minutes ? to_local(span, *offset_minutes) : span);
}

}  // namespace settings
