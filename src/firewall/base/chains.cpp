#include "firewall/base/chains.hpp"

#include "l3_advance/rule_set.h"
#include "l3_advance/shell_command.h"

namespace l3 {
namespace {

constexpr const char* tree_commands[] = {
    "iptables -N forward_ext_bad_tcp",
    "iptables -N forward_ext_ip",
    "iptables -N forward_ext_us_ip",
    "iptables -N forward_ext_ds_ip",
    "iptables -N forward_ext_url",
    "iptables -N forward_ext_mac",
    // The order of these hooks is the order in which the features see a forwarded packet.
    "iptables -A FORWARD -p tcp -j forward_ext_bad_tcp",
    "iptables -A FORWARD -j forward_ext_ip",
    "iptables -A FORWARD -j forward_ext_url",
    "iptables -A FORWARD -j forward_ext_mac",
    "iptables -N forward_ext_captiveportal",
    "iptables -A FORWARD -i br0 -p tcp --dport 80 -j forward_ext_captiveportal",

    "iptables -N input_ext_local_access",
    "iptables -N input_ext_local_access_ex",
    "iptables -A input_ext_local_access -j input_ext_local_access_ex",
    // Inserted, not appended: attacks are dropped before any service is reached.
    "iptables -I INPUT -j input_ext_local_access",
    "iptables -N input_ext_acl",
    "iptables -N input_ext_us_acl",
    "iptables -N input_ext_ds_acl",
    "iptables -A INPUT -p tcp --dport 80 -j input_ext_acl",
    "iptables -A INPUT -p tcp --dport 21 -j input_ext_acl",
    "iptables -A INPUT -p udp --dport 161 -j input_ext_acl",
    "iptables -A INPUT -p tcp --dport 23 -j input_ext_acl",
    "iptables -A INPUT -p icmp -j input_ext_acl",
    "iptables -N input_ext_dhcp",
    "iptables -A INPUT -i br0 -p udp --dport 67 -j input_ext_dhcp",
    "iptables -N input_ext_access_ctrl",

    "ip6tables -N forward_ext_ip",
    "ip6tables -N forward_ext_us_ip",
    "ip6tables -N forward_ext_ds_ip",
    "ip6tables -N forward_ext_mac",
    "ip6tables -A FORWARD -j forward_ext_ip",
    "ip6tables -A FORWARD -j forward_ext_mac",
};

}  // namespace

void build_chain_tree() {
  for (const char* command : tree_commands) {
    str_system(command);
  }
}

}  // namespace l3

using namespace l3;

extern "C" {

int32_t flush_fw(void) {
  // Kept: this removes the jump to input_ext_local_access_ex too, until the bad-TCP rules or the
  // next start put it back.
  flush_fw_bad_tcp(flush_local_access);
  flush_fw_mac(flush_us_acl);
  flush_fw_mac(flush_ds_acl);
  flush_fw_mac(flush_dhcp);
  flush_fw_bad_tcp(flush_bad_tcp);
  flush_fw_ip(flush_us_ip);
  flush_fw_ip(flush_ds_ip);
  flush_fw_url(flush_url);
  flush_fw_mac(flush_mac);
  flush_fw_mac(flush_captiveportal);
  flush_fw_bad_tcp(flush_local_access_ex);
  return 0;
}

int32_t flush_fw6(void) {
  flush_fw_ip(flush6_us_ip);
  flush_fw_ip(flush6_ds_ip);
  flush_fw_mac(flush6_mac);
  return 0;
}

int32_t flush_fw_ip(const char* command) {
  return str_system(command);
}

int32_t flush_fw_url(const char* command) {
  return str_system(command);
}

int32_t flush_fw_mac(const char* command) {
  return str_system(command);
}

int32_t flush_fw_bad_tcp(const char* command) {
  return str_system(command);
}

int32_t save_fw(void) {
  return str_system("iptables-save -t filter >/ztcfg/firewall.conf");
}

int32_t save_fw6(void) {
  return str_system("ip6tables-save -t filter >/ztcfg/firewall6.conf");
}

int32_t restore_fw(void) {
  str_system("iptables-restore </ztcfg/firewall.conf");
  // Kept: the eighth rule of INPUT goes, whatever it is; with the management-access chain hooked
  // in, that is the jump to the DHCP filter's chain.
  str_system("iptables -D INPUT 8");
  return 0;
}

int32_t restore_fw6(void) {
  str_system("ip6tables-restore </ztcfg/firewall6.conf");
  return 0;
}

}  // extern "C"
