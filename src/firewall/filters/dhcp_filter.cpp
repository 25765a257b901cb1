/*
 * The DHCP client MAC filter: which LAN devices get an address from the gateway. IPv4 alone.
 *
 *   region   dhcp_filter of fw_rules_table (20-byte entries)
 *   chain    input_ext_dhcp (udp 67 from br0)
 *   lists    exactly 1 white list (match accepted, the rest dropped by a catch-all at the end),
 *            anything else black list (match dropped)
 *   rule     iptables -A input_ext_dhcp -m mac --mac-source 00:11:22:aa:bb:cc -j DROP
 *   kept     regeneration leaves this filter out, so its rules last until the chain is next
 *            flushed; an entry's flag is not tested; remove-all adds no catch-all; flushed through
 *            flush_fw_mac
 */
#include "l3_advance/dhcp_filter.h"

#include "firewall/base/chains.hpp"
#include "firewall/base/command.hpp"
#include "firewall/base/log.hpp"
#include "firewall/base/region.hpp"
#include "firewall/base/state.hpp"
#include "l3_advance/address.h"
#include "l3_advance/configuration_file.h"
#include "l3_advance/records.h"
#include "l3_advance/rule_set.h"

using namespace l3;

namespace {

// Kept: exactly 1, as in the MAC filter; with any other mode the rest is served, where the URL
// filter would take 2 for a white list.
constexpr uint32_t white_list_mode = 1;

void build_rule(CommandLine& line, const l3_dhcp_entry& entry, bool white_list) {
  char address[18] = {};
  gl3_web_mac_bin_to_str(address, entry.mac);
  line.append("iptables -A input_ext_dhcp -m mac --mac-source %s%s", address,
              white_list ? " -j ACCEPT" : " -j DROP");
}

}  // namespace

extern "C" {

int32_t config_fw_dhcp(void) {
  const l3_dhcp_filter& filter = fw_rules_table.dhcp_filter;
  l3_dhcp_entry entry;
  for (EntryWalk walk(fw_rules_table, filter); walk.next(entry);) {
    // Kept: dhcp_entry_flag is not tested; an entry whose flag is 0 makes a rule, too.
    CommandLine line;
    build_rule(line, entry, filter.dhcp_black_white == white_list_mode);
    L3_LOG_DEBUG("\n==%s==\n", line.text());
    if (line.run() != 0) {
      flush_fw_mac(flush_dhcp);
      L3_LOG_ERROR("config_fw_dhcp::str_system(%s) is err!\n", line.text());
      return -1;
    }
  }
  L3_LOG_DEBUG("[dhcp_mac_filter_ctrl=%x]\n", filter.dhcp_mac_filter_ctrl);
  if (filter.dhcp_black_white == white_list_mode) {
    str_system("iptables -A input_ext_dhcp -j DROP");
  }
  return 0;
}

int32_t gl3_web_set_dhcp_cfg(const l3_dhcp_filter* xi_pDhcpMacTableInfo) {
  l3_dhcp_filter& filter = fw_rules_table.dhcp_filter;
  platform::refresh_log_level();
  if (xi_pDhcpMacTableInfo == nullptr) {
    L3_LOG_ERROR("gl3_web_set_dhcp_cfg::xi_pDhcpMacTableInfo NULLP err\r\n");
    return -1;
  }
  if (same_region(filter, *xi_pDhcpMacTableInfo)) {
    return 0;
  }
  replace_region(filter, *xi_pDhcpMacTableInfo);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_dhcp_cfg::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  if (flush_fw_mac(flush_dhcp) != 0) {
    return -1;
  }
  L3_LOG_DEBUG("\n==[fw_enable=%x,dhcp_mac_filter_ctrl=%x,dhcpTable=%x]\n", fw_enable,
               filter.dhcp_mac_filter_ctrl, filter.count);
  if (fw_enable != 0 && filter.dhcp_mac_filter_ctrl != 0) {
    // Kept: a failed rule is only logged; the caller's settings are stored either way.
    config_fw_dhcp();
  }
  return save_fw();
}

int32_t gl3_web_get_dhcp_cfg(l3_dhcp_filter* xo_pDhcpMacTableInfo) {
  platform::refresh_log_level();
  if (xo_pDhcpMacTableInfo == nullptr) {
    L3_LOG_ERROR("gl3_web_get_dhcp_cfg::xo_pDhcpMacTableInfo NULLP err\r\n");
    return -1;
  }
  if (get_firewall_rules_from_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_get_dhcp_cfg::get_firewall_rules_from_cfgfile err!\n");
    return -1;
  }
  replace_region(*xo_pDhcpMacTableInfo, fw_rules_table.dhcp_filter);
  if (get_firewall_state_from_cfgfile(&fw_enable) == -1) {
    L3_LOG_ERROR("gl3_web_get_dhcp_cfg::get_firewall_state_from_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_remove_all_dhcp_rule(void) {
  platform::refresh_log_level();
  if (const int32_t result = flush_fw_mac(flush_dhcp); result != 0) {
    L3_LOG_ERROR("gl3_web_remove_all_dhcp_rule::flush_fw_mac err!\n");
    return result;
  }
  // Kept: no catch-all even for a white list: with no entry left, every client is served.
  if (const int32_t result = save_fw(); result != 0) {
    L3_LOG_ERROR("gl3_web_remove_all_dhcp_rule::save_fw err!\n");
    return result;
  }
  clear_entries(fw_rules_table.dhcp_filter);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_remove_all_dhcp_rule::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_set_dhcp_table_default(void) {
  platform::refresh_log_level();
  if (const int32_t result = flush_fw_mac(flush_dhcp); result != 0) {
    L3_LOG_ERROR("gl3_web_set_dhcp_table_default::flush_fw_mac err!\n");
    return result;
  }
  if (const int32_t result = save_fw(); result != 0) {
    L3_LOG_ERROR("gl3_web_set_dhcp_table_default::save_fw err!\n");
    return result;
  }
  clear_region(fw_rules_table.dhcp_filter);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_dhcp_table_default::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

}  // extern "C"
