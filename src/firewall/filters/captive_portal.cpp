/*
 * Captive-portal redirection: web requests of LAN clients reach the permitted destinations alone.
 *
 *   region   caporl of fw_rules_table (24-byte entries)
 *   chain    forward_ext_captiveportal (tcp 80 from br0)
 *   lists    no mode: always a list of permitted destinations, the rest dropped at the end
 *   rule     iptables -A forward_ext_captiveportal  -d 192.168.1.1 -j ACCEPT
 *   kept     two blanks before "-d"; an enabled portal with an empty list drops every request;
 *            after remove-all every request passes; a failed rule leaves requests free, not blocked
 */
#include "l3_advance/captive_portal.h"

#include "firewall/base/chains.hpp"
#include "firewall/base/command.hpp"
#include "firewall/base/log.hpp"
#include "firewall/base/region.hpp"
#include "firewall/base/state.hpp"
#include "l3_advance/configuration_file.h"
#include "l3_advance/records.h"
#include "l3_advance/rule_set.h"

using namespace l3;

namespace {

/* Kept: two blanks before "-d"; the line stands in the log, and in its error message, with both. A
 * text without its zero ends with its field. */
void build_rule(CommandLine& line, const l3_caporl_entry& entry) {
  static_assert(sizeof(entry.caporl_ip) == 20);
  line.append("iptables -A forward_ext_captiveportal  -d %.20s -j ACCEPT", entry.caporl_ip);
}

}  // namespace

extern "C" {

int32_t config_fw_caporl(void) {
  l3_caporl_entry entry;
  for (EntryWalk walk(fw_rules_table, fw_rules_table.caporl); walk.next(entry);) {
    if (entry.caporl_enable == 0) {
      continue;
    }
    CommandLine line;
    build_rule(line, entry);
    L3_LOG_DEBUG("\n==%s==\n", line.text());
    if (line.run() != 0) {
      // Kept: no drop then; after a failed rule web requests pass.
      flush_fw_ip(flush_captiveportal);
      // Kept: the message names the flush routine although a rule failed; it contains the line of
      // the rule.
      L3_LOG_ERROR("flush_fw_ip::str_system(%s) is err!\n", line.text());
      return -1;
    }
  }
  // Kept: also without an entry; an enabled portal with an empty list drops every request.
  str_system("iptables -A forward_ext_captiveportal -j DROP");
  return 0;
}

int32_t gl3_web_set_caporl_cfg(const l3_caporl* xi_pCaporlTableInfo) {
  l3_caporl& portal = fw_rules_table.caporl;
  platform::refresh_log_level();
  if (xi_pCaporlTableInfo == nullptr) {
    L3_LOG_ERROR("gl3_web_set_caporl_cfg::xi_pCaporlTableInfo NULLP err\r\n");
    return -1;
  }
  if (same_region(portal, *xi_pCaporlTableInfo)) {
    return 0;
  }
  replace_region(portal, *xi_pCaporlTableInfo);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_caporl_cfg::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  if (flush_fw_mac(flush_captiveportal) != 0) {
    return -1;
  }
  L3_LOG_DEBUG("\n==[fw_enable=%x,caporl_filter_ctrl=%x,caporlTable=%x]\n", fw_enable,
               portal.caporl_filter_ctrl, portal.count);
  if (fw_enable != 0 && portal.caporl_filter_ctrl != 0) {
    // Kept: a failed rule is only logged; the caller's settings are stored either way.
    config_fw_caporl();
  }
  return save_fw();
}

int32_t gl3_web_get_caporl_cfg(l3_caporl* xo_pCaporlTableInfo) {
  platform::refresh_log_level();
  if (xo_pCaporlTableInfo == nullptr) {
    L3_LOG_ERROR("gl3_web_get_caporl_cfg::xo_pCaporlTableInfo NULLP err\r\n");
    return -1;
  }
  if (get_firewall_rules_from_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_get_caporl_cfg::get_firewall_rules_from_cfgfile err!\n");
    return -1;
  }
  replace_region(*xo_pCaporlTableInfo, fw_rules_table.caporl);
  if (get_firewall_state_from_cfgfile(&fw_enable) == -1) {
    L3_LOG_ERROR("gl3_web_get_caporl_cfg::get_firewall_state_from_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_remove_all_caporl_rule(void) {
  platform::refresh_log_level();
  if (const int32_t result = flush_fw_mac(flush_captiveportal); result != 0) {
    L3_LOG_ERROR("gl3_web_remove_all_caporl_rule::flush_fw_mac err!\n");
    return result;
  }
  // Kept: no drop here, though setting an empty list ends in one: every request passes until the
  // rules are next generated.
  if (const int32_t result = save_fw(); result != 0) {
    L3_LOG_ERROR("gl3_web_remove_all_caporl_rule::save_fw err!\n");
    return result;
  }
  clear_entries(fw_rules_table.caporl);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_remove_all_caporl_rule::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_set_caporl_table_default(void) {
  platform::refresh_log_level();
  // Kept: the only flush of this filter whose failure does not stop the call; the stored portal is
  // cleared all the same.
  flush_fw_mac(flush_captiveportal);
  if (const int32_t result = save_fw(); result != 0) {
    L3_LOG_ERROR("gl3_web_set_caporl_table_default::save_fw err!\n");
    return result;
  }
  clear_region(fw_rules_table.caporl);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_caporl_table_default::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

}  // extern "C"
