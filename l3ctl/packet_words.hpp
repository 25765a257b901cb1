/* A packet in words, from the command line or from a line of JSON: the same keys, the same values. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "settings/verdict.hpp"

namespace l3ctl {

/* The packet, or, as an exception, what is wrong with its words. */
settings::Packet packet_of(const nlohmann::ordered_json& words);

}  // namespace l3ctl
