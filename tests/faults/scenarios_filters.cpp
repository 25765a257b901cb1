#include <cstring>

#include "scenarios.hpp"

namespace scenarios {

namespace {

/* Two entries where the sample configuration has one, in a white list. */

const l3_ip_filter& ip_image() {
  static l3_ip_filter image;
  image.count = 2;
  image.entries[0].protocol = 6;
  image.entries[0].src_ip = 0xc0a80114;
  image.entries[0].dst_port_s = 22;
  image.entries[0].dst_port_e = 23;
  image.entries[1].protocol = 17;
  image.entries[1].direction = 1;
  image.us_black_white = 1;
  image.ds_black_white = 1;
  return image;
}

const l3_ip6_filter& ip6_image() {
  static l3_ip6_filter image;
  image.count = 2;
  image.entries[0].protocol = 6;
  image.entries[0].src_ip[0] = 0xfd;
  image.entries[0].dst_ip[15] = 9;
  image.entries[1].protocol = 17;
  image.entries[1].direction = 1;
  image.us_black_white = 1;
  image.ds_black_white = 1;
  return image;
}

const l3_url_filter& url_image() {
  static l3_url_filter image;
  image.count = 2;
  for (int i = 0; i < 2; ++i) {
    image.entries[i].url_enable = 1;
    strcpy(image.entries[i].url, i == 0 ? "home.example" : "$(reboot)\"`.example");
    image.entries[i].start_hour = 22;
    image.entries[i].stop_hour = 24;
  }
  image.url_black_white = 1;
  image.url_filter_ctrl = 1;
  return image;
}

const l3_mac_filter& mac_image() {
  static l3_mac_filter image;
  image.count = 2;
  for (int i = 0; i < 2; ++i) {
    image.entries[i].mac_enable = 1;
    image.entries[i].mac[5] = static_cast<uint8_t>(7 + i);
    image.entries[i].stop_hour = 6;
  }
  image.mac_black_white = 1;
  image.mac_filter_ctrl = 1;
  return image;
}

const l3_dhcp_filter& dhcp_image() {
  static l3_dhcp_filter image;
  image.count = 2;
  image.entries[0].mac[0] = 0x02;
  image.entries[1].mac[5] = 0x09;
  image.dhcp_black_white = 1;
  image.dhcp_mac_filter_ctrl = 1;
  return image;
}

const l3_acl& acl_image() {
  static l3_acl image;
  image.count = 2;
  // A range of two prefixes from the LAN, and everything from the WAN.
  image.entries[0] = {1, 1, 0, 0xc0a80102, 0xc0a80105};
  image.entries[1] = {1, 0, 1, 0, 0};
  image.acl_filter_ctrl = 1;
  return image;
}

const l3_caporl& caporl_image() {
  static l3_caporl image;
  image.count = 2;
  for (int i = 0; i < 2; ++i) {
    image.entries[i].caporl_enable = 1;
    strcpy(image.entries[i].caporl_ip, i == 0 ? "192.0.2.1" : "192.0.2.2");
  }
  image.caporl_filter_ctrl = 1;
  return image;
}

/* A get call, into a region of its own. */
template <typename Region>
std::function<int32_t()> get(int32_t (*call)(Region*)) {
  return [call] {
    static Region region;
    return call(&region);
  };
}

/* A set call of an IPv6 filter. */
Scenario set6(const std::string& name, std::function<int32_t()> act, const Range& owns) {
  Scenario scenario = plain(name, std::move(act), {owns});
  scenario.makes_rules6_last = true;
  return scenario;
}

}  // namespace

List ip_filters() {
  return {
      plain("config_fw_ip", config_fw_ip),
      plain("config_fw6_ip", config_fw6_ip),
      plain("gl3_web_get_firewall_cfg", get(gl3_web_get_firewall_cfg)),
      plain("gl3_web_get_firewall6_cfg", get(gl3_web_get_firewall6_cfg)),
      plain("gl3_web_set_firewall_cfg", [] { return gl3_web_set_firewall_cfg(&ip_image()); },
            {ip_filter}),
      set6(
          "gl3_web_set_firewall6_cfg", [] { return gl3_web_set_firewall6_cfg(&ip6_image()); },
          ip6_filter),
      plain("gl3_web_remove_all_firewall_rule", gl3_web_remove_all_firewall_rule, {ip_filter}),
      plain("gl3_web_remove_all_firewall6_rule", gl3_web_remove_all_firewall6_rule, {ip6_filter}),
      plain("gl3_web_set_ip_table_default", gl3_web_set_ip_table_default, {ip_filter, ip6_filter}),
  };
}

List url_filters() {
  return {
      plain("config_fw_url", config_fw_url),
      plain("gl3_web_get_url_cfg", get(gl3_web_get_url_cfg)),
      plain("gl3_web_set_url_cfg", [] { return gl3_web_set_url_cfg(&url_image()); }, {url_filter}),
      plain("gl3_web_remove_all_url_rule", gl3_web_remove_all_url_rule, {url_filter}),
      plain("gl3_web_set_url_table_default", gl3_web_set_url_table_default, {url_filter}),
  };
}

List mac_filters() {
  return {
      plain("config_fw_mac", config_fw_mac),
      plain("config_fw6_mac", config_fw6_mac),
      plain("gl3_web_get_mac_cfg", get(gl3_web_get_mac_cfg)),
      plain("gl3_web_get_mac6_cfg", get(gl3_web_get_mac6_cfg)),
      plain("gl3_web_set_mac_cfg", [] { return gl3_web_set_mac_cfg(&mac_image()); }, {mac_filter}),
      set6(
          "gl3_web_set_mac6_cfg", [] { return gl3_web_set_mac6_cfg(&mac_image()); }, mac6_filter),
      plain("gl3_web_remove_all_mac_rule", gl3_web_remove_all_mac_rule, {mac_filter}),
      plain("gl3_web_remove_all_mac6_rule", gl3_web_remove_all_mac6_rule, {mac6_filter}),
      plain("gl3_web_set_mac_table_default", gl3_web_set_mac_table_default,
            {mac_filter, mac6_filter}),
  };
}

List dhcp_filters() {
  return {
      plain("config_fw_dhcp", config_fw_dhcp),
      plain("gl3_web_get_dhcp_cfg", get(gl3_web_get_dhcp_cfg)),
      plain("gl3_web_set_dhcp_cfg", [] { return gl3_web_set_dhcp_cfg(&dhcp_image()); },
            {dhcp_filter}),
      plain("gl3_web_remove_all_dhcp_rule", gl3_web_remove_all_dhcp_rule, {dhcp_filter}),
      plain("gl3_web_set_dhcp_table_default", gl3_web_set_dhcp_table_default, {dhcp_filter}),
  };
}

List access_lists() {
  constexpr char head[] = "iptables -A input_ext_us_acl -p tcp --dport 80 -s ";
  constexpr char tail[] = " -j ACCEPT";
  return {
      plain("config_acl_ip_range",
            [=] { return config_acl_ip_range(head, tail, 0xc0a801fe, 0xc0a80302); }),
      plain("config_acl_ip_range_24_mask",
            [=] { return config_acl_ip_range_24_mask(head, tail, 0xc0a80101, 0xc0a80106); }),
      plain("config_acl_ip_range_16_mask",
            [=] { return config_acl_ip_range_16_mask(head, tail, 0xc0a80100, 0xc0a80600); }),
      plain("config_fw_acl", config_fw_acl),
      plain("gl3_web_get_acl_cfg", get(gl3_web_get_acl_cfg)),
      plain("gl3_web_set_acl_cfg", [] { return gl3_web_set_acl_cfg(&acl_image()); }, {acl}),
      plain("gl3_web_remove_all_acl_rule", gl3_web_remove_all_acl_rule, {acl}),
      plain("gl3_web_set_acl_table_default", gl3_web_set_acl_table_default, {acl}),
  };
}

List captive_portals() {
  return {
      plain("config_fw_caporl", config_fw_caporl),
      plain("gl3_web_get_caporl_cfg", get(gl3_web_get_caporl_cfg)),
      plain("gl3_web_get_caporl_status", get(gl3_web_get_caporl_status)),
      plain("gl3_web_set_caporl_cfg", [] { return gl3_web_set_caporl_cfg(&caporl_image()); },
            {caporl}),
      plain("gl3_web_set_caporl_enable", [] { return gl3_web_set_caporl_enable(0); },
            {switch_line}),
      plain("gl3_web_remove_all_caporl_rule", gl3_web_remove_all_caporl_rule, {caporl}),
      plain("gl3_web_set_caporl_table_default", gl3_web_set_caporl_table_default, {caporl}),
  };
}

}  // namespace scenarios
