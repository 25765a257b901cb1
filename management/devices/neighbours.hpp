/* The kernel's neighbour table: who has sent in the home network lately, and with which addresses. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "settings/values.hpp"

namespace management {

/* The interface of the home network. */
inline constexpr char home_interface[] = "br0";

struct Neighbour {
  settings::MacAddress mac;
  std::string address;   /* IPv4 or IPv6 */
  int64_t last_seen = 0; /* seconds since 1970 */
};

/* What "ip -j neigh" lists. What could not be read is a line in `notes`. */
std::vector<Neighbour> read_neighbours(std::vector<std::string>& notes);

}  // namespace management
