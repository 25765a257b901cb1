/*
 * Binding the rule set to the Internet WAN: the dispatch rules that separate upstream traffic (from
 * br0) from downstream traffic (from the WAN), and the drop of the WAN that belongs to anti port
 * scan.
 *
 * The layer-3 control daemon clears and then updates whenever the WAN changes. Every message goes
 * to standard output.
 */
#include <cstdio>
#include <cstring>

#include "firewall/base/chains.hpp"
#include "firewall/base/command.hpp"
#include "firewall/base/state.hpp"
#include "l3_advance/attack_protection.h"
#include "l3_advance/configuration_file.h"
#include "l3_advance/internet_wan.h"

using namespace l3;

namespace {

/* Kept: appended without a flush. The daemon clears first; otherwise the rules exist twice. */
void append_dispatch_rules() {
  CommandLine downstream;
  downstream.append("iptables -A forward_ext_ip -i %s -j forward_ext_ds_ip", internet_wan);
  CommandLine downstream6;
  downstream6.append("ip6tables -A forward_ext_ip -i %s -j forward_ext_ds_ip", internet_wan);
  CommandLine services;
  services.append("iptables -A input_ext_acl -i %s -j input_ext_ds_acl", internet_wan);

  str_system("iptables -A forward_ext_ip -i br0 -j forward_ext_us_ip");
  downstream.run_ignoring_result();
  str_system("ip6tables -A forward_ext_ip -i br0 -j forward_ext_us_ip");
  downstream6.run_ignoring_result();
  str_system("iptables -A input_ext_acl -i br0 -j input_ext_us_acl");
  services.run_ignoring_result();
}

}  // namespace

extern "C" {

int32_t gl3_update_firewall(void) {
  printf("[gl3_update_firewall]begin to update firewall interface %s.\n", internet_wan);
  append_dispatch_rules();

  if (get_firewall_state_from_cfgfile(&fw_enable) == -1) {
    puts("[gl3_update_firewall]get_firewall_state_from_cfgfile err!");
    return -1;
  }
  if (fw_enable == 0) {
    puts("[gl3_update_firewall]firewall is disable,update anti port was canceled!");
    return 0;
  }

  // Kept: a switch that cannot be read counts as off, which lets the WAN in again.
  uint8_t anti_port_scan = 0;
  gl3_web_get_anti_port_scan(&anti_port_scan);
  printf("[gl3_update_firewall]anti_port_scan is %d\n", anti_port_scan);
  if (anti_port_scan != 0) {
    CommandLine line;
    line.append("iptables -I input_ext_local_access_ex -i %s -j DROP", internet_wan);
    line.run_ignoring_result();
  } else {
    str_system(flush_local_access_ex);
  }
  return 0;
}

int32_t gl3_l3ctl_update_firewall(const char* ifname) {
  if (ifname == nullptr) {
    puts("[gl3_l3ctl_update_firewall]ifname is NULL,err!");
    return -1;
  }
  const size_t length = strlen(ifname);
  if (length >= sizeof(internet_wan)) {
    printf("[gl3_l3ctl_update_firewall]ifname %s is too long,err!\n", ifname);
    return -1;
  }
  printf("[gl3_l3ctl_update_firewall]begin to update firewall interface %s,our if is %s\n", ifname,
         internet_wan);
  memcpy(internet_wan, ifname, length + 1);
  if (gl3_update_firewall() == -1) {
    puts("[gl3_l3ctl_update_firewall]gl3_update_firewall err!");
    return -1;
  }
  return 0;
}

int32_t gl3_l3ctl_clear_firewall(void) {
  puts("[gl3_l3ctl_clear_firewall]begin to clear firewall.");
  memcpy(internet_wan, "wan3", sizeof("wan3"));
  str_system(flush_local_access_ex);
  str_system(flush_dispatch_ip);
  str_system(flush6_dispatch_ip);
  str_system(flush_dispatch_acl);
  return 0;
}

}  // extern "C"
