/*
 * The access list: which sources reach the gateway's own services, from the LAN and from the WAN.
 *
 *   region   acl of fw_rules_table
 *   chains   input_ext_us_acl (from br0) and input_ext_ds_acl (from the WAN)
 *   lists    always a white list: a direction with an entry in use ends with a catch-all drop, one
 *            without stays open
 *   rule     iptables -A input_ext_us_acl -p tcp --dport 80 -s 192.168.1.2/32  -j ACCEPT
 *   kept     the list applies when its switch is not 0, the IP filter when its own is 0; a source
 *            that is refused, or whose commands fail, still adds the catch-all of its direction
 */
#include "l3_advance/access_list.h"

#include <iterator>

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

/* The match options of a service; null for an unknown one. */
const char* service_words(uint32_t app_type) {
  switch (app_type) {
    case 0:
      return "all";
    case 1:
      return "tcp --dport 80";
    case 2:
      return "tcp --dport 21";
    case 3:
      return "udp --dport 161";
    case 4:
      return "tcp --dport 23";
    case 5:
      return "icmp";
    default:
      return nullptr;
  }
}

/* The rule up to its source. Logs an unknown service and returns false. */
bool build_rule_head(CommandLine& line, const l3_acl_entry& entry) {
  const char* service = service_words(entry.app_type);
  if (service == nullptr) {
    L3_LOG_ERROR("config_fw_acl::app_type=%d is err!\n", entry.app_type);
    return false;
  }
  line.append(entry.direction == 0 ? "iptables -A input_ext_us_acl -p %s"
                                   : "iptables -A input_ext_ds_acl -p %s",
              service);
  return true;
}

/* The number of entries that the traces show: the count, at most the capacity. */
int32_t shown_entries(const l3_acl& acl) {
  constexpr auto capacity = static_cast<int32_t>(std::size(l3_acl{}.entries));
  return acl.count < capacity ? acl.count : capacity;
}

void log_what_is_set(const l3_acl& acl) {
  L3_LOG_DEBUG("\n------SET------[acl_filter_ctrl=%d]\n", acl.acl_filter_ctrl);
  for (int32_t i = 0; i < shown_entries(acl); ++i) {
    const l3_acl_entry& entry = acl.entries[i];
    L3_LOG_DEBUG("==========[set]index=%d, allocated=%d, src_ip0=%x, src_ip1=%x========\n", i,
                 entry.allocated, entry.src_ip0, entry.src_ip1);
  }
}

void log_what_was_got(const l3_acl& acl) {
  L3_LOG_DEBUG("\n------GET------[acl_filter_ctrl=%d]\n", acl.acl_filter_ctrl);
  for (int32_t i = 0; i < shown_entries(acl); ++i) {
    const l3_acl_entry& entry = acl.entries[i];
    L3_LOG_DEBUG("==========[get]index=%d, allocated=%d, src_ip0=%x, src_ip1=%x========\n", i,
                 entry.allocated, entry.src_ip0, entry.src_ip1);
  }
}

}  // namespace

extern "C" {

int32_t config_fw_acl(void) {
  bool upstream_ruled = false;
  bool downstream_ruled = false;
  l3_acl_entry entry;
  for (EntryWalk walk(fw_rules_table, fw_rules_table.acl); walk.next(entry);) {
    if (entry.allocated == 0) {
      continue;
    }
    CommandLine line;
    if (!build_rule_head(line, entry)) {
      return -1;
    }
    (entry.direction == 0 ? upstream_ruled : downstream_ruled) = true;
    if (entry.src_ip0 != 0) {
      line.append(" -s ");
      // Kept: a range without rules is no failure; its direction still ends with the catch-all.
      config_acl_ip_range(line.text(), " -j ACCEPT", entry.src_ip0, entry.src_ip1);
      continue;
    }
    line.append(" -j ACCEPT");
    L3_LOG_DEBUG("\n==%s==\n", line.text());
    if (line.run() != 0) {
      flush_fw_ip(flush_us_acl);
      flush_fw_ip(flush_ds_acl);
      L3_LOG_ERROR("config_fw_acl::str_system(%s) is err!\n", line.text());
      return -1;
    }
  }

  if (upstream_ruled) {
    str_system("iptables -A input_ext_us_acl -j DROP");
  }
  if (downstream_ruled) {
    str_system("iptables -A input_ext_ds_acl -j DROP");
  }
  return 0;
}

int32_t gl3_web_set_acl_cfg(const l3_acl* xi_pFirewallTableInfo) {
  l3_acl& acl = fw_rules_table.acl;
  platform::refresh_log_level();
  if (xi_pFirewallTableInfo == nullptr) {
    L3_LOG_ERROR("gl3_web_set_acl_cfg::xi_pFirewallTableInfo NULLP err\r\n");
    return -1;
  }
  log_what_is_set(*xi_pFirewallTableInfo);
  if (same_region(acl, *xi_pFirewallTableInfo)) {
    return 0;
  }
  replace_region(acl, *xi_pFirewallTableInfo);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_acl_cfg::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }

  // Kept: only the second flush decides; where the first fails, the new upstream rules stand behind
  // the old ones.
  flush_fw_ip(flush_us_acl);
  if (flush_fw_ip(flush_ds_acl) != 0) {
    L3_LOG_ERROR("gl3_web_set_acl_cfg::flush_fw_ip err!\n");
    return -1;
  }
  // Kept: the list applies when its switch is not 0, the IP filter when its own is 0, so with a
  // zeroed record the list is off and the IP filter on.
  if (fw_enable != 0 && acl.acl_filter_ctrl != 0 && config_fw_acl() != 0) {
    L3_LOG_ERROR("gl3_web_set_acl_cfg::config_fw_acl err!\n");
    return -1;
  }
  if (save_fw() != 0) {
    L3_LOG_ERROR("gl3_web_set_acl_cfg::save_fw err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_get_acl_cfg(l3_acl* xo_pAclTableInfo) {
  const l3_acl& acl = fw_rules_table.acl;
  platform::refresh_log_level();
  if (xo_pAclTableInfo == nullptr) {
    L3_LOG_ERROR("gl3_web_get_acl_cfg::xo_pAclTableInfo NULLP err\r\n");
    return -1;
  }
  if (get_firewall_rules_from_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_get_acl_cfg::get_firewall_rules_from_cfgfile err!\n");
    return -1;
  }
  replace_region(*xo_pAclTableInfo, acl);
  uint8_t state = 0;
  if (get_firewall_state_from_cfgfile(&state) == -1) {
    L3_LOG_ERROR("gl3_web_get_acl_cfg::get_firewall_state_from_cfgfile err!\n");
    return -1;
  }
  fw_enable = state;
  log_what_was_got(acl);
  return 0;
}

int32_t gl3_web_remove_all_acl_rule(void) {
  platform::refresh_log_level();
  // Kept: flushed through flush_fw_mac, which runs any line; its results are ignored.
  flush_fw_mac(flush_us_acl);
  flush_fw_mac(flush_ds_acl);
  if (const int32_t result = save_fw(); result != 0) {
    L3_LOG_ERROR("gl3_web_remove_all_acl_rule::save_fw err!\n");
    return result;
  }
  clear_entries(fw_rules_table.acl);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_remove_all_acl_rule::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_set_acl_table_default(void) {
  platform::refresh_log_level();
  // Kept: flushed through flush_fw_mac, which runs any line; its results are ignored.
  flush_fw_mac(flush_us_acl);
  flush_fw_mac(flush_ds_acl);
  if (const int32_t result = save_fw(); result != 0) {
    L3_LOG_ERROR("gl3_web_set_acl_table_default::save_fw err!\n");
    return result;
  }
  clear_region(fw_rules_table.acl);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_acl_table_default::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

}  // extern "C"
