/*
 * Management access: telnet and web to the gateway itself, for the OMCI agent, and the web
 * server's redirect to a configuration page.
 *
 *   chain    input_ext_access_ctrl, hooked into INPUT here; PREROUTING of the nat table
 *   kept     nothing is stored; the OMCI calls do not refresh the log level; each call takes out
 *            the drop of the port that it names and no other
 */
#include "l3_advance/management_access.h"

#include <cstdio>

#include "firewall/base/command.hpp"
#include "firewall/base/log.hpp"

using namespace l3;

namespace {

/* Replaces `gateway` by the LAN DHCP server's address, where there is one: up to 15 characters. */
void ask_dhcp_server(char (&gateway)[16]) {
  char server[48] = {};
  platform::get_dhcp_server(0, server);
  if (server[0] != '\0') {
    snprintf(gateway, sizeof(gateway), "%.15s", server);
  }
}

}  // namespace

extern "C" {

// Kept: the OMCI calls store nothing, so after a restart telnet and web are open until the agent
// calls again.
// Kept: nor do they refresh the log level; their traces use the level of the last call that did.
int32_t omci_set_telnet_state(uint32_t state) {
  // Deleted before they are appended, so that blocking twice leaves each drop once.
  str_system("iptables -D INPUT -j input_ext_access_ctrl");
  str_system("iptables -D input_ext_access_ctrl -p tcp --dport 23 -j DROP");
  str_system("iptables -D input_ext_access_ctrl -p tcp --dport 26 -j DROP");
  // Moved to the head of INPUT, so that no ACCEPT in front of it opens telnet.
  str_system("iptables -I INPUT -j input_ext_access_ctrl");
  if ((state & 0xff) == 0) {
    str_system("iptables -A input_ext_access_ctrl -p tcp --dport 23 -j DROP");
    str_system("iptables -A input_ext_access_ctrl -p tcp --dport 26 -j DROP");
  }
  return 0;
}

int32_t omci_set_web_state(uint32_t state, int32_t port) {
  str_system("iptables -D INPUT -j input_ext_access_ctrl");
  // Kept: the drop of a port that an earlier call named stays until a call names that port again.
  CommandLine remove;
  remove.append("iptables -D input_ext_access_ctrl -p tcp --dport %d -j DROP", port);
  remove.run_ignoring_result();
  str_system("iptables -I INPUT -j input_ext_access_ctrl");
  if ((state & 0xff) == 0) {
    CommandLine block;
    block.append("iptables -A input_ext_access_ctrl -p tcp --dport %d -j DROP", port);
    block.run_ignoring_result();
  }
  return 0;
}

int32_t gl3_web_cfg_page_jump(uint32_t enable, const char* pLanNet, const char* pJumpIp) {
  char gateway[16] = "192.168.1.1";
  platform::refresh_log_level();
  if (pLanNet == nullptr) {
    L3_LOG_ERROR("gl3_web_cfg_page_jump::pLanNet NULLP err\r\n");
    return -1;
  }
  if (pJumpIp == nullptr) {
    L3_LOG_ERROR("gl3_web_cfg_page_jump::pJumpIp NULLP err\r\n");
    return -1;
  }
  ask_dhcp_server(gateway);

  CommandLine line;
  if (enable == 0) {
    line.append(
        "iptables -t nat -D PREROUTING -i br0 -s %s ! -d %s -p tcp --dport 80 -j DNAT --to %s",
        pLanNet, gateway, pJumpIp);
  } else {
    line.append(
        "iptables -t nat -A PREROUTING -i br0 -s %s ! -d %s -p tcp --dport 80 -j DNAT --to %s",
        pLanNet, gateway, pJumpIp);
  }
  line.run_ignoring_result();
  return 0;
}

}  // extern "C"
