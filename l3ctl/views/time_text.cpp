#include "l3ctl/views/time_text.hpp"

#include <cstdio>
#include <ctime>

namespace l3ctl {

std::string day_time(uint32_t second) {
  char text[16];
  std::snprintf(text, sizeof text, "%02u:%02u", second / 3600 % 25, second / 60 % 60);
  return text;
}

Clock clock_of(const settings::Settings& settings) {
  return span_offset(settings) ? Clock{settings.time_zone->name, *span_offset(settings)} : Clock{};
}

std::string timestamp(int64_t seconds) {
  const auto time = static_cast<time_t>(seconds);
  tm parts{};
  gmtime_r(&time, &parts);
  char text[32];
  const size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return {text, length};
}

std::string age_text(int64_t seconds) {
  constexpr struct {
    int64_t seconds;
    const char* name;
  } units[] = {{86400, " d ago"}, {3600, " h ago"}, {60, " min ago"}, {1, " s ago"}};
  for (const auto& unit : units) {
    if (seconds >= unit.seconds) {
      return std::to_string(seconds / unit.seconds) + unit.name;
    }
  }
  return "now";
}

}  // namespace l3ctl
