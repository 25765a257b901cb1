/*
 * The master switch, the security level on top of it, the factory reset, and the two switch calls
 * of the captive portal.
 *
 *   switch   fw_enable in memory, "fire_wall=" in the configuration file; tested before every
 *            generator
 *   level    security_level of both records: 0 off, 1 on, 2 on with anti port scan; a view of the
 *            switch and of anti_port_scan, which decide what is generated
 *   kept     switching off saves nothing; reading the level writes the records; the portal's enable
 *            call switches the whole firewall
 */
#include <cstdio>

#include "firewall/base/command.hpp"
#include "firewall/base/log.hpp"
#include "firewall/base/state.hpp"
#include "l3_advance/access_list.h"
#include "l3_advance/attack_protection.h"
#include "l3_advance/captive_portal.h"
#include "l3_advance/configuration_file.h"
#include "l3_advance/dhcp_filter.h"
#include "l3_advance/firewall.h"
#include "l3_advance/internet_wan.h"
#include "l3_advance/ip_filter.h"
#include "l3_advance/mac_filter.h"
#include "l3_advance/records.h"
#include "l3_advance/route_qos.h"
#include "l3_advance/rule_set.h"
#include "l3_advance/shell_command.h"
#include "l3_advance/url_filter.h"

using namespace l3;

namespace {

/* Kept: IPv4 alone. The IPv6 dispatch stays as the layer-3 control daemon has bound it. */
void bind_internet_wan() {
  if (gl3_update_internet_wan() == -1) {
    puts("[gl3_web_set_fw_status]update Internet wan failed.save cfg first.");
    return;
  }
  printf("[gl3_web_set_fw_status]ok update Internet wan to: %s.\n", internet_wan);
  CommandLine downstream;
  downstream.append("iptables -A forward_ext_ip -i %s -j forward_ext_ds_ip", internet_wan);
  CommandLine services;
  services.append("iptables -A input_ext_acl -i %s -j input_ext_ds_acl", internet_wan);

  str_system("iptables -F forward_ext_ip");
  str_system("iptables -F input_ext_acl");
  str_system("iptables -A forward_ext_ip -i br0 -j forward_ext_us_ip");
  str_system("iptables -A input_ext_acl -i br0 -j input_ext_us_acl");
  downstream.run_ignoring_result();
  services.run_ignoring_result();
}

int32_t switch_on() {
  if (flush_fw() == -1) {  // LCOV_EXCL_BR_LINE: both flush calls always return 0
    L3_LOG_ERROR("gl3_web_set_fw_status::flush_fw err!\n");  // LCOV_EXCL_LINE
    return -1;                                               // LCOV_EXCL_LINE
  }
  if (flush_fw6() == -1) {                                    // LCOV_EXCL_BR_LINE: as above
    L3_LOG_ERROR("gl3_web_set_fw_status::flush_fw6 err!\n");  // LCOV_EXCL_LINE
    return -1;                                                // LCOV_EXCL_LINE
  }
  if (get_firewall_rules_from_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_fw_status::get_firewall_rules_from_cfgfile err!\n");
    return -1;
  }
  if (config_fw() != 0 || config_fw6() != 0) {  // LCOV_EXCL_BR_LINE: both always return 0
    return -1;                                  // LCOV_EXCL_LINE
  }
  bind_internet_wan();
  return save_fw() == 0 && save_fw6() == 0 ? 0 : -1;
}

/* Kept: nothing is saved, so the save files still hold the rules of the last time it was on. */
int32_t switch_off() {
  return flush_fw() == 0 && flush_fw6() == 0 ? 0 : -1;  // LCOV_EXCL_BR_LINE: both return 0
}

void store_level(uint32_t level) {
  fw_rules_table.security_level = level;
  fw6_rules_table.security_level = level;
}

}  // namespace

extern "C" {

int32_t gl3_web_set_fw_status(uint32_t control) {
  platform::refresh_log_level();
  const auto state = static_cast<uint8_t>(control);
  if (state > 1) {
    L3_LOG_ERROR("gl3_web_set_fw_status::control =%d err\n", state);
    return -1;
  }
  // First, since it is tested before the generators. Kept: not undone when a later step fails.
  fw_enable = state;
  if ((fw_enable == 1 ? switch_on() : switch_off()) != 0) {
    return -1;
  }
  const int32_t result = set_firewall_state_to_cfgfile(fw_enable);
  if (result == -1) {
    L3_LOG_ERROR("gl3_web_set_fw_status::set_firewall_state_to_cfgfile err!\n");
  }
  return result;
}

int32_t gl3_web_get_fw_status(uint8_t* xo_control) {
  platform::refresh_log_level();
  if (xo_control == nullptr) {
    L3_LOG_ERROR("gl3_web_get_fw_status::xo_control NULLP err\r\n");
    return -1;
  }
  uint8_t state = 0;
  if (get_firewall_state_from_cfgfile(&state) == -1) {
    L3_LOG_ERROR("gl3_web_get_fw_status::get_firewall_state_from_cfgfile err!\n");
    return -1;
  }
  fw_enable = state;
  *xo_control = state;
  return 0;
}

int32_t gl3_web_set_fw_security_level(int32_t fw_level) {
  platform::refresh_log_level();
  if (fw_level < 0 || fw_level > 2) {
    L3_LOG_ERROR("gl3_web_set_fw_security_level::fw_level =%d err\n", fw_level);
    return -1;
  }
  store_level(static_cast<uint32_t>(fw_level));
  const int32_t result = set_firewall_rules_to_cfgfile();
  if (result == -1) {
    L3_LOG_ERROR("gl3_web_set_fw_security_level::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  // Kept: the level is stored; the results of the switch calls are ignored.
  if (fw_level == 0) {
    gl3_web_set_fw_status(0);
  } else {
    gl3_web_set_fw_status(1);
    gl3_web_set_anti_port_scan(fw_level == 2 ? 1 : 0);
  }
  return result;
}

int32_t gl3_web_get_fw_security_level(int32_t* xo_fw_level) {
  platform::refresh_log_level();
  if (xo_fw_level == nullptr) {
    L3_LOG_ERROR("gl3_web_get_fw_security_level::xo_fw_level NULLP err\r\n");
    return -1;
  }
  if (get_firewall_rules_from_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_get_fw_security_level::get_firewall_rules_from_cfgfile err!\n");
    return -1;
  }
  // Kept: the switch is the one in memory, not the one in the file.
  if (fw_enable == 0) {
    store_level(0);
  } else if (fw_rules_table.anti_port_scan == 0) {
    store_level(1);
  } else if (fw_rules_table.anti_port_scan == 1) {
    store_level(2);
  }
  // Kept: a getter that writes, so that the stored level follows the switches.
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_get_fw_security_level::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  *xo_fw_level = static_cast<int32_t>(fw_rules_table.security_level);
  return 0;
}

int32_t gl3_web_set_firewall_default(void) {
  platform::refresh_log_level();
  if (const int32_t result = gl3_web_set_fw_status(0); result != 0) {
    L3_LOG_ERROR("gl3_web_set_firewall_default::gl3_web_set_fw_status err!\n");
    return result;
  }
  if (const int32_t result = gl3_web_set_anti_port_scan(0); result != 0) {
    L3_LOG_ERROR("gl3_web_set_firewall_default::gl3_web_set_anti_port_scan err!\n");
    return result;
  }
  // Kept: in memory alone; it has an effect only where the next step fails before it clears both
  // regions.
  fw_rules_table.ip_filter.ip_filter_ctrl = 0;
  fw6_rules_table.ip_filter.ip_filter_ctrl = 0;
  if (const int32_t result = gl3_web_set_ip_table_default(); result != 0) {
    L3_LOG_ERROR("gl3_web_set_firewall_default::gl3_web_set_ip_table_default err!\n");
    return result;
  }
  if (const int32_t result = gl3_web_set_url_table_default(); result != 0) {
    L3_LOG_ERROR("gl3_web_set_firewall_default::gl3_web_set_url_table_default err!\n");
    return result;
  }
  if (const int32_t result = gl3_web_set_mac_table_default(); result != 0) {
    L3_LOG_ERROR("gl3_web_set_firewall_default::gl3_web_set_mac_table_default err!\n");
    return result;
  }
  if (const int32_t result = gl3_web_set_acl_table_default(); result != 0) {
    L3_LOG_ERROR("gl3_web_set_firewall_default::gl3_web_set_acl_table_default err!\n");
    return result;
  }
  if (const int32_t result = gl3_web_set_caporl_table_default(); result != 0) {
    L3_LOG_ERROR("gl3_web_set_firewall_default::gl3_web_set_caporl_table_default err!\n");
    return result;
  }
  // Kept: these two do not stop the reset, so the QoS rules below are removed in any case.
  gl3_web_set_dhcp_table_default();
  gl3_web_set_route_qos_control(0);
  const int32_t result = gl3_web_remove_all_qos_cfg();
  if (result != 0) {
    L3_LOG_ERROR("gl3_web_set_firewall_default::gl3_web_remove_all_qos_cfg err!\n");
  }
  return result;
}

int32_t gl3_web_get_caporl_status(uint32_t* xo_status) {
  // Kept: a switch that cannot be read counts as off.
  uint8_t firewall = 0;
  gl3_web_get_fw_status(&firewall);
  l3_caporl portal = {};
  gl3_web_get_caporl_cfg(&portal);
  *xo_status = firewall != 0 && portal.caporl_filter_ctrl != 0 ? 1 : 0;
  return 0;
}

int32_t gl3_web_set_caporl_enable(uint32_t enable) {
  // Kept: the portal works only while the firewall is on, so its switch is the firewall's.
  gl3_web_set_fw_status(enable & 0xff);
  return 0;
}

}  // extern "C"
