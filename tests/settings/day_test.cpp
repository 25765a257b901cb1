/* A packet through the day: where settings begin and end to decide about it. */
#include "settings/simulation/day.hpp"

#include "reading.hpp"

namespace {

settings::Settings blocking(const std::string& devices) {
  return settings_of(R"({"firewall": {"enabled": true}, "port_scan_protection": false,
    "ipsec_pass_through": true, "ip_filter": {"enabled": true}, "ip6_filter": {"enabled": true},
    "url_filter": {"enabled": false}, "mac6_filter": {"enabled": false}, "dhcp_filter": {"enabled": false},
    "acl": {"enabled": false}, "captive_portal": {"enabled": false},
    "mac_filter": {"enabled": true, "devices": [)" +
                     devices + "]}}");
}

std::string entry(const std::string& active) {
  return R"({"mac": "02:00:00:00:00:01", "active": ")" + active + "\"}";
}

settings::Packet packet() {
  settings::Packet packet;
  packet.mac = settings::MacAddress{2, 0, 0, 0, 0, 1};
  return packet;
}

/* "0-21601 mac_filter.devices[0]; 21601-86400 " */
std::string told(const settings::Settings& settings) {
  std::string text;
  for (const settings::Period& period : day_of(packet(), settings)) {
    text += (text.empty() ? "" : "; ") + std::to_string(period.from) + "-" +
            std::to_string(period.to) + " " + period.verdict.decided_by;
  }
  return text;
}

}  // namespace

TEST(SettingsDay, HasNoEdgeWithoutASpan) {
  EXPECT_EQ(told(blocking("")), "0-86400 ");
}

TEST(SettingsDay, ASpanPassesMidnightAndEndsInItsStopMinute) {
  EXPECT_EQ(told(blocking(entry("22:00-06:00"))),
            "0-21601 mac_filter.devices[0]; 21601-79200 ; 79200-86400 mac_filter.devices[0]");
}

TEST(SettingsDay, TheLastMinuteIsOpenWhereASpanEndsWithTheDay) {
  EXPECT_EQ(told(blocking(entry("all day"))), "0-86341 mac_filter.devices[0]; 86341-86400 ");
}

TEST(SettingsDay, AnotherClockShowsTheSameDayFromItsOwnMidnight) {
  const auto day = day_of(packet(), blocking(entry("22:00-06:00")));
  const auto text = [](const std::vector<settings::Period>& periods) {
    std::string all;
    for (const settings::Period& period : periods) {
      all += std::to_string(period.from) + "-" + std::to_string(period.to) + " " +
             period.verdict.decided_by + ";";
    }
    return all;
  };
  EXPECT_EQ(text(settings::at_offset(day, 120)), "0-28801 mac_filter.devices[0];28801-86400 ;");
  EXPECT_EQ(text(settings::at_offset(day, -60)),
            "0-18001 mac_filter.devices[0];18001-75600 ;75600-86400 mac_filter.devices[0];");
  EXPECT_EQ(text(settings::at_offset(day_of(packet(), blocking("")), 345)), "0-86400 ;");
}

TEST(SettingsDay, EverySecondHasTheVerdictOfItsPeriod) {
  const settings::Settings settings =
      blocking(entry("07:30-09:15") + "," + entry("09:00-12:00") + "," + entry("23:59-00:01"));
  settings::Packet one = packet();
  for (const settings::Period& period : day_of(packet(), settings)) {
    for (one.second = period.from; one.second < period.to; ++one.second) {
      ASSERT_EQ(verdict_on(one, settings).decided_by, period.verdict.decided_by) << one.second;
    }
  }
}

TEST(SettingsDay, AMomentEndsWithTheLastPeriodThatSaysTheSame) {
  const auto day = day_of(packet(), blocking(entry("22:00-06:00")));
  const settings::Moment night = settings::moment_of(day, 23 * 3600);
  EXPECT_EQ(night.now.decided_by, "mac_filter.devices[0]");
  EXPECT_TRUE(night.has_end);
  EXPECT_EQ(night.seconds_left, 7 * 3600 + 1);
  EXPECT_EQ(night.next.outcome, settings::Outcome::accepted);
  const settings::Moment noon = settings::moment_of(day, 12 * 3600);
  EXPECT_EQ(noon.seconds_left, 10 * 3600);
  EXPECT_EQ(noon.next.outcome, settings::Outcome::dropped);
}

TEST(SettingsDay, TheOpenMinuteIsNoEndOfABlock) {
  const auto day = day_of(packet(), blocking(entry("all day")));
  EXPECT_FALSE(settings::moment_of(day, 3600).has_end);
  const settings::Moment pause = settings::moment_of(day, 86350);
  EXPECT_EQ(pause.now.outcome, settings::Outcome::accepted);
  EXPECT_EQ(pause.seconds_left, 50);
}
