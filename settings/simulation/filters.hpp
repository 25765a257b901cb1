/* The features that a packet meets; each file judges by those of one way. */
#pragma once

#include <optional>
#include <string>

#include "settings/sections.hpp"
#include "settings/simulation/packet.hpp"

namespace settings {

/* What a feature has to say: without an outcome the packet goes on, and `setting` is what let it. */
struct Finding {
  std::optional<Outcome> outcome;
  std::string setting;
  std::string what;
};

using Feature = Finding (*)(const Packet& packet, const Settings& settings);

/* Forwarded packets. */
Finding judge_by_ip_filter(const Packet& packet, const Settings& settings);
Finding judge_by_url_filter(const Packet& packet, const Settings& settings);
Finding judge_by_mac_filter(const Packet& packet, const Settings& settings);
Finding judge_by_captive_portal(const Packet& packet, const Settings& settings);
Finding judge_by_ipsec(const Packet& packet, const Settings& settings);

/* Packets to the gateway. */
Finding judge_by_acl(const Packet& packet, const Settings& settings);
Finding judge_by_dhcp_filter(const Packet& packet, const Settings& settings);

/* Both. */
Finding judge_by_port_scan_protection(const Packet& packet, const Settings& settings);

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

/* No entry matches: a white list drops the rest. `resting` tells of one that would, were it active. */
inline Finding no_match_of(bool white_list, const std::string& section, const std::string& mode,
                           const std::string& resting = {}) {
  if (white_list) {
    return {Outcome::dropped, section + "." + mode,
            resting.empty() ? "not on the white list" : resting};
  }
  return {{}, section, resting.empty() ? "not on the black list" : resting};
}

}  // namespace settings
