/* l3ctl clock: time spans follow the clock of their zone. */
#include <nlohmann/json.hpp>

#include "l3ctl/commands.hpp"
#include "l3ctl/views/change_report.hpp"
#include "l3ctl/views/clock_report.hpp"
#include "management/change/clock_shift.hpp"

namespace l3ctl {

namespace {

std::string next_in_words(const ClockState& state) {
  return state.next ? "; next change " + change_in_words(*state.next) : "; no change ahead";
}

std::string done_in_words(const ClockState& state, bool is_shifted) {
  if (state.zone.is_utc()) {
    return "clock: no time_zone is set, so time spans are in UTC";
  }
  if (!state.offset_now) {
    return "clock: an earlier shift is complete; " + state.problem;
  }
  const std::string now = "UTC" + settings::offset_text(*state.offset_now);
  return is_shifted ? "clock: time spans shifted from UTC" +
                          settings::offset_text(state.zone.offset_minutes) + " to " + now +
                          next_in_words(state)
                    : "clock: time spans follow " + state.zone.name + " (" + now + ")" +
                          next_in_words(state);
}

int clock(const Context& context) {
  const ClockState state = clock_state();
  if (!state.problem.empty() && !state.is_begun) {
    throw Error(state.problem + "; time spans are left as they are");
  }
  ChangeResult result;
  result.is_done = true;
  if (context.dry_run) {
    result.plan.emplace();
  }
  const auto shifted = state.is_due() || state.is_begun ? shift_spans(context) : std::nullopt;
  return print_result(
      context, shifted.value_or(result), done_in_words(state, shifted.has_value()),
      {{"shifted", shifted.has_value()}, {"time_zone", clock_as_json(state, shifted.has_value())}});
}

}  // namespace

void add_clock_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand(
      "clock", "Shift time spans when the offset of their time_zone has changed");
  command->footer(
      "To be run at boot, after the clock was set, and every hour; packages for systemd bring a "
      "timer.\n"
      "Where there is nothing to shift, nothing is touched. \"all day\" is never shifted.");
  command->callback([&context] { context.action = [&context] { return clock(context); }; });
}

}  // namespace l3ctl
