/*
 * Start-up, and the order in which the rules of all features are generated.
 *
 *   first start     no firewall.conf: the empty tree is saved
 *   second start    no firewall6.conf: likewise for IPv6
 *   from the third  IPv4 rules come from the records, IPv6 rules from their save file
 *   kept            DHCP rules are not regenerated; dispatch rules come from the master switch and
 *                   the WAN binding; a second call appends every hook once more
 */
#include <unistd.h>

#include "firewall/base/chains.hpp"
#include "firewall/base/file.hpp"
#include "firewall/base/log.hpp"
#include "firewall/base/state.hpp"
#include "l3_advance/access_list.h"
#include "l3_advance/attack_protection.h"
#include "l3_advance/captive_portal.h"
#include "l3_advance/configuration_file.h"
#include "l3_advance/firewall.h"
#include "l3_advance/ip_filter.h"
#include "l3_advance/mac_filter.h"
#include "l3_advance/migration.h"
#include "l3_advance/records.h"
#include "l3_advance/route_qos.h"
#include "l3_advance/rule_set.h"
#include "l3_advance/shell_command.h"
#include "l3_advance/url_filter.h"

using namespace l3;

namespace {

/* Independent of the master switch. */
void block_ipsec_unless_it_may_pass() {
  // Kept: a setting that cannot be read counts as 0, so an unreadable file blocks IPsec.
  uint32_t pass = 0;
  gl3_web_get_ipsec_pass_ctrl(&pass);
  if (pass == 0) {
    str_system("iptables -t filter -A FORWARD -p udp --sport 500 --dport 500 -j DROP");
    str_system("iptables -t filter -A FORWARD -p udp --sport 4500 --dport 4500 -j DROP");
  }
}

/* Restores the stored rules in the new tree. */
int32_t bring_rules_back() {
  uint8_t state = 0;
  if (get_firewall_state_from_cfgfile(&state) == -1) {
    L3_LOG_ERROR("gl3_web_init_fw::get_firewall_state_from_cfgfile err!\n");
    return -1;
  }
  fw_enable = state;
  int32_t result = 0;
  if (fw_enable != 0) {
    get_firewall_rules_from_cfgfile();
    config_fw();
    // The IPv4 save file is rewritten and never restored: the records are the source.
    save_fw();
    result = restore_fw6();
  }
  block_ipsec_unless_it_may_pass();
  return result;
}

}  // namespace

extern "C" {

int32_t config_fw(void) {
  // Kept: the IP filter applies when its switch is 0, every other feature when its own is not, so
  // zeroed records have the IP filter alone on.
  if (fw_enable != 0 && fw_rules_table.ip_filter.ip_filter_ctrl == 0) {
    config_fw_ip();
  }
  L3_LOG_DEBUG("\n==[fw_enable=%x,url_filter_ctrl=%x,urlTable=%x]\n", fw_enable,
               fw_rules_table.url_filter.url_filter_ctrl, fw_rules_table.url_filter.count);
  if (fw_enable != 0 && fw_rules_table.url_filter.url_filter_ctrl != 0) {
    config_fw_url();
  }
  if (fw_enable != 0 && fw_rules_table.anti_port_scan != 0) {
    config_fw_bad_tcp();
  }
  if (fw_enable != 0 && fw_rules_table.mac_filter.mac_filter_ctrl != 0) {
    config_fw_mac();
  }
  if (fw_enable != 0 && fw_rules_table.acl.acl_filter_ctrl != 0) {
    config_fw_acl();
  }
  if (fw_enable != 0 && fw_rules_table.caporl.caporl_filter_ctrl != 0) {
    config_fw_caporl();
  }
  // Kept: no DHCP rules here; they last from the filter's set call to the next flush or restart.
  return 0;
}

int32_t config_fw6(void) {
  if (fw_enable != 0 && fw6_rules_table.ip_filter.ip_filter_ctrl == 0) {
    config_fw6_ip();
  }
  // Kept: the URL words are logged for IPv6 too, though it has no URL rules: this trace stands
  // once for each family in the log.
  L3_LOG_DEBUG("\n==[fw_enable=%x,url_filter_ctrl=%x,urlTable=%x]\n", fw_enable,
               fw6_rules_table.url_filter.url_filter_ctrl, fw6_rules_table.url_filter.count);
  if (fw_enable != 0 && fw6_rules_table.mac_filter.mac_filter_ctrl != 0) {
    config_fw6_mac();
  }
  return 0;
}

int32_t gl3_web_init_fw(void) {
  platform::refresh_log_level();
  if (access("/ztcfg/v1_to_v2.flag", F_OK) == 0) {
    porting_firewall_cfg_v1_to_v2();
  }
  // iptables looks for its modules by this list, and a fresh file system has none.
  str_system("mkdir -p /lib/modules/$(uname -r);touch /lib/modules/$(uname -r)/modules.dep");
  build_chain_tree();

  int32_t result = 0;
  if (is_missing("/ztcfg/firewall.conf")) {
    // Kept: a first start only records the empty tree, whatever the master switch says.
    result = save_fw();
  } else if (is_missing("/ztcfg/firewall6.conf")) {
    result = save_fw6();
  } else {
    result = bring_rules_back();
    if (result == -1) {
      return -1;
    }
  }
  gl3_init_qos();
  return result;
}

}  // extern "C"
