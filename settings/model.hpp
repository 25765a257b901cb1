/* Settings as the library takes them: switches, and one region image for each list. */
#pragma once

#include <cstdint>
#include <optional>

#include "l3_advance/records.h"
#include "settings/time_zone.hpp"

namespace settings {

enum class SecurityLevel : uint8_t { off = 0, low = 1, high = 2 };

/* The settings of a text; a section that it leaves out is empty. */
struct Settings {
  std::optional<TimeZone> time_zone; /* of spans in words; those in the regions are in UTC */
  std::optional<bool> firewall;
  std::optional<SecurityLevel>
      security_level; /* never written: expressed by the next two switches */
  std::optional<bool> port_scan_protection;
  std::optional<bool> ipsec_pass_through;
  std::optional<bool> vpn_pass_through;
  std::optional<l3_ip_filter> ip_filter;
  std::optional<l3_ip6_filter> ip6_filter;
  std::optional<l3_url_filter> url_filter;
  std::optional<l3_mac_filter> mac_filter;
  std::optional<l3_mac_filter> mac6_filter;
  std::optional<l3_dhcp_filter> dhcp_filter;
  std::optional<l3_acl> acl;
  std::optional<l3_caporl> captive_portal;
  std::optional<bool> route_qos_enabled;
  std::optional<l3_qos_rules> route_qos_rules;
};

/* The minutes that the clock of spans in words is ahead of UTC; nothing where they are in UTC. */
inline std::optional<int> span_offset(const Settings& settings) {
  return settings.time_zone && !settings.time_zone->is_utc()
             ? std::optional(settings.time_zone->offset_minutes)
             : std::nullopt;
}

}  // namespace settings
