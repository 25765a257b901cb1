/* Devices, and what settings do to them, in words and as JSON. What devices say of themselves is escaped. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "l3ctl/views/time_text.hpp"
#include "management/devices/effects.hpp"

namespace l3ctl {

/* The time of an answer. */
struct Now {
  int64_t time = 0; /* seconds since 1970 */
  Clock clock;

  [[nodiscard]] uint32_t second() const {
    return static_cast<uint32_t>(time % settings::seconds_of_day);
  }
};

Now now(const Clock& clock = {});

/* "IPv4", "IPv6", "DHCP" */
const char* traffic_word(management::Traffic traffic);

nlohmann::ordered_json device_json(const management::Device& device);

/* By kind of traffic; null where `effects` is empty because settings cannot be explained. */
nlohmann::ordered_json effects_json(const std::vector<management::Effect>& effects, const Now& now);

/* "blocked by mac_filter.devices[0] until 06:00 UTC" */
std::string effects_text(const std::vector<management::Effect>& effects, const Now& now);

/* "tablet (02:00:00:00:01:20, 192.168.1.20)" */
std::string device_text(const management::Device& device);

/* Name, hardware address and IP addresses of a device, for the columns of a table. */
std::vector<std::string> device_cells(const management::Device& device);

}  // namespace l3ctl
