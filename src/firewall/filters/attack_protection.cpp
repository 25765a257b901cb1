/*
 * Bad-TCP protection with anti port scan, and IPsec pass. IPv4 alone.
 *
 *   words    anti_port_scan and ipsec_pass_ctrl of fw_rules_table
 *   chains   input_ext_local_access and input_ext_local_access_ex (traffic to the gateway),
 *            forward_ext_bad_tcp (forwarded traffic); FORWARD itself for IPsec
 *   rule     iptables -A forward_ext_bad_tcp -p tcp ! --syn -m state --state NEW -j DROP
 *   kept     a scan setting is stored, written and applied even when it is the old one; resets
 *            above one a second are not dropped; a failed write of the file stops neither setter;
 *            the IPsec rules ignore the master switch
 */
#include "l3_advance/attack_protection.h"

#include <cstdio>

#include "firewall/base/chains.hpp"
#include "firewall/base/command.hpp"
#include "firewall/base/log.hpp"
#include "firewall/base/state.hpp"
#include "l3_advance/configuration_file.h"
#include "l3_advance/internet_wan.h"
#include "l3_advance/records.h"
#include "l3_advance/rule_set.h"

using namespace l3;

namespace {

/* Shuts the Internet WAN out of the gateway's own services. */
void drop_internet_wan() {
  if (gl3_update_internet_wan() == -1) {
    puts("[config_fw_bad_tcp]update Internet wan failed.save cfg first.");
    return;
  }
  printf("[config_fw_bad_tcp]update Internet wan to: %s.\n", internet_wan);
  CommandLine line;
  line.append("iptables -I input_ext_local_access_ex -i %s -j DROP", internet_wan);
  line.run_ignoring_result();
}

}  // namespace

extern "C" {

int32_t config_fw_bad_tcp(void) {
  // The jump first: the flush has removed it, and the drop of the WAN has to precede the other
  // rules.
  str_system("iptables -A input_ext_local_access -j input_ext_local_access_ex");
  drop_internet_wan();

  // In each chain the LOG rule precedes the DROP, which ends the traversal.
  str_system(
      "iptables -A input_ext_local_access -p tcp --tcp-flags SYN,ACK SYN,ACK -m state --state NEW "
      "-j DROP");
  str_system(
      "iptables -A input_ext_local_access -p tcp ! --syn -m state --state NEW -j LOG "
      "--log-prefix \"New not syn:\"");
  str_system("iptables -A input_ext_local_access -p tcp ! --syn -m state --state NEW -j DROP");
  str_system(
      "iptables -A forward_ext_bad_tcp -p tcp --tcp-flags SYN,ACK SYN,ACK -m state --state NEW "
      "-j DROP");
  str_system(
      "iptables -A forward_ext_bad_tcp -p tcp ! --syn -m state --state NEW -j LOG "
      "--log-prefix \"New not syn:\"");
  str_system("iptables -A forward_ext_bad_tcp -p tcp ! --syn -m state --state NEW -j DROP");

  // Kept: last, and without a drop behind them: resets above the limit continue through the chains
  // and reach their connections.
  str_system(
      "iptables -A input_ext_local_access -p tcp --tcp-flags SYN,ACK,FIN,RST RST -m limit "
      "--limit 1/s -j ACCEPT");
  str_system(
      "iptables -A forward_ext_bad_tcp -p tcp --tcp-flags SYN,ACK,FIN,RST RST -m limit "
      "--limit 1/s -j ACCEPT");
  return 0;
}

int32_t gl3_web_set_anti_port_scan(uint32_t control) {
  platform::refresh_log_level();
  // Kept: not compared with the old value, so setting it again also rebuilds the rules.
  fw_rules_table.anti_port_scan = control & 0xff;
  // Kept: a failed write does not stop the call; the rules follow memory, and the file's old
  // setting is back after a restart.
  set_firewall_rules_to_cfgfile();

  flush_fw_bad_tcp(flush_bad_tcp);
  str_system(flush_local_access);
  str_system(flush_local_access_ex);
  if (fw_enable != 0 && fw_rules_table.anti_port_scan != 0) {
    config_fw_bad_tcp();
  }
  return save_fw();
}

int32_t gl3_web_get_anti_port_scan(uint8_t* xo_control) {
  platform::refresh_log_level();
  if (xo_control == nullptr) {
    L3_LOG_ERROR("gl3_web_get_anti_port_scan::xo_control NULLP err\r\n");
    return -1;
  }
  if (get_firewall_rules_from_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_get_anti_port_scan::get_firewall_rules_from_cfgfile err!\n");
    return -1;
  }
  *xo_control = static_cast<uint8_t>(fw_rules_table.anti_port_scan);
  // The WAN binding relies on the master switch being read here too.
  if (get_firewall_state_from_cfgfile(&fw_enable) == -1) {
    L3_LOG_ERROR("gl3_web_get_anti_port_scan::get_firewall_state_from_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_set_ipsec_pass_ctrl(uint32_t control) {
  platform::refresh_log_level();
  if (control == fw_rules_table.ipsec_pass_ctrl) {
    return 0;
  }
  L3_LOG_DEBUG("\n=================set-ipsec_pass_ctrl=%d\n", control);
  fw_rules_table.ipsec_pass_ctrl = control;
  // Kept: a failed write does not stop this call either.
  set_firewall_rules_to_cfgfile();

  // Kept: the master switch is not tested; IPsec is blocked with the firewall off, too.
  // Deleted first, whether they exist or not, so that blocking leaves each rule once.
  str_system("iptables -t filter -D FORWARD -p udp --sport 500 --dport 500 -j DROP");
  str_system("iptables -t filter -D FORWARD -p udp --sport 4500 --dport 4500 -j DROP");
  if (control == 0) {
    str_system("iptables -t filter -A FORWARD -p udp --sport 500 --dport 500 -j DROP");
    str_system("iptables -t filter -A FORWARD -p udp --sport 4500 --dport 4500 -j DROP");
  }
  return save_fw();
}

int32_t gl3_web_get_ipsec_pass_ctrl(uint32_t* xo_control) {
  platform::refresh_log_level();
  if (xo_control == nullptr) {
    L3_LOG_ERROR("gl3_web_get_ipsec_pass_ctrl::xo_control NULLP err\r\n");
    return -1;
  }
  if (get_firewall_rules_from_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_get_ipsec_pass_ctrl::get_firewall_rules_from_cfgfile err!\n");
    return -1;
  }
  *xo_control = fw_rules_table.ipsec_pass_ctrl;
  L3_LOG_DEBUG("get ipsec_pass_ctrl=%d\n", fw_rules_table.ipsec_pass_ctrl);
  return 0;
}

}  // extern "C"
