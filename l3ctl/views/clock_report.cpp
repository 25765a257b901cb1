#include "l3ctl/views/clock_report.hpp"

#include <ctime>
#include <nlohmann/json.hpp>

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;
using management::ClockState;
using settings::offset_text;

/* "2026-11-22 12:05" on a clock so many minutes ahead of UTC. */
std::string time_text(std::time_t moment, int offset_minutes) {
  moment += std::time_t{60} * offset_minutes;
  std::tm clock = {};
  char text[32] = {};
  gmtime_r(&moment, &clock);
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &clock);
  return text;
}

}  // namespace

std::string change_in_words(const settings::OffsetChange& change) {
  return time_text(change.at, change.offset_minutes) + " (UTC" +
         offset_text(change.offset_minutes) + ")";
}

std::string clock_in_words(const ClockState& state) {
  if (!state.offset_now) {
    return state.zone.name + ": " + state.problem;
  }
  std::string text = time_text(state.now, *state.offset_now) + " (" + state.zone.name + ", UTC" +
                     offset_text(*state.offset_now) + ")";
  if (state.is_due()) {
    text += ", time spans are still at UTC" + offset_text(state.zone.offset_minutes);
  }
  return text + (state.next ? ", next change " + change_in_words(*state.next) : "");
}

Json clock_as_json(const ClockState& state, bool is_shifted) {
  if (state.zone.is_utc()) {
    return nullptr;
  }
  const auto offset = [](int minutes) { return Json(offset_text(minutes)); };
  Json next;
  if (state.next) {
    next = {{"at", state.next->at}, {"utc_offset", offset(state.next->offset_minutes)}};
  }
  return {{"name", state.zone.name},
          {"local_time", state.offset_now ? Json(time_text(state.now, *state.offset_now)) : Json()},
          {"utc_offset", state.offset_now ? offset(*state.offset_now) : Json()},
          {"spans_utc_offset",
           offset(is_shifted && state.offset_now ? *state.offset_now : state.zone.offset_minutes)},
          {"shift_due", state.is_due() && !is_shifted},
          {"next_change", next},
          {"problem", state.problem.empty() ? Json() : Json(state.problem)}};
}

}  // namespace l3ctl
