/* The devices of the home network, as the neighbour table, DHCP leases and people's names show them. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "settings/values.hpp"

namespace management {

struct Device {
  settings::MacAddress mac = {};
  std::string given_name;        /* by people; empty without one */
  std::string own_name;          /* as it calls itself: untrusted text, to be escaped */
  std::vector<std::string> ipv4; /* the one seen last first */
  std::vector<std::string> ipv6;
  std::optional<int64_t> last_seen; /* seconds since 1970 */

  /* What to call it; empty where nobody has named it. */
  [[nodiscard]] const std::string& name() const {
    return given_name.empty() ? own_name : given_name;
  }
};

struct Devices {
  std::vector<Device> list;       /* by name, those without one behind */
  std::vector<std::string> notes; /* what could not be read, a line each */
};

/* Whether a device, or its user, made up the hardware address: most phones do so for each network. */
bool is_randomised(const settings::MacAddress& mac);

/* Reads all sources and merges them by hardware address. `also` are devices that are listed in any case. */
Devices known_devices(const std::vector<settings::MacAddress>& also = {});

}  // namespace management
