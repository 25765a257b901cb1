/* The filters of the simulation; each file has those of one path through the gateway. */
#pragma once

#include <optional>
#include <string>

#include "settings/sections.hpp"
#include "settings/simulation/packet.hpp"

namespace settings {

/* Result of one filter. Without an outcome the packet continues, and `setting` is what passed it. */
struct Finding {
  std::optional<Outcome> outcome;
  std::string setting;
  std::string what;
};

using Feature = Finding (*)(const Packet& packet, const Settings& settings);

/* Forwarded packets. */
Finding simulate_ip_filter(const Packet& packet, const Settings& settings);
Finding simulate_url_filter(const Packet& packet, const Settings& settings);
Finding simulate_mac_filter(const Packet& packet, const Settings& settings);
Finding simulate_captive_portal(const Packet& packet, const Settings& settings);
Finding simulate_ipsec(const Packet& packet, const Settings& settings);

/* Packets to the gateway. */
Finding simulate_acl(const Packet& packet, const Settings& settings);
Finding simulate_dhcp_filter(const Packet& packet, const Settings& settings);

/* Both. */
Finding simulate_port_scan_protection(const Packet& packet, const Settings& settings);

inline bool is_to_port(const Packet& packet, Protocol protocol, uint32_t port) {
  return packet.protocol == protocol && packet.destination_port == port;
}

inline bool is_from(const Packet& packet, std::span<const uint8_t, 6> mac) {
  return packet.mac && std::equal(mac.begin(), mac.end(), packet.mac->begin());
}

/* Why a feature whose rules are bound so never sees the packet; empty where it does. */
inline std::string unbound(const Packet& packet, const Binding& binding) {
  if (!binding.is_bound) {
    return "bound to no Internet WAN";
  }
  const bool is_missed = packet.from == Side::wan && !binding.another_wan.empty();
  return is_missed ? "bound to " + binding.another_wan + ", which is not the Internet WAN" : "";
}

/* An entry's match: a black list drops, a white list accepts. */
inline Finding match_of(bool white_list, std::string path) {
  return {white_list ? Outcome::accepted : Outcome::dropped, std::move(path),
          white_list ? "on the white list" : "on the black list"};
}

/* No entry matches: a white list drops the rest. `resting` describes an entry that would match if it were active. */
inline Finding no_match_of(bool white_list, const std::string& section, const std::string& mode,
                           const std::string& resting = {}) {
  if (white_list) {
    return {Outcome::dropped, section + "." + mode,
            resting.empty() ? "not on the white list" : resting};
  }
  return {{}, section, resting.empty() ? "not on the black list" : resting};
}

}  // namespace settings
