/* A packet in words, from the command line or from a line of JSON: the same keys, the same values. */
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "settings/simulation/verdict.hpp"

namespace l3ctl {

/* How messages name a word: "destination_port" or "--destination-port". */
enum class Naming : uint8_t { keys, options };

/* What may stand for this key: "{lan,wan,other}", or "TEXT" where no list says it. */
std::string packet_choices(const std::string& key);

/* The packet, or, as an exception, what is wrong with its words. Its time is that of a clock `span_offset` minutes ahead
 * of UTC, or UTC. */
settings::Packet packet_of(const nlohmann::ordered_json& words, Naming naming,
                           std::optional<int> span_offset);

}  // namespace l3ctl
