#include "firewall/base/daily_span.hpp"

#include <cstddef>
#include <cstdio>

namespace l3 {
namespace {

constexpr DailyTime end_of_day = {23, 59};

template <size_t size>
void print(char (&text)[size], DailyTime time) {
  static_assert(size >= sizeof("255:255"));
  snprintf(text, size, "%d:%d", time.hour, time.minute);
}

}  // namespace

DailySpan daily_span(DailyTime start, DailyTime stop) {
  DailySpan span = {};
  // Kept: only the stop is bounded; a start of 24:0 makes the rule fail, and with it the chain.
  print(span.start, start);
  print(span.stop, stop.hour >= 24 ? end_of_day : stop);
  return span;
}

}  // namespace l3
