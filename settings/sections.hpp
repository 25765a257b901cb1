/* The sections of a settings text: each file reads and writes its own. */
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "settings/model.hpp"
#include "settings/object.hpp"

namespace settings {

using Json = nlohmann::ordered_json;

/* Where a section is read from: its node, its path, and the collector of its problems. */
struct Source {
  const Node& node;
  std::string path;
  Problems& problems;
};

/* Readers fill in their part of the settings; writers return null for a part that is not there. */
void read_time_zone(const Source& source, const TimeZone& stored, Settings& settings);
Json write_time_zone(const Settings& settings);
void read_firewall(const Source& source, Settings& settings);
Json write_firewall(const Settings& settings);
void read_security_level(const Source& source, Settings& settings);
void read_port_scan_protection(const Source& source, Settings& settings);
Json write_port_scan_protection(const Settings& settings);
void read_ipsec_pass_through(const Source& source, Settings& settings);
Json write_ipsec_pass_through(const Settings& settings);
void read_vpn_pass_through(const Source& source, Settings& settings);
Json write_vpn_pass_through(const Settings& settings);
void read_ip_filter(const Source& source, Settings& settings);
Json write_ip_filter(const Settings& settings);
void read_ip6_filter(const Source& source, Settings& settings);
Json write_ip6_filter(const Settings& settings);
void read_url_filter(const Source& source, Settings& settings);
Json write_url_filter(const Settings& settings);
void read_mac_filter(const Source& source, Settings& settings);
Json write_mac_filter(const Settings& settings);
void read_mac6_filter(const Source& source, Settings& settings);
Json write_mac6_filter(const Settings& settings);
void read_dhcp_filter(const Source& source, Settings& settings);
Json write_dhcp_filter(const Settings& settings);
void read_acl(const Source& source, Settings& settings);
Json write_acl(const Settings& settings);
void read_captive_portal(const Source& source, Settings& settings);
Json write_captive_portal(const Settings& settings);
void read_route_qos(const Source& source, Settings& settings);
Json write_route_qos(const Settings& settings);

/* Refuses a security level that the switches beside it contradict. */
void check_security_level(const Source& source, const Settings& settings);

/* The word that stands for `value`; a value without a word is written as the number it is. */
Json word_of(std::span<const Word> words, uint32_t value);

/* Writes a member that has no meaning for the library only where it is not zero. */
void write_unless_zero(Json& object, const char* key, uint32_t value);
void write_unless_zero(Json& object, const char* key, std::span<const uint8_t> bytes);

/* The entries of a region that are in use; a count beyond the area's ends stops at them. */
template <typename Region>
auto used_entries(const Region& region) {
  constexpr size_t capacity = std::size(decltype(region.entries){});
  const size_t used = region.count > 0 ? static_cast<size_t>(region.count) : 0;
  return std::span(region.entries).first(used < capacity ? used : capacity);
}

/* Reads the list `key` into the region's entries, one call of `read_entry(entry, node, path)` each. */
template <typename Region, typename ReadEntry>
void read_entries(Object& object, const char* key, Region& region, ReadEntry read_entry) {
  const auto nodes = object.list(key, std::size(region.entries));
  for (size_t i = 0; i < nodes.size(); ++i) {
    read_entry(region.entries[i], nodes[i], item_path(object.path_of(key), i));
  }
  region.count = static_cast<int32_t>(nodes.size());
}

}  // namespace settings
