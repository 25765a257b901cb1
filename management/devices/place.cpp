#include "management/devices/place.hpp"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <algorithm>
#include <memory>
#include <span>
#include <string_view>

#include "management/devices/neighbours.hpp"

namespace management {

namespace {

using Octets = std::span<const uint8_t>;

/* The octets of an interface's address or mask, where it is of this family. */
Octets octets_of(const sockaddr* address, int family) {
  if (address == nullptr || address->sa_family != family) {
    return {};
  }
  if (family == AF_INET) {
    const auto* ipv4 = reinterpret_cast<const sockaddr_in*>(address);
    return {reinterpret_cast<const uint8_t*>(&ipv4->sin_addr), sizeof ipv4->sin_addr};
  }
  const auto* ipv6 = reinterpret_cast<const sockaddr_in6*>(address);
  return {reinterpret_cast<const uint8_t*>(&ipv6->sin6_addr), sizeof ipv6->sin6_addr};
}

bool agree_under(Octets mask, Octets one, Octets other) {
  for (size_t i = 0; i < one.size(); ++i) {
    if (((one[i] ^ other[i]) & mask[i]) != 0) {
      return false;
    }
  }
  return true;
}

}  // namespace

Place place_of(const std::string& address) {
  uint8_t bytes[16] = {};
  const int family = address.find(':') == std::string::npos ? AF_INET : AF_INET6;
  ifaddrs* list = nullptr;
  if (inet_pton(family, address.c_str(), bytes) != 1 || getifaddrs(&list) != 0) {
    return Place::beyond;
  }
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> interfaces(list, freeifaddrs);
  const Octets wanted(bytes, family == AF_INET ? 4 : 16);
  Place place = Place::beyond;
  for (const ifaddrs* one = list; one != nullptr; one = one->ifa_next) {
    const Octets own = octets_of(one->ifa_addr, family);
    const Octets mask = octets_of(one->ifa_netmask, family);
    if (own.empty()) {
      continue;
    }
    if (std::equal(own.begin(), own.end(), wanted.begin())) {
      return Place::gateway;
    }
    const bool is_home = std::string_view(one->ifa_name) == home_interface;
    if (is_home && !mask.empty() && agree_under(mask, own, wanted)) {
      place = Place::home;
    }
  }
  return place;
}

}  // namespace management
