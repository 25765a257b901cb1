#include "firewall/base/chains.hpp"

#include "firewall/base/chain_tree.hpp"
#include "l3_advance/rule_set.h"
#include "l3_advance/shell_command.h"

namespace l3 {
void build_chain_tree() {
  for (const char* command : chain_tree) {
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
