/* Where an address is, as the gateway's own interfaces show it. */
#pragma once

#include <cstdint>
#include <string>

namespace management {

enum class Place : uint8_t { gateway, home, beyond };

/* The place of an IPv4 or IPv6 address: the gateway's own, one of the home network's prefixes, or neither. */
Place place_of(const std::string& address);

}  // namespace management
