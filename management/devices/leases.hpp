/* DHCP leases, as dnsmasq writes them. What they hold comes from the devices: it is untrusted text. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "settings/values.hpp"

namespace management {

/* The environment variable that names the lease files, with ":" between them, in place of the usual ones. */
inline constexpr char leases_variable[] = "L3CTL_LEASES";

struct Lease {
  settings::MacAddress mac;
  std::string address; /* IPv4 */
  std::string name;    /* as the device calls itself; empty where it does not */
  bool is_over = false;
};

/* The leases of all files that exist. What could not be read is a line in `notes`. */
std::vector<Lease> read_leases(std::vector<std::string>& notes);

}  // namespace management
