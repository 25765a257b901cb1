#include "settings/stored_file/image.hpp"

#include <cstring>

#include "settings/stored_file/layout.hpp"

namespace settings {

namespace {

constexpr std::string_view vpn_key = "vpn_pass_through=";
constexpr std::string_view firewall_key = "fire_wall=";

/* Whether the two value bytes behind `offset` are those of a switch that is on. */
bool is_on(std::string_view image, size_t offset) {
  return image.substr(offset, 2) == "1\n";
}

template <typename Region>
Region region_at(std::string_view image, size_t offset) {
  Region region;
  std::memcpy(&region, image.data() + offset, sizeof region);
  return region;
}

}  // namespace

Settings settings_of(std::string_view image) {
  const auto fw = region_at<l3_fw_rules>(image, fw_offset);
  const auto qos = region_at<l3_route_qos>(image, qos_offset);
  const auto fw6 = region_at<l3_fw6_rules>(image, fw6_offset);
  Settings settings;
  settings.firewall = firewall_of(image);
  settings.port_scan_protection = fw.anti_port_scan != 0;
  settings.ipsec_pass_through = fw.ipsec_pass_ctrl != 0;
  settings.vpn_pass_through = vpn_of(image);
  settings.ip_filter = fw.ip_filter;
  settings.ip6_filter = fw6.ip_filter;
  settings.url_filter = fw.url_filter;
  settings.mac_filter = fw.mac_filter;
  settings.mac6_filter = fw6.mac_filter;
  settings.dhcp_filter = fw.dhcp_filter;
  settings.acl = fw.acl;
  settings.captive_portal = fw.caporl;
  settings.route_qos_enabled = qos.control != 0;
  settings.route_qos_rules = qos.rules;
  return settings;
}

bool vpn_of(std::string_view image) {
  return is_on(image, vpn_line_offset + vpn_key.size());
}

bool firewall_of(std::string_view image) {
  return is_on(image, firewall_line_offset + firewall_key.size());
}

std::string with_clean_lines(std::string_view image) {
  std::string lines(vpn_key);
  lines += vpn_of(image) ? "1\n" : "0\n";
  lines += firewall_key;
  lines += firewall_of(image) ? "1\n" : "0\n";
  return lines.append(image.substr(lines.size()));
}

}  // namespace settings
