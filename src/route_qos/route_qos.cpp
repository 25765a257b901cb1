/*
 * Route QoS: a table of classification rules and its switch, for the forwarding hardware.
 *
 *   record   RtQoSRulesTable: the switch and 244 bytes of rules, carried as they are
 *   sent to  the platform, as the address of the whole record; no packet-filter rule
 *   kept     a set with the switch off empties the record in memory and not in the file; turning
 *            the switch off leaves the rules in what the platform gets; some messages name another
 *            call, or routines that are not the ones called
 */
#include "l3_advance/route_qos.h"

#include <cstring>

#include "firewall/base/log.hpp"
#include "firewall/base/region.hpp"
#include "l3_advance/configuration_file.h"

using namespace l3;

extern "C" {

int32_t gl3_web_set_route_qos(const l3_qos_rules* xi_rulesTale) {
  l3_qos_rules& rules = RtQoSRulesTable.rules;
  platform::refresh_log_level();
  if (xi_rulesTale == nullptr) {
    L3_LOG_ERROR("gl3_web_set_route_qos:: xi_rulesTale NULLP err\r\n");
    return -1;
  }
  L3_LOG_DEBUG(
      "==========RulesNum=%d, QoSType=%x, Protocol=%d, SrcIp=%x, DstIp=%x, control=%d========\n",
      xi_rulesTale->RulesNum, xi_rulesTale->QoSType, xi_rulesTale->Protocol, xi_rulesTale->SrcIp,
      xi_rulesTale->DstIp, xi_rulesTale->control);
  if (rules.RulesNum == xi_rulesTale->RulesNum &&
      memcmp(&rules, xi_rulesTale, sizeof(rules)) == 0) {
    return 0;
  }
  replace_region(rules, *xi_rulesTale);
  if (set_qos_cfg_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_route_qos::set_qos_cfg_to_cfgfile err!\n");
    return -1;
  }
  // Kept: the platform gets an empty table while the switch is off; only the file has the rules.
  if (RtQoSRulesTable.control == 0) {
    clear_region(RtQoSRulesTable);
  }
  const int32_t result = platform::set_qos_cfg(&RtQoSRulesTable);
  if (result == -1) {
    // Kept: there is no routine of this name, nor of the get_qos_rules_from_cfgfile below: these
    // are the names of gpon_l3_set_qos_cfg and get_qos_cfg_from_cfgfile in the log.
    L3_LOG_ERROR("gl3_web_set_route_qos::gpon_l3_set_qos_rules err!\n");
  }
  return result;
}

int32_t gl3_web_get_route_qos(l3_qos_rules* xo_rulesTale) {
  platform::refresh_log_level();
  if (xo_rulesTale == nullptr) {
    // Kept: the text of the set call; only the line number distinguishes a null pointer here from
    // one there.
    L3_LOG_ERROR("gl3_web_set_route_qos:: xi_rulesTale NULLP err\r\n");
    return -1;
  }
  const int32_t result = get_qos_cfg_from_cfgfile();
  if (result == -1) {
    L3_LOG_ERROR("gl3_web_get_route_qos::get_qos_rules_from_cfgfile err!\n");
    return -1;
  }
  replace_region(*xo_rulesTale, RtQoSRulesTable.rules);
  return result;
}

int32_t gl3_web_set_route_qos_control(int32_t xi_ctrl) {
  platform::refresh_log_level();
  if (xi_ctrl < 0 || xi_ctrl > 1) {
    L3_LOG_ERROR("gl3_web_set_route_qos_control::xi_ctrl =%d err\n", xi_ctrl);
    return -1;
  }
  if (RtQoSRulesTable.control == xi_ctrl) {
    return 0;
  }
  RtQoSRulesTable.control = xi_ctrl;
  if (set_qos_cfg_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_route_qos_control::set_qos_cfg_to_cfgfile err!\n");
    return -1;
  }
  // Kept: the rules are not zeroed when the switch goes off, unlike in the set call: the platform
  // gets them beside a switch of 0.
  const int32_t result = platform::set_qos_cfg(&RtQoSRulesTable);
  if (result == -1) {
    // Kept: the text of the set call; a refused switch looks like refused rules.
    L3_LOG_ERROR("gl3_web_set_route_qos::gpon_l3_set_qos_rules err!\n");
  }
  return result;
}

int32_t gl3_web_get_route_qos_control(int32_t* xo_ctrl) {
  platform::refresh_log_level();
  if (xo_ctrl == nullptr) {
    L3_LOG_ERROR("gl3_web_get_route_qos_control::xo_ctrl NULLP err\r\n");
    return -1;
  }
  const int32_t result = get_qos_cfg_from_cfgfile();
  if (result == -1) {
    L3_LOG_ERROR("gl3_web_get_route_qos_control::get_qos_rules_from_cfgfile err!\n");
    return -1;
  }
  *xo_ctrl = RtQoSRulesTable.control;
  return result;
}

int32_t gl3_web_remove_all_qos_cfg(void) {
  const l3_qos_rules empty = {};
  platform::refresh_log_level();
  const int32_t result = gl3_web_set_route_qos(&empty);
  if (result == -1) {
    L3_LOG_ERROR("gl3_web_remove_all_qos_cfg::gl3_web_set_route_qos err!\n");
  }
  return result;
}

int32_t gl3_init_qos(void) {
  if (get_qos_cfg_from_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_init_qos::get_qos_rules_from_cfgfile err!\n");
    return -1;
  }
  // Kept: the table is sent as loaded, also when its switch is off, so until the next set call the
  // platform has rules that such a call would have left out.
  const int32_t result = platform::set_qos_cfg(&RtQoSRulesTable);
  if (result == -1) {
    L3_LOG_ERROR("gl3_init_qos::gpon_l3_set_qos_rules err!\n");
  }
  return result;
}

}  // extern "C"
