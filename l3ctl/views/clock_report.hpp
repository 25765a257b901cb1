/* The gateway's clock, for people and programs. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "management/change/clock_shift.hpp"

namespace l3ctl {

/* "2027-03-28 03:00 (UTC+02:00)", in the time of the new offset. */
std::string change_in_words(const settings::OffsetChange& change);

/* "2026-11-22 12:05 (Europe/Berlin, UTC+01:00)", and what is wrong with it. */
std::string clock_in_words(const management::ClockState& state);

/* Null where no zone is set. `is_shifted` once the spans have the offset of now. */
nlohmann::ordered_json clock_as_json(const management::ClockState& state, bool is_shifted = false);

}  // namespace l3ctl
