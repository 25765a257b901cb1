/* The features that packets to the gateway meet. */
#include "settings/simulation/filters.hpp"

namespace settings {

namespace {

/* The number that an entry of the access list has for the packet's service; 0 when it has none. */
uint32_t service_of(const Packet& packet) {
  if (packet.protocol == Protocol::icmp) {
    return 5;
  }
  if (is_to_port(packet, Protocol::udp, 161)) {
    return 3;
  }
  if (packet.protocol != Protocol::tcp) {
    return 0;
  }
  switch (packet.destination_port) {
    case 80:
      return 1;
    case 21:
      return 2;
    case 23:
      return 4;
    default:
      return 0;
  }
}

bool opens(const l3_acl_entry& entry, uint32_t service, uint32_t source) {
  const bool any_source = entry.src_ip0 == 0;
  return (entry.app_type == 0 || entry.app_type == service) &&
         (any_source || (source >= entry.src_ip0 && source <= entry.src_ip1));
}

}  // namespace

/* A side that has an entry is shut to everything that no entry opens; one without stays open. */
Finding simulate_acl(const Packet& packet, const Settings& settings) {
  const l3_acl& acl = *settings.acl;
  const std::string section = "acl";
  if (acl.acl_filter_ctrl == 0) {
    return {{}, section, "off"};
  }
  const uint32_t service = service_of(packet);
  if (service == 0) {
    return {{}, section, "looks at web, FTP, SNMP, telnet and ping alone"};
  }
  if (packet.from == Side::elsewhere) {
    return {{}, section, "comes neither from the home network nor from the Internet WAN"};
  }
  if (std::string why = unbound(packet, packet.bindings.acl); !why.empty()) {
    return {{}, section, std::move(why)};
  }
  bool side_has_entries = false;
  const auto entries = used_entries(acl);
  for (size_t i = 0; i < entries.size(); ++i) {
    const l3_acl_entry& entry = entries[i];
    if (entry.allocated == 0 || (entry.direction == 0) != (packet.from == Side::lan)) {
      continue;
    }
    side_has_entries = true;
    if (opens(entry, service, packet.source)) {
      return {Outcome::accepted, item_path("acl.entries", i), "on the access list"};
    }
  }
  if (side_has_entries) {
    return {Outcome::dropped, "acl.entries", "not on the access list"};
  }
  return {{}, section, "has no entry for this side, which leaves it open"};
}

Finding simulate_dhcp_filter(const Packet& packet, const Settings& settings) {
  const l3_dhcp_filter& filter = *settings.dhcp_filter;
  const std::string section = "dhcp_filter";
  if (filter.dhcp_mac_filter_ctrl == 0) {
    return {{}, section, "off"};
  }
  if (packet.from != Side::lan || !is_to_port(packet, Protocol::udp, 67)) {
    return {{}, section, "looks at DHCP requests from the home network alone"};
  }
  const bool white_list = filter.dhcp_black_white == 1;
  const auto entries = used_entries(filter);
  for (size_t i = 0; i < entries.size(); ++i) {
    if (is_from(packet, entries[i].mac)) {
      return match_of(white_list, item_path("dhcp_filter.devices", i));
    }
  }
  return no_match_of(white_list, section, "mode");
}

}  // namespace settings
