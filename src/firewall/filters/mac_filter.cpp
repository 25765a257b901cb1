/*
 * The MAC filter: which LAN devices may forward traffic, in a daily time span, IPv4 and IPv6.
 *
 *   region   mac_filter of fw_rules_table and of fw6_rules_table (20-byte entries, one layout)
 *   chain    forward_ext_mac of each family
 *   lists    exactly 1 white list (match accepted, every other LAN sender dropped by a catch-all
 *            that knows no time), anything else black list (match dropped)
 *   rule     iptables -A forward_ext_mac -i br0 -m mac --mac-source 00:1a:2b:3c:4d:5e
 *              -m time --timestart 8:5 --timestop 23:59 -j DROP   (on one line)
 *   kept     the remove-all calls add the catch-all in every mode but 0; the IPv6 calls log some of
 *            the IPv4 messages; the IPv4 calls write and read both records; the generators'
 *            results are ignored by the set calls
 */
#include "l3_advance/mac_filter.h"

#include "firewall/base/chains.hpp"
#include "firewall/base/command.hpp"
#include "firewall/base/daily_span.hpp"
#include "firewall/base/log.hpp"
#include "firewall/base/region.hpp"
#include "firewall/base/state.hpp"
#include "l3_advance/address.h"
#include "l3_advance/configuration_file.h"
#include "l3_advance/records.h"
#include "l3_advance/rule_set.h"

using namespace l3;

namespace {

// Kept: exactly 1, where the URL filter takes any mode but 0: with mode 2 the entries are dropped
// and the rest passes.
constexpr uint32_t white_list_mode = 1;

/* The differences between the two families. Their messages differ too and are literals in the
 * calls. */
struct Family {
  const char* program;
  const char* flush;
  const char* drop_every_sender; /* the end of a white list, and all of an empty one */
  int32_t (*write_records)();
  int32_t (*generate)();
  int32_t (*save)();
};
// Kept: the IPv4 calls write both records.
constexpr Family ipv4 = {"iptables",
                         flush_mac,
                         "iptables -A forward_ext_mac -i br0 -j DROP",
                         set_firewall_rules_to_cfgfile,
                         config_fw_mac,
                         save_fw};
constexpr Family ipv6 = {"ip6tables",
                         flush6_mac,
                         "ip6tables -A forward_ext_mac -i br0 -j DROP",
                         set_firewall6_rules_to_cfgfile,
                         config_fw6_mac,
                         save_fw6};

/* Turns one entry into one command line. */
void build_rule(CommandLine& line, const char* program, const l3_mac_entry& entry,
                bool white_list) {
  char address[18] = {};
  gl3_web_mac_bin_to_str(address, entry.mac);
  const DailySpan span =
      daily_span({entry.start_hour, entry.start_minute}, {entry.stop_hour, entry.stop_minute});
  line.append("%s -A forward_ext_mac -i br0 -m mac --mac-source %s", program, address);
  line.append(" -m time --timestart %s --timestop %s", span.start, span.stop);
  line.append(white_list ? " -j ACCEPT" : " -j DROP");
}

/* Makes the rules of one family. False where the packet filter refuses a rule, `line`; the chain
 * has been flushed then. */
bool generate(const Family& family, const l3_mac_filter& filter, EntryWalk walk,
              CommandLine& line) {
  l3_mac_entry entry;
  while (walk.next(entry)) {
    if (entry.mac_enable == 0) {
      continue;
    }
    line = CommandLine();
    build_rule(line, family.program, entry, filter.mac_black_white == white_list_mode);
    L3_LOG_DEBUG("\n==%s==\n", line.text());
    if (line.run() != 0) {
      flush_fw_mac(family.flush);
      return false;
    }
  }

  L3_LOG_DEBUG("[mac_black_white=%x]\n", filter.mac_black_white);
  if (filter.mac_black_white == white_list_mode) {
    str_system(family.drop_every_sender);
  }
  return true;
}

/* The set calls of both families. Kept: the IPv6 call's messages name its IPv4 twin and the write
 * of both records, so the log does not show the family. A template, so that the calls through
 * `family` are direct and their stack can be computed at build time. */
template <const Family& family>
int32_t set_filter(l3_mac_filter& filter, const l3_mac_filter* image) {
  platform::refresh_log_level();
  if (image == nullptr) {
    L3_LOG_ERROR("gl3_web_set_mac_cfg::xi_pMacTableInfo NULLP err\r\n");
    return -1;
  }
  if (same_region(filter, *image)) {
    return 0;
  }
  replace_region(filter, *image);
  if (family.write_records() == -1) {
    L3_LOG_ERROR("gl3_web_set_mac_cfg::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  if (flush_fw_mac(family.flush) != 0) {
    return -1;
  }
  L3_LOG_DEBUG("\n==[fw_enable=%x,mac_filter_ctrl=%x,macTable=%x]\n", fw_enable,
               filter.mac_filter_ctrl, filter.count);
  if (fw_enable != 0 && filter.mac_filter_ctrl != 0) {
    // Kept: a failed rule has flushed the chain and is logged; the call continues.
    family.generate();
  }
  return family.save();
}

}  // namespace

extern "C" {

int32_t config_fw_mac(void) {
  const l3_mac_filter& filter = fw_rules_table.mac_filter;
  CommandLine line;
  if (!generate(ipv4, filter, EntryWalk(fw_rules_table, filter), line)) {
    L3_LOG_ERROR("config_fw_mac::str_system(%s) is err!\n", line.text());
    return -1;
  }
  return 0;
}

int32_t config_fw6_mac(void) {
  const l3_mac_filter& filter = fw6_rules_table.mac_filter;
  CommandLine line;
  if (!generate(ipv6, filter, EntryWalk(fw6_rules_table, filter), line)) {
    L3_LOG_ERROR("config_fw6_mac::str_system(%s) is err!\n", line.text());
    return -1;
  }
  return 0;
}

int32_t gl3_web_set_mac_cfg(const l3_mac_filter* xi_pMacTableInfo) {
  return set_filter<ipv4>(fw_rules_table.mac_filter, xi_pMacTableInfo);
}

int32_t gl3_web_set_mac6_cfg(const l3_mac_filter* xi_pMacTableInfo) {
  return set_filter<ipv6>(fw6_rules_table.mac_filter, xi_pMacTableInfo);
}

int32_t gl3_web_get_mac_cfg(l3_mac_filter* xo_pMacTableInfo) {
  platform::refresh_log_level();
  if (xo_pMacTableInfo == nullptr) {
    L3_LOG_ERROR("gl3_web_get_mac_cfg::xo_pMacTableInfo NULLP err\r\n");
    return -1;
  }
  if (get_firewall_rules_from_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_get_mac_cfg::get_firewall_rules_from_cfgfile err!\n");
    return -1;
  }
  replace_region(*xo_pMacTableInfo, fw_rules_table.mac_filter);
  if (get_firewall_state_from_cfgfile(&fw_enable) == -1) {
    L3_LOG_ERROR("gl3_web_get_mac_cfg::get_firewall_state_from_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_get_mac6_cfg(l3_mac_filter* xo_pMacTableInfo) {
  platform::refresh_log_level();
  if (xo_pMacTableInfo == nullptr) {
    L3_LOG_ERROR("gl3_web_get_mac6_cfg::xo_pMacTableInfo NULLP err\r\n");
    return -1;
  }
  if (get_firewall6_rules_from_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_get_mac6_cfg::get_firewall6_rules_from_cfgfile err!\n");
    return -1;
  }
  replace_region(*xo_pMacTableInfo, fw6_rules_table.mac_filter);
  if (get_firewall_state_from_cfgfile(&fw_enable) == -1) {
    L3_LOG_ERROR("gl3_web_get_mac6_cfg::get_firewall_state_from_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_remove_all_mac_rule(void) {
  l3_mac_filter& filter = fw_rules_table.mac_filter;
  platform::refresh_log_level();
  if (const int32_t result = flush_fw_mac(flush_mac); result != 0) {
    L3_LOG_ERROR("gl3_web_remove_all_mac_rule::flush_fw_mac err!\n");
    return result;
  }
  // Kept: every mode but 0 blocks all senders here, also the modes that the generator treats as a
  // black list.
  if (fw_enable != 0 && filter.mac_filter_ctrl != 0 && filter.mac_black_white != 0) {
    str_system(ipv4.drop_every_sender);
  }
  if (const int32_t result = save_fw(); result != 0) {
    L3_LOG_ERROR("gl3_web_remove_all_mac_rule::save_fw err!\n");
    return result;
  }
  clear_entries(filter);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_remove_all_mac_rule::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_remove_all_mac6_rule(void) {
  l3_mac_filter& filter = fw6_rules_table.mac_filter;
  platform::refresh_log_level();
  if (const int32_t result = flush_fw_mac(flush6_mac); result != 0) {
    // Kept: this message names the IPv4 call, the two below name this one; the failed command,
    // logged before it, shows the family.
    L3_LOG_ERROR("gl3_web_remove_all_mac_rule::flush_fw_mac err!\n");
    return result;
  }
  // Kept: every mode but 0, as in the IPv4 call: in mode 2 all senders are blocked until the rules
  // are next generated.
  if (fw_enable != 0 && filter.mac_filter_ctrl != 0 && filter.mac_black_white != 0) {
    str_system(ipv6.drop_every_sender);
  }
  if (const int32_t result = save_fw6(); result != 0) {
    L3_LOG_ERROR("gl3_web_remove_all_mac6_rule::save_fw6 err!\n");
    return result;
  }
  clear_entries(filter);
  if (set_firewall6_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_remove_all_mac6_rule::set_firewall6_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_set_mac_table_default(void) {
  platform::refresh_log_level();
  if (const int32_t result = flush_fw_mac(flush_mac); result != 0) {
    L3_LOG_ERROR("gl3_web_set_mac_table_default::flush_fw_mac err!\n");
    return result;
  }
  if (const int32_t result = flush_fw_mac(flush6_mac); result != 0) {
    L3_LOG_ERROR("gl3_web_set_mac_table_default::flush_fw6_mac err!\n");
    return result;
  }
  if (const int32_t result = save_fw(); result != 0) {
    L3_LOG_ERROR("gl3_web_set_mac_table_default::save_fw err!\n");
    return result;
  }
  if (const int32_t result = save_fw6(); result != 0) {
    L3_LOG_ERROR("gl3_web_set_mac_table_default::save_fw6 err!\n");
    return result;
  }
  clear_region(fw_rules_table.mac_filter);
  clear_region(fw6_rules_table.mac_filter);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_mac_table_default::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

}  // extern "C"
