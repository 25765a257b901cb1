#include "settings/simulation/day.hpp"

#include <algorithm>
#include <set>

#include "settings/local_span.hpp"
#include "settings/sections.hpp"

namespace settings {

namespace {

using Seconds = std::set<uint32_t>;

/* A span's first second, and the first one behind its end, which is a whole minute. */
template <typename Region>
void add_edges(const Region& filter, Seconds& edges) {
  for (const auto& entry : used_entries(filter)) {
    const uint32_t start = entry.start_hour * 3600U + entry.start_minute * 60U;
    const uint32_t stop = entry.stop_hour >= 24 ? seconds_of_day - 60
                                                : entry.stop_hour * 3600U + entry.stop_minute * 60U;
    edges.insert(start % seconds_of_day);
    edges.insert((stop + 1) % seconds_of_day);
  }
}

bool is_same(const Verdict& one, const Verdict& other) {
  return one.outcome == other.outcome && one.decided_by == other.decided_by;
}

/* The last minute of the day, where a span until 24:00 pauses. */
bool is_pause(const Period& period) {
  return period.to == seconds_of_day && period.to - period.from < 60;
}

}  // namespace

std::vector<Period> day_of(Packet packet, const Settings& settings) {
  Seconds edges = {0};
  add_edges(*settings.url_filter, edges);
  add_edges(*settings.mac_filter, edges);
  add_edges(*settings.mac6_filter, edges);
  std::vector<Period> day;
  for (const uint32_t edge : edges) {
    packet.second = edge;
    Verdict verdict = verdict_on(packet, settings);
    if (day.empty() || !is_same(day.back().verdict, verdict)) {
      day.push_back({edge, seconds_of_day, std::move(verdict)});
      if (day.size() > 1) {
        day[day.size() - 2].to = edge;
      }
    }
  }
  return day;
}

std::vector<Period> at_offset(const std::vector<Period>& day, int offset_minutes) {
  std::vector<Period> parts;
  for (const Period& period : day) {
    const uint32_t from = local_second(period.from, offset_minutes);
    const uint32_t to = from + (period.to - period.from);
    parts.push_back({from, std::min(to, seconds_of_day), period.verdict});
    if (to > seconds_of_day) {
      parts.push_back({0, to - seconds_of_day, period.verdict});
    }
  }
  std::sort(parts.begin(), parts.end(),
            [](const Period& one, const Period& other) { return one.from < other.from; });
  std::vector<Period> local;
  for (Period& part : parts) {
    if (!local.empty() && is_same(local.back().verdict, part.verdict)) {
      local.back().to = part.to;
    } else {
      local.push_back(std::move(part));
    }
  }
  return local;
}

Moment moment_of(const std::vector<Period>& day, uint32_t second) {
  const auto found = std::find_if(day.begin(), day.end(),
                                  [&](const Period& period) { return second < period.to; });
  const auto at = static_cast<size_t>(found - day.begin());
  Moment moment;
  moment.now = day[at].verdict;
  uint32_t end = day[at].to;
  for (size_t i = 1; i < day.size(); ++i) {
    const Period& next = day[(at + i) % day.size()];
    const Period& behind = day[(at + i + 1) % day.size()];
    const bool is_bridged = is_pause(next) && is_same(behind.verdict, moment.now);
    if (!is_bridged && !is_same(next.verdict, moment.now)) {
      moment.has_end = true;
      moment.next = next.verdict;
      break;
    }
    end += next.to - next.from;
  }
  moment.seconds_left = moment.has_end ? end - second : 0;
  return moment;
}

}  // namespace settings
