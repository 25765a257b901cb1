#include "management/devices/devices.hpp"

#include <algorithm>
#include <map>
#include <tuple>

#include "management/devices/ethers.hpp"
#include "management/devices/leases.hpp"
#include "management/devices/neighbours.hpp"
#include "management/error.hpp"

namespace management {

namespace {

class Merger {
 public:
  Device& operator[](const settings::MacAddress& mac) {
    Device& device = devices_[mac];
    device.mac = mac;
    return device;
  }

  [[nodiscard]] std::vector<Device> list() && {
    std::vector<Device> list;
    for (auto& [mac, device] : devices_) {
      list.push_back(std::move(device));
    }
    std::stable_sort(list.begin(), list.end(), [](const Device& one, const Device& other) {
      return std::tuple(one.name().empty(), one.name()) <
             std::tuple(other.name().empty(), other.name());
    });
    return list;
  }

 private:
  std::map<settings::MacAddress, Device> devices_;
};

void add_address(Device& device, const std::string& address) {
  const bool is_ipv6 = address.find(':') != std::string::npos;
  std::vector<std::string>& addresses = is_ipv6 ? device.ipv6 : device.ipv4;
  if (std::find(addresses.begin(), addresses.end(), address) == addresses.end()) {
    addresses.push_back(address);
  }
}

void add_neighbours(Merger& devices, std::vector<std::string>& notes) {
  std::vector<Neighbour> neighbours = read_neighbours(notes);
  std::stable_sort(
      neighbours.begin(), neighbours.end(),
      [](const Neighbour& one, const Neighbour& other) { return one.last_seen > other.last_seen; });
  for (const Neighbour& neighbour : neighbours) {
    Device& device = devices[neighbour.mac];
    add_address(device, neighbour.address);
    device.last_seen = std::max(device.last_seen.value_or(0), neighbour.last_seen);
  }
}

/* An address whose lease is over may be another device's now. */
void add_leases(Merger& devices, std::vector<std::string>& notes) {
  for (const Lease& lease : read_leases(notes)) {
    Device& device = devices[lease.mac];
    if (!lease.is_over) {
      add_address(device, lease.address);
    }
    if (!lease.name.empty()) {
      device.own_name = lease.name;
    }
  }
}

void add_given_names(Merger& devices, std::vector<std::string>& notes) {
  try {
    for (const GivenName& given : given_names()) {
      Device& device = devices[given.mac];
      device.given_name = device.given_name.empty() ? given.name : device.given_name;
    }
  } catch (const Error& failure) {
    notes.emplace_back(failure.what());
  }
}

}  // namespace

bool is_randomised(const settings::MacAddress& mac) {
  return (mac[0] & 2) != 0;
}

Devices known_devices(const std::vector<settings::MacAddress>& also) {
  Merger devices;
  std::vector<std::string> notes;
  add_neighbours(devices, notes);
  add_leases(devices, notes);
  add_given_names(devices, notes);
  for (const settings::MacAddress& mac : also) {
    devices[mac];
  }
  return {std::move(devices).list(), std::move(notes)};
}

}  // namespace management
