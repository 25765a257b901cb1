#include "management/devices/effects.hpp"

#include <algorithm>

#include "settings/sections.hpp"

namespace management {

namespace {

using settings::Packet;

/* No rule can name them: 0.0.0.0 means any address, and these two of IPv6 are of the prefix that is discarded. */
constexpr settings::Ipv6Address unnamed_source = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
constexpr settings::Ipv6Address unnamed_target = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2};
constexpr uint32_t some_port = 50000;

Packet dhcp_request() {
  Packet packet;
  packet.to_gateway = true;
  packet.protocol = settings::Protocol::udp;
  packet.source_port = 68;
  packet.destination_port = 67;
  return packet;
}

Packet web_request(bool is_ipv6) {
  Packet packet;
  packet.is_ipv6 = is_ipv6;
  packet.source6 = unnamed_source;
  packet.destination6 = unnamed_target;
  packet.protocol = settings::Protocol::tcp;
  packet.source_port = some_port;
  packet.destination_port = 443;
  return packet;
}

std::vector<Packet> packets_of(const Device& device, Traffic traffic) {
  if (traffic == Traffic::dhcp) {
    return {dhcp_request()};
  }
  const bool is_ipv6 = traffic == Traffic::ipv6;
  std::vector<Packet> packets;
  for (const std::string& address : forwarded_addresses(device, is_ipv6)) {
    packets.push_back(web_request(is_ipv6));
    if (is_ipv6) {
      packets.back().source6 = settings::parse_ipv6(address).value.value_or(unnamed_source);
    } else {
      packets.back().source = settings::parse_ipv4(address).value.value_or(0);
    }
  }
  if (packets.empty()) {
    packets.push_back(web_request(is_ipv6));
  }
  return packets;
}

Effect effect_on(std::vector<Packet> packets, Traffic traffic, const settings::Settings& settings,
                 uint32_t second) {
  Effect effect;
  effect.traffic = traffic;
  for (const Packet& packet : packets) {
    Effect one{traffic, day_of(packet, settings), {}};
    one.moment = moment_of(one.day, second);
    if (effect.day.empty() || (one.is_blocked() && !effect.is_blocked())) {
      effect = std::move(one);
    }
  }
  return effect;
}

std::vector<Effect> effects(const Device* device, const settings::Settings& settings,
                            const settings::Bindings& bindings, uint32_t second) {
  std::vector<Effect> effects;
  for (const Traffic traffic : all_traffic) {
    std::vector<Packet> packets = packets_of(device != nullptr ? *device : Device(), traffic);
    for (Packet& packet : packets) {
      packet.bindings = bindings;
      if (device != nullptr) {
        packet.mac = device->mac;
      }
    }
    effects.push_back(effect_on(std::move(packets), traffic, settings, second));
  }
  return effects;
}

template <typename Region>
void add_devices(const Region& filter, std::vector<settings::MacAddress>& devices) {
  for (const auto& entry : settings::used_entries(filter)) {
    settings::MacAddress mac{};
    std::copy(std::begin(entry.mac), std::end(entry.mac), mac.begin());
    if (settings::group_of(mac) == nullptr && mac != settings::MacAddress{}) {
      devices.push_back(mac);
    }
  }
}

}  // namespace

std::vector<std::string> forwarded_addresses(const Device& device, bool is_ipv6) {
  if (!is_ipv6) {
    return device.ipv4;
  }
  std::vector<std::string> addresses;
  for (const std::string& address : device.ipv6) {
    const auto bytes = settings::parse_ipv6(address).value.value_or(settings::Ipv6Address{});
    const bool is_link_local = bytes[0] == 0xfe && (bytes[1] & 0xc0) == 0x80;
    if (!is_link_local) {
      addresses.push_back(address);
    }
  }
  return addresses;
}

std::vector<Effect> effects_on(const Device& device, const settings::Settings& settings,
                               const settings::Bindings& bindings, uint32_t second) {
  return effects(&device, settings, bindings, second);
}

std::vector<Effect> effects_on_others(const settings::Settings& settings,
                                      const settings::Bindings& bindings, uint32_t second) {
  return effects(nullptr, settings, bindings, second);
}

std::vector<settings::MacAddress> listed_devices(const settings::Settings& settings) {
  std::vector<settings::MacAddress> devices;
  add_devices(*settings.mac_filter, devices);
  add_devices(*settings.mac6_filter, devices);
  add_devices(*settings.dhcp_filter, devices);
  return devices;
}

}  // namespace management
