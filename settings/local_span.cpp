#include "settings/local_span.hpp"

namespace settings {

namespace {

constexpr int minutes_of_day = 1440;

bool exists(int hour, int minute) {
  return hour < 24 && minute < 60;
}

bool stays(TimeSpan span) {
  const bool is_to_the_end = span.stop_hour >= 24;
  const bool is_all_day = is_to_the_end && span.start_hour == 0 && span.start_minute == 0;
  return is_all_day || !exists(span.start_hour, span.start_minute) ||
         (!is_to_the_end && !exists(span.stop_hour, span.stop_minute));
}

/* A minute of a day, brought into the day. */
int of_day(int minute) {
  return (minute % minutes_of_day + minutes_of_day) % minutes_of_day;
}

TimeSpan span_of_minutes(int start, int stop) {
  return {static_cast<uint8_t>(start / 60), static_cast<uint8_t>(start % 60),
          static_cast<uint8_t>(stop / 60), static_cast<uint8_t>(stop % 60)};
}

int start_of(TimeSpan span) {
  return span.start_hour * 60 + span.start_minute;
}

}  // namespace

TimeSpan to_utc(TimeSpan local, int offset_minutes) {
  if (stays(local)) {
    return local;
  }
  const int stop =
      local.stop_hour >= 24 ? minutes_of_day : local.stop_hour * 60 + local.stop_minute;
  return span_of_minutes(of_day(start_of(local) - offset_minutes), of_day(stop - offset_minutes));
}

TimeSpan to_local(TimeSpan utc, int offset_minutes) {
  if (stays(utc)) {
    return utc;
  }
  const int stop = utc.stop_hour >= 24 ? minutes_of_day - 1 : utc.stop_hour * 60 + utc.stop_minute;
  const int start = of_day(start_of(utc) + offset_minutes);
  const int end = of_day(stop + offset_minutes);
  // "00:00-24:00" would be all day.
  return span_of_minutes(start, end == 0 && start != 0 ? minutes_of_day : end);
}

Parsed<TimeSpan> parse_local_span(std::string_view text) {
  Parsed<TimeSpan> span = parse_time_span(text);
  return span.value
             ? span
             : Parsed<TimeSpan>{{},
                                "a span in local time such as \"08:00-21:30\", with an end of at "
                                "most 24:00, or \"all day\""};
}

}  // namespace settings
