/* l3ctl explain DEVICE [HOST[:PORT]]: what becomes of a device's packets, by its name alone. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "l3ctl/context.hpp"

namespace l3ctl {

struct DeviceQuestion {
  std::string device;
  std::string target; /* HOST[:PORT]; empty for the whole day */
};

/* Whether a packet's key follows from the device and its target. */
bool is_said_by_device(const std::string& key);

/* `words` are the other keys of the packets; `file` holds settings, empty for those that are stored. */
int explain_device(const Context& context, const DeviceQuestion& question,
                   const nlohmann::ordered_json& words, const std::string& file);

}  // namespace l3ctl
