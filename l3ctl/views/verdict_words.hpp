/* Verdicts on packets in words and as JSON. */
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "l3ctl/views/colour.hpp"
#include "settings/simulation/verdict.hpp"

namespace l3ctl {

/* "accepted", "dropped", "accepted at first" */
const char* outcome_word(settings::Outcome outcome);

Paint paint_of(settings::Outcome outcome);

/* The path of the deciding setting; null where none decides. */
nlohmann::ordered_json decider_of(const settings::Verdict& verdict);

nlohmann::ordered_json verdict_json(const settings::Verdict& verdict);

/* "dropped by mac_filter.devices[0]: on the black list" */
std::string verdict_line(const settings::Verdict& verdict);

}  // namespace l3ctl
