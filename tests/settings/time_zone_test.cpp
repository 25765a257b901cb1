/* Zones and local spans against the C library: what a span means in UTC is what the zone's own clock shows. */
#include "settings/time_zone.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "settings/local_span.hpp"
#include "settings/zone_name.hpp"

namespace settings {
namespace {

constexpr char zone_folder[] = "/usr/share/zoneinfo";
constexpr std::time_t begin_2020 = 1577836800;
constexpr std::time_t end_2029 = 1893456000;

bool is_full() {
  const char* full = std::getenv("L3_TEST_FULL");
  return full != nullptr && full == std::string("yes");
}

std::string bytes_of(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/* Half-hour and three-quarter zones, negative summer time, a change of half an hour, zones that stopped changing. */
std::vector<std::string> selected_zones() {
  return {"Europe/Berlin",      "Europe/London",     "Europe/Dublin",   "America/New_York",
          "America/St_Johns",   "America/Sao_Paulo", "Asia/Kolkata",    "Asia/Kathmandu",
          "Asia/Tehran",        "Africa/Casablanca", "Africa/El_Aaiun", "Australia/Lord_Howe",
          "Australia/Adelaide", "Pacific/Chatham",   "Pacific/Apia",    "Antarctica/Troll"};
}

std::vector<std::string> zones() {
  if (!is_full()) {
    return selected_zones();
  }
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(zone_folder)) {
    const std::string name = std::filesystem::relative(entry.path(), zone_folder);
    const bool is_variant = name.starts_with("posix/") || name.starts_with("right/");
    if (entry.is_regular_file() && !is_variant && bytes_of(entry.path()).starts_with("TZif")) {
      names.push_back(name);
    }
  }
  return names;
}

/* The C library's answers in a zone, by the variable that everybody sets. */
class LibraryZone {
 public:
  explicit LibraryZone(const std::string& zone) {
    setenv("TZ", zone.c_str(), 1);
    tzset();
  }
  LibraryZone(const LibraryZone&) = delete;
  LibraryZone& operator=(const LibraryZone&) = delete;
  ~LibraryZone() {
    unsetenv("TZ");
    tzset();
  }
  static std::tm at(std::time_t moment) {
    std::tm clock = {};
    localtime_r(&moment, &clock);
    return clock;
  }
};

/* Every change of the offset in ten years, found without the code under test. */
std::vector<std::time_t> changes_of(const std::string& zone) {
  const LibraryZone library(zone);
  std::vector<std::time_t> changes;
  for (std::time_t hour = begin_2020; hour < end_2029; hour += 3600) {
    if (LibraryZone::at(hour).tm_gmtoff == LibraryZone::at(hour + 3600).tm_gmtoff) {
      continue;
    }
    std::time_t second = hour;
    while (LibraryZone::at(second).tm_gmtoff == LibraryZone::at(hour).tm_gmtoff) {
      ++second;
    }
    changes.push_back(second);
  }
  return changes;
}

const std::vector<TimeSpan>& spans() {
  static const std::vector<TimeSpan> all = {{20, 30, 24, 0}, {22, 0, 6, 0},  {2, 15, 2, 45},
                                            {0, 0, 8, 30},   {23, 59, 0, 0}, {0, 0, 23, 59},
                                            {5, 0, 5, 0},    {0, 0, 24, 0},  {12, 0, 11, 59}};
  return all;
}

/* Whether a clock that shows this second is inside the span; local midnight ends a span at 0:00 of the next day. */
bool is_inside(TimeSpan span, uint32_t second) {
  const bool is_all_day = span.stop_hour == 24 && span.start_hour == 0 && span.start_minute == 0;
  if (!is_all_day && span.stop_hour == 24) {
    span.stop_hour = 0;
  }
  return is_all_day || is_active(span, second);
}

uint32_t second_of(const std::tm& clock) {
  return static_cast<uint32_t>(clock.tm_hour * 3600 + clock.tm_min * 60 + clock.tm_sec);
}

TEST(TimeZone, EverySpanFollowsTheClockOfTheZoneAroundEachChange) {
  size_t checked = 0;
  for (const std::string& zone : zones()) {
    for (const std::time_t change : changes_of(zone)) {
      const int before = *offset_at(zone, change - 1).value;
      const int after = *offset_at(zone, change).value;
      ASSERT_NE(before, after) << zone;
      const auto next = next_offset_change(zone, change - 5000);
      ASSERT_TRUE(next) << zone;
      EXPECT_EQ(next->at, change) << zone;
      EXPECT_EQ(next->offset_minutes, after) << zone;
      const LibraryZone library(zone);
      for (std::time_t moment = change - 4 * 3600; moment < change + 4 * 3600; moment += 59) {
        const std::tm clock = LibraryZone::at(moment);
        const int offset = moment < change ? before : after;
        ASSERT_EQ(clock.tm_gmtoff, offset * 60) << zone << " " << moment;
        const auto utc_second = static_cast<uint32_t>(moment % 86400);
        ASSERT_EQ(local_second(utc_second, offset), second_of(clock)) << zone << " " << moment;
        for (const TimeSpan& span : spans()) {
          const TimeSpan utc = to_utc(span, offset);
          const bool is_now = is_inside(span, second_of(clock));
          const bool is_all_day = utc.stop_hour == 24;
          ASSERT_EQ(is_all_day || is_active(utc, utc_second), is_now)
              << zone << " " << moment << " " << time_span_text(span);
          ++checked;
        }
      }
    }
  }
  EXPECT_GT(checked, 100000U);
}

TEST(TimeZone, WhatTheProcessHasSetDoesNotMatterAndStays) {
  setenv("TZ", "XYZ-9", 1);
  setenv("TZDIR", "/nowhere", 1);
  tzset();
  EXPECT_EQ(offset_at("Europe/Berlin", 1767225600).value, 60);
  EXPECT_EQ(LibraryZone::at(1767225600).tm_gmtoff, 9 * 3600);
  EXPECT_STREQ(std::getenv("TZ"), "XYZ-9");
  EXPECT_STREQ(std::getenv("TZDIR"), "/nowhere");
  unsetenv("TZ");
  unsetenv("TZDIR");
  tzset();
  EXPECT_EQ(offset_at("Asia/Kolkata", 1767225600).value, 330);
  EXPECT_EQ(std::getenv("TZ"), nullptr);
}

TEST(TimeZone, PosixStringsNeedNoFile) {
  for (const char* zone : {"CET-1CEST,M3.5.0,M10.5.0/3", "IST-1GMT0,M10.5.0,M3.5.0/1", "<-03>3",
                           "UTC0", "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0",
                           "<+1245>-12:45<+1345>,M9.5.0/2:45,M4.1.0/3:45", "EST5EDT,J60,300/1",
                           "<-02>2<-01>,M3.5.0/-1,M10.5.0/0", "AAA-1:00:00BBB,0/0,J365/23:59:59"}) {
    ASSERT_TRUE(is_posix_zone(zone)) << zone;
    for (std::time_t moment = begin_2020; moment < end_2029; moment += 86400 * 5 + 3607) {
      const auto offset = offset_at(zone, moment);
      const LibraryZone library(zone);
      ASSERT_TRUE(offset.value) << zone;
      ASSERT_EQ(*offset.value * 60, LibraryZone::at(moment).tm_gmtoff) << zone << " " << moment;
    }
  }
}

TEST(TimeZone, WhatIsNoZoneIsRefused) {
  for (const char* zone :
       {"", "XYZ", "C-1", "CET-1CEST", "CET-1CEST,M3.5.0", "CET-1CEST,M13.5.0,M10.5.0",
        "CET-1CEST,M3.5.0,M10.5.0,M1.1.0", "CET-25", "CET-1:60", "LMT-0:53:28", "<CET-1", "Europe/",
        "Europe/Nowhere", "Europe//Berlin", "../zoneinfo/Europe/Berlin", "/usr/share/zoneinfo/UTC",
        ":Europe/Berlin", "CET-1\n", "tzdata.zi"}) {
    const auto offset = offset_at(zone, begin_2020);
    EXPECT_FALSE(offset.value) << zone;
    EXPECT_NE(offset.allowed.find("CET-1CEST,M3.5.0,M10.5.0/3"), std::string::npos) << zone;
  }
  EXPECT_EQ(offset_at("UTC", begin_2020).value, 0);
}

TEST(TimeZone, AZoneWithoutChangesHasNoNextOne) {
  EXPECT_FALSE(next_offset_change("Asia/Tokyo", begin_2020));
  EXPECT_FALSE(next_offset_change("<+09>-9", begin_2020));
  EXPECT_FALSE(next_offset_change("nowhere", begin_2020));
}

TEST(TimeZone, OffsetsAreWritten) {
  EXPECT_EQ(offset_text(0), "+00:00");
  EXPECT_EQ(offset_text(765), "+12:45");
  EXPECT_EQ(offset_text(-210), "-03:30");
}

TEST(ZoneFile, IsWholeOrIsNot) {
  const std::string whole = bytes_of(std::string(zone_folder) + "/Europe/Berlin");
  ASSERT_TRUE(is_zone_file(whole));
  for (size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(is_zone_file(whole.substr(0, size))) << size;
  }
  std::string other = whole;
  other[0] = 'X';
  EXPECT_FALSE(is_zone_file(other));
  other = whole;
  // So many types that the data cannot hold them.
  other[36] = '\x7f';
  EXPECT_FALSE(is_zone_file(other));
}

TEST(ZoneFile, EveryFileOfTheMachineIsOne) {
  for (const std::string& zone : zones()) {
    EXPECT_TRUE(is_zone_file(bytes_of(std::string(zone_folder) + "/" + zone))) << zone;
  }
}

TEST(LocalSpan, ComesBackFromUtcAtEveryOffset) {
  std::mt19937 dice(16);
  const auto any = [&](int below) {
    return static_cast<uint8_t>(dice() % static_cast<unsigned>(below));
  };
  for (int offset = -1440; offset <= 1440; offset += 15) {
    for (int i = 0; i < 200; ++i) {
      const TimeSpan utc{any(24), any(60), any(24), any(60)};
      const std::string text = time_span_text(to_local(utc, offset));
      const TimeSpan again = to_utc(*parse_local_span(text).value, offset);
      ASSERT_EQ(time_span_text(again), time_span_text(utc)) << offset << " " << text;
    }
  }
}

TEST(LocalSpan, MidnightIsAnEndAndAllDayStays) {
  const auto utc = [](const char* text, int offset) {
    return time_span_text(to_utc(*parse_local_span(text).value, offset));
  };
  EXPECT_EQ(utc("20:30-24:00", 60), "19:30-23:00");
  EXPECT_EQ(utc("20:30-24:00", 0), "20:30-00:00");
  EXPECT_EQ(utc("00:30-02:00", 60), "23:30-01:00");
  EXPECT_EQ(utc("22:00-06:00", 345), "16:15-00:15");
  EXPECT_EQ(utc("22:00-06:00", -210), "01:30-09:30");
  EXPECT_EQ(utc("all day", 60), "all day");
  EXPECT_EQ(utc("00:00-24:00", 60), "all day");
  EXPECT_EQ(utc("01:00-01:00", 60), "00:00-00:00");
  EXPECT_EQ(time_span_text(to_local({20, 30, 24, 0}, 60)), "21:30-00:59");
  EXPECT_EQ(time_span_text(to_local({19, 30, 23, 0}, 60)), "20:30-24:00");
  EXPECT_EQ(time_span_text(to_local({23, 0, 23, 0}, 60)), "00:00-00:00");
  // A time that does not exist is nothing that a clock shows.
  EXPECT_EQ(to_local({30, 0, 8, 0}, 60).start_hour, 30);
  EXPECT_EQ(to_utc({8, 75, 9, 0}, 60).start_minute, 75);
}

}  // namespace
}  // namespace settings
