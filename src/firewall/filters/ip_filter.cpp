/*
 * The IP filter: forwarded traffic by protocol, addresses and ports, IPv4 and IPv6.
 *
 *   region   ip_filter of fw_rules_table (48-byte entries) and of fw6_rules_table (96-byte entries)
 *   chains   forward_ext_us_ip (from br0) and forward_ext_ds_ip (from the WAN)
 *   lists    per direction: 0 black list (match dropped), anything else white list (match accepted,
 *            the rest dropped by a catch-all at the end)
 *   rule     iptables -A forward_ext_us_ip -p tcp -s 192.168.1.10 --dport 80:88 -j ACCEPT
 *   kept     the filter applies when its switch is 0; an IPv6 address that is all zero becomes
 *            "::", which matches no packet; protocol 1 is "icmp" for IPv6 too; dst_ip_2 and
 *            src_ip_2 are stored and in no rule
 */
#include "l3_advance/ip_filter.h"

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

/* The differences between the two families. Their messages differ too and are literals in the
 * calls. */
struct Family {
  const char* program;
  const char* flush_us;
  const char* flush_ds;
  const char* drop_rest_us; /* the ends of white lists */
  const char* drop_rest_ds;
};
constexpr Family ipv4 = {"iptables", flush_us_ip, flush_ds_ip,
                         "iptables -A forward_ext_us_ip -j DROP",
                         "iptables -A forward_ext_ds_ip -j DROP"};
constexpr Family ipv6 = {"ip6tables", flush6_us_ip, flush6_ds_ip,
                         "ip6tables -A forward_ext_us_ip -j DROP",
                         "ip6tables -A forward_ext_ds_ip -j DROP"};

enum class Verdict { fine, bad_protocol, bad_source_ports, bad_destination_ports, refused };

const char* protocol_word(uint32_t protocol) {
  switch (protocol) {
    case 0:
      return "all";
    case 1:
      return "icmp";
    case 6:
      return "tcp";
    case 17:
      return "udp";
    default:
      return nullptr;
  }
}

/* Whether both ends of a port range are given; otherwise every port matches. */
bool has_ports(uint32_t first, uint32_t last) {
  return first != 0 && last != 0;
}

using AddressText = char[48];

/* The text of an address; it stays empty for an address that a rule leaves open. */
void write_address(AddressText& text, uint32_t ip) {
  if (ip != 0) {
    gl3_web_ip_bin_to_str(text, ip);
  }
}

void write_address(AddressText& text, const uint8_t (&ip)[16]) {
  // Kept: an all-zero address is not left open, it becomes "::", so the rule matches nothing.
  gl3_web_ip6_bin_to_str(text, ip);
}

/* The port ranges, which TCP and UDP alone have. */
template <typename Entry>
Verdict append_ports(CommandLine& line, const Entry& entry) {
  if (entry.protocol != 6 && entry.protocol != 17) {
    return Verdict::fine;
  }
  if (has_ports(entry.src_port_s, entry.src_port_e)) {
    if (entry.src_port_e < entry.src_port_s) {
      return Verdict::bad_source_ports;
    }
    line.append(" --sport %d:%d", entry.src_port_s, entry.src_port_e);
  }
  if (has_ports(entry.dst_port_s, entry.dst_port_e)) {
    if (entry.dst_port_e < entry.dst_port_s) {
      return Verdict::bad_destination_ports;
    }
    line.append(" --dport %d:%d", entry.dst_port_s, entry.dst_port_e);
  }
  return Verdict::fine;
}

/* Turns one entry into one command line. */
template <typename Entry>
Verdict build_rule(CommandLine& line, const Family& family, const Entry& entry, bool white_list) {
  const char* protocol = protocol_word(entry.protocol);
  if (protocol == nullptr) {
    return Verdict::bad_protocol;
  }
  line.append("%s -A %s -p %s", family.program,
              entry.direction == 0 ? "forward_ext_us_ip" : "forward_ext_ds_ip", protocol);

  AddressText source = {};
  write_address(source, entry.src_ip);
  if (source[0] != '\0') {
    line.append(" -s %s", source);
  }
  AddressText destination = {};
  write_address(destination, entry.dst_ip);
  if (destination[0] != '\0') {
    line.append(" -d %s", destination);
  }

  if (const Verdict ports = append_ports(line, entry); ports != Verdict::fine) {
    return ports;
  }
  line.append(white_list ? " -j ACCEPT" : " -j DROP");
  return Verdict::fine;
}

template <typename Region, typename Entry>
bool is_white_list(const Region& region, const Entry& entry) {
  return (entry.direction == 0 ? region.us_black_white : region.ds_black_white) != 0;
}

/* A white list drops what none of its rules accepts, also when it has no rule. */
template <typename Region>
void drop_the_rest(const Family& family, const Region& filter) {
  if (filter.us_black_white != 0) {
    str_system(family.drop_rest_us);
  }
  if (filter.ds_black_white != 0) {
    str_system(family.drop_rest_ds);
  }
}

/* Makes the rules of one family. Any verdict but `fine` is about `entry`, and `line` is its rule;
 * both chains have been flushed where the packet filter refused it. */
template <typename Record, typename Entry>
Verdict generate(const Family& family, const Record& record, Entry& entry, CommandLine& line) {
  for (EntryWalk walk(record, record.ip_filter); walk.next(entry);) {
    line = CommandLine();
    if (const Verdict verdict =
            build_rule(line, family, entry, is_white_list(record.ip_filter, entry));
        verdict != Verdict::fine) {
      return verdict;
    }
    L3_LOG_DEBUG("\n==%s==\n", line.text());
    if (line.run() != 0) {
      flush_fw_ip(family.flush_us);
      flush_fw_ip(family.flush_ds);
      return Verdict::refused;
    }
  }
  drop_the_rest(family, record.ip_filter);
  return Verdict::fine;
}

/* The locations of the addresses, not their values; the low 32 bits where pointers are longer. */
template <typename Field>
uint32_t location(const Field& field) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&field));
}

template <typename Region>
void log_first_entry(const Region& region) {
  const auto& entry = region.entries[0];
  // Kept: locations instead of the two addresses; only the other values of this trace are those of
  // the entry.
  L3_LOG_DEBUG(
      "==========index=%d, dst_ip=%x, dst_port_s=%d, dst_port_e=%d, protocol=%d, "
      "src_ip=%x========\n",
      entry.index, location(entry.dst_ip), entry.dst_port_s, entry.dst_port_e, entry.protocol,
      location(entry.src_ip));
}

/* The get calls of both families. Kept: the IPv6 call's messages name its IPv4 twin, so the log
 * does not show the family. */
template <typename Region>
int32_t get_filter(Region* xo_pFirewallTableInfo, const Region& filter, int32_t (*read_record)()) {
  platform::refresh_log_level();
  if (xo_pFirewallTableInfo == nullptr) {
    L3_LOG_ERROR("gl3_web_get_firewall_cfg::xo_pFirewallTableInfo NULLP err\r\n");
    return -1;
  }
  if (read_record() == -1) {
    L3_LOG_ERROR("gl3_web_get_firewall_cfg::get_firewall_rules_from_cfgfile err!\n");
    return -1;
  }
  replace_region(*xo_pFirewallTableInfo, filter);
  if (get_firewall_state_from_cfgfile(&fw_enable) == -1) {
    L3_LOG_ERROR("gl3_web_get_firewall_cfg::get_firewall_state_from_cfgfile err!\n");
    return -1;
  }
  L3_LOG_DEBUG("\n------GET------[ip_filter_ctrl=%x,us_black_white=%d,ds_black_white=%d]\n",
               filter.ip_filter_ctrl, filter.us_black_white, filter.ds_black_white);
  return 0;
}

}  // namespace

extern "C" {

int32_t config_fw_ip(void) {
  l3_ip_filter_entry entry;
  CommandLine line;
  switch (generate(ipv4, fw_rules_table, entry, line)) {  // LCOV_EXCL_BR_LINE: no other value
    case Verdict::fine:
      return 0;
    case Verdict::bad_protocol:
      L3_LOG_ERROR("config_fw_ip::protocol=%d is err!\n", entry.protocol);
      break;
    case Verdict::bad_source_ports:
      L3_LOG_ERROR("config_fw_ip::sport1=%d > sport2=%d ERROR!\n", entry.src_port_s,
                   entry.src_port_e);
      break;
    case Verdict::bad_destination_ports:
      L3_LOG_ERROR("config_fw_ip::dport1=%d > dport2=%d ERROR!\n", entry.dst_port_s,
                   entry.dst_port_e);
      break;
    case Verdict::refused:
      L3_LOG_ERROR("config_fw_ip::str_system(%s) is err!\n", line.text());
      break;
  }
  return -1;
}

int32_t config_fw6_ip(void) {
  l3_ip6_filter_entry entry;
  CommandLine line;
  switch (generate(ipv6, fw6_rules_table, entry, line)) {  // LCOV_EXCL_BR_LINE: no other value
    case Verdict::fine:
      return 0;
    case Verdict::bad_protocol:
      L3_LOG_ERROR("config_fw_ip6::protocol=%d is err!\n", entry.protocol);
      break;
    case Verdict::bad_source_ports:
      L3_LOG_ERROR("config_fw_ip6::sport1=%d > sport2=%d ERROR!\n", entry.src_port_s,
                   entry.src_port_e);
      break;
    case Verdict::bad_destination_ports:
      L3_LOG_ERROR("config_fw_ip6::dport1=%d > dport2=%d ERROR!\n", entry.dst_port_s,
                   entry.dst_port_e);
      break;
    case Verdict::refused:
      L3_LOG_ERROR("config_fw_ip6::str_system(%s) is err!\n", line.text());
      break;
  }
  return -1;
}

int32_t gl3_web_set_firewall_cfg(const l3_ip_filter* xi_pFirewallTableInfo) {
  l3_ip_filter& filter = fw_rules_table.ip_filter;
  platform::refresh_log_level();
  if (xi_pFirewallTableInfo == nullptr) {
    L3_LOG_ERROR("gl3_web_set_firewall_cfg::xi_pFirewallTableInfo NULLP err\r\n");
    return -1;
  }
  log_first_entry(*xi_pFirewallTableInfo);
  if (same_region(filter, *xi_pFirewallTableInfo)) {
    return 0;
  }
  replace_region(filter, *xi_pFirewallTableInfo);
  if (set_firewall4_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_firewall_cfg::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  L3_LOG_DEBUG("\n------SET------[ip_filter_ctrl=%x,us_black_white=%d,ds_black_white=%d]\n",
               filter.ip_filter_ctrl, filter.us_black_white, filter.ds_black_white);

  // Kept: only the second flush decides here, so after a failed first one the new upstream rules
  // stand behind the old ones; the IPv6 call looks at both.
  flush_fw_ip(flush_us_ip);
  if (flush_fw_ip(flush_ds_ip) != 0) {
    return -1;
  }
  if (fw_enable != 0 && filter.ip_filter_ctrl == 0 && config_fw_ip() != 0) {
    return -1;
  }
  return save_fw() == 0 ? 0 : -1;
}

int32_t gl3_web_set_firewall6_cfg(const l3_ip6_filter* xi_pFirewallTableInfo) {
  l3_ip6_filter& filter = fw6_rules_table.ip_filter;
  platform::refresh_log_level();
  if (xi_pFirewallTableInfo == nullptr) {
    L3_LOG_ERROR("gl3_web_set_firewall6_cfg::xi_pFirewallTableInfo NULLP err\r\n");
    return -1;
  }
  log_first_entry(*xi_pFirewallTableInfo);
  if (same_region(filter, *xi_pFirewallTableInfo)) {
    return 0;
  }
  replace_region(filter, *xi_pFirewallTableInfo);
  if (set_firewall6_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_firewall6_cfg::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  L3_LOG_DEBUG("\n------SET------[ip_filter_ctrl=%x,us_black_white=%d,ds_black_white=%d]\n",
               filter.ip_filter_ctrl, filter.us_black_white, filter.ds_black_white);

  if (flush_fw_ip(flush6_us_ip) != 0 || flush_fw_ip(flush6_ds_ip) != 0) {
    return -1;
  }
  if (fw_enable != 0 && filter.ip_filter_ctrl == 0 && config_fw6_ip() != 0) {
    return -1;
  }
  return save_fw6() == 0 ? 0 : -1;
}

int32_t gl3_web_get_firewall_cfg(l3_ip_filter* xo_pFirewallTableInfo) {
  return get_filter(xo_pFirewallTableInfo, fw_rules_table.ip_filter,
                    get_firewall4_rules_from_cfgfile);
}

int32_t gl3_web_get_firewall6_cfg(l3_ip6_filter* xo_pFirewallTableInfo) {
  return get_filter(xo_pFirewallTableInfo, fw6_rules_table.ip_filter,
                    get_firewall6_rules_from_cfgfile);
}

int32_t gl3_web_remove_all_firewall_rule(void) {
  l3_ip_filter& filter = fw_rules_table.ip_filter;
  platform::refresh_log_level();
  for (const char* flush : {flush_us_ip, flush_ds_ip}) {
    if (const int32_t result = flush_fw_ip(flush); result != 0) {
      L3_LOG_ERROR("gl3_web_remove_all_firewall_rule::flush_fw_ip err!\n");
      return result;
    }
  }
  // Kept: whatever ip_filter_ctrl says; a white list that is not applied closes its direction here,
  // until the chain is next flushed.
  if (fw_enable != 0) {
    drop_the_rest(ipv4, filter);
  }
  if (const int32_t result = save_fw(); result != 0) {
    L3_LOG_ERROR("gl3_web_remove_all_firewall_rule::save_fw err!\n");
    return result;
  }
  clear_entries(filter);
  if (set_firewall4_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_remove_all_firewall_rule::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_remove_all_firewall6_rule(void) {
  l3_ip6_filter& filter = fw6_rules_table.ip_filter;
  platform::refresh_log_level();
  for (const char* flush : {flush6_us_ip, flush6_ds_ip}) {
    if (const int32_t result = flush_fw_ip(flush); result != 0) {
      L3_LOG_ERROR("gl3_web_remove_all_firewall6_rule::flush_fw_ip err!\n");
      return result;
    }
  }
  if (fw_enable != 0) {
    drop_the_rest(ipv6, filter);
  }
  // Kept: the last two messages name the IPv4 call; only "save_fw6" shows the family.
  if (const int32_t result = save_fw6(); result != 0) {
    L3_LOG_ERROR("gl3_web_remove_all_firewall_rule::save_fw6 err!\n");
    return result;
  }
  clear_entries(filter);
  if (set_firewall6_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_remove_all_firewall_rule::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_set_ip_table_default(void) {
  platform::refresh_log_level();
  for (const char* flush : {flush_us_ip, flush_ds_ip, flush6_us_ip, flush6_ds_ip}) {
    if (const int32_t result = flush_fw_ip(flush); result != 0) {
      L3_LOG_ERROR("gl3_web_set_ip_table_default::flush_fw_ip err!\n");
      return result;
    }
  }
  // Kept: both saves share one message; the failed command, logged before it, shows which one
  // failed.
  if (const int32_t result = save_fw(); result != 0) {
    L3_LOG_ERROR("gl3_web_set_ip_table_default::save_fw err!\n");
    return result;
  }
  if (const int32_t result = save_fw6(); result != 0) {
    L3_LOG_ERROR("gl3_web_set_ip_table_default::save_fw err!\n");
    return result;
  }
  clear_region(fw_rules_table.ip_filter);
  clear_region(fw6_rules_table.ip_filter);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_ip_table_default::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

}  // extern "C"
