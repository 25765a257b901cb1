/*
 * The interface as its callers meet it: one source, valid C11 and C++11, that calls every exported
 * function through the umbrella header. The platform calls and system() are this program's own, so
 * nothing runs and no device is needed; files go to the empty /ztcfg of the sandbox.
 *
 * What the calls do is for the unit tests. Here only types, linkage and plain success count.
 */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/vfs.h>

#include "l3_advance/l3_advance.h"

static int failures;
static int commands_run;
static char last_command[256];
static int log_lines;

static void expect(int condition, const char* text, int line) {
  if (!condition) {
    fprintf(stderr, "line %d: %s does not hold\n", line, text);
    ++failures;
  }
}
#define EXPECT(condition) expect((condition) ? 1 : 0, #condition, __LINE__)

/* ---- the world around the library ---- */

int system(const char* command) {
  ++commands_run;
  snprintf(last_command, sizeof(last_command), "%s", command);
  return 0;
}

void l3_log_print(int32_t level, int32_t module, const char* format, ...) {
  char line[512];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(line, sizeof(line), format, arguments);
  va_end(arguments);
  EXPECT(level == 2 || level == 4);
  EXPECT(module == 2);
  EXPECT(strncmp(line, "line[", 5) == 0);
  ++log_lines;
}

void grm_all_refresh_log_mod_level(void) {}

int32_t zt_bsp_version_export(const char* file, const char* version, const char* date,
                              const char* time, const char* banner, int32_t flag) {
  EXPECT(strcmp(file, "libl3_advance.so") == 0);
  EXPECT(version != NULL && date != NULL && time != NULL && banner != NULL);
  return flag + 41;
}

static uint8_t vpn_state;

int32_t grm_l3_advance_get_vpn_pass_through(uint8_t* state) {
  *state = vpn_state;
  return 0;
}

int32_t grm_l3_advance_set_vpn_pass_through(uint8_t state) {
  vpn_state = state;
  return 0;
}

int32_t gpon_l3_control_vpn_pass_through(int32_t protocol, uint8_t state) {
  EXPECT(protocol == 47);
  EXPECT(state <= 1);
  return 0;
}

int32_t gpon_l3_set_qos_cfg(const void* route_qos_record) {
  EXPECT(route_qos_record != NULL);
  return 0;
}

int32_t grm_gl3_get_internet_index(void) {
  return 4;
}

int32_t getIfName(int32_t index, char* name) {
  EXPECT(index == 4);
  memcpy(name, "wan4", 5);
  return 0;
}

int32_t DhcpsParaServerGet(int32_t index, void* buffer) {
  EXPECT(index == 0);
  memcpy(buffer, "192.168.1.1", 12);
  return 0;
}

/* ---- every exported name ---- */

struct exported_name {
  const char* name;
  uintptr_t location;
};

/* The list is made from the version script, so a name without a declaration does not compile, and
 * one without a definition does not link. */
static void check_names(void) {
#define EXPORTED(name) {#name, (uintptr_t)&name},
  const struct exported_name names[] = {
#include "exported_names.inc"
  };
#undef EXPORTED
  /* And no name may be missing below: the build looks for each in this file. */
  expect(NEVER_USED[0] == '\0', "the use of every name, but" NEVER_USED, __LINE__);
  const size_t count = sizeof(names) / sizeof(names[0]);
  for (size_t i = 0; i < count; ++i) {
    expect(names[i].location != 0, names[i].name, __LINE__);
    for (size_t j = i + 1; j < count; ++j) {
      expect(names[i].location != names[j].location, names[j].name, __LINE__);
    }
  }
}

/* ---- every exported function, by header ---- */

static void call_shell_command_and_version(void) {
  EXPECT(str_system("exit 86") == 0);
  EXPECT(commands_run == 1);
  EXPECT(strcmp(last_command, "exit 86") == 0);
  EXPECT(str_system(NULL) == -1);
  EXPECT(log_lines > 0);
  EXPECT(libonu_bsp_version_export() == 42);
}

static void call_records(void) {
  EXPECT(sizeof(fw_rules_table) == 6168);
  EXPECT(sizeof(fw6_rules_table) == 8572);
  EXPECT(sizeof(RtQoSRulesTable) == 248);
  EXPECT(sizeof(arp_tbl) == 45104);
  fw_rules_table.caporl.entries[31].caporl_ip[19] = 'x';
  fw6_rules_table.reserved = 1;
  RtQoSRulesTable.rules.reserved2[207] = 1;
  arp_tbl[45103] = 1;
}

static void call_address(void) {
  char text[46] = "";
  char spaced[] = " a ";
  char dotted[] = "a.b";
  uint8_t bytes[16] = {0};
  uint32_t ip = 0;
  l3_ip_address address;

  f_zeroed_ip_address(&address);
  EXPECT(address.version == 0);
  EXPECT(p_bl_ip_addr_unknown_version("::1", &address) == 1);
  EXPECT(address.version == 1);
  cli_trimming_whitespace_from_string(spaced);
  EXPECT(strcmp(spaced, "a") == 0);
  EXPECT(replace_string(dotted, ".", "-") == 1);
  EXPECT(p_bl_inet_pton4("1.2.3.4", bytes) == 1);
  EXPECT(p_bl_inet_pton6("::1", bytes) == 1);
  EXPECT(gl3_web_ip_str_to_bin("192.168.1.1", &ip) == 0);
  EXPECT(ip == 0xC0A80101U);
  EXPECT(gl3_web_ip_bin_to_str(text, ip) == 0);
  EXPECT(strcmp(text, "192.168.1.1") == 0);
  EXPECT(gl3_web_ip6_str_to_bin("fe80::1", bytes) == 0);
  EXPECT(gl3_web_ip6_bin_to_str(text, bytes) == 0);
  EXPECT(strcmp(text, "fe80::1") == 0);
  EXPECT(gl3_web_mac_str_to_bin("00:1A:2b:3C:4d:5E", bytes) == 0);
  EXPECT(gl3_web_mac_bin_to_str(text, bytes) == 0);
  EXPECT(strcmp(text, "00:1a:2b:3c:4d:5e") == 0);
}

static void call_configuration_file(void) {
  uint8_t state = 9;
  EXPECT(init_cfgfile() == 0);
  EXPECT(set_vpn_pass_through_state_to_cfgfile(1) == 0);
  EXPECT(get_vpn_pass_through_state_from_cfgfile(&state) == 0);
  EXPECT(state == 1);
  EXPECT(set_firewall_state_to_cfgfile(1) == 0);
  EXPECT(get_firewall_state_from_cfgfile(&state) == 0);
  EXPECT(get_firewall_rules_from_cfgfile() == 0);
  EXPECT(set_firewall_rules_to_cfgfile() == 0);
  EXPECT(get_firewall4_rules_from_cfgfile() == 0);
  EXPECT(set_firewall4_rules_to_cfgfile() == 0);
  EXPECT(get_firewall6_rules_from_cfgfile() == 0);
  EXPECT(set_firewall6_rules_to_cfgfile() == 0);
  EXPECT(get_qos_cfg_from_cfgfile() == 0);
  EXPECT(set_qos_cfg_to_cfgfile() == 0);
}

static void call_record_file(void) {
  uint8_t wan_service[1872] = {0};
  char text[4] = "";
  EXPECT(init_std_wan_cfgfile("/ztcfg/wan.dat") == 0);
  EXPECT(set_std_wan_service_info_to_cfgfile(wan_service, "/ztcfg/wan.dat") == 0);
  EXPECT(get_std_wan_service_info_from_cfgfile(wan_service, "/ztcfg/wan.dat") == 0);
  EXPECT(init_cfg_file("/ztcfg/ct_activity_timeout.conf") == 0);
  EXPECT(read_info_from_file(text, "/ztcfg/ct_activity_timeout.conf", sizeof(text)) == 0);
  EXPECT(strcmp(text, "300") == 0);
  EXPECT(write_info_to_file(text, "/ztcfg/ct_activity_timeout.conf", sizeof(text)) == 0);
}

static void call_migration(void) {
  EXPECT(g_porting_firewall_cfg_v1_to_v2_called_count == 0);
  EXPECT(porting_firewall_cfg_v1_to_v2() == 0);
  EXPECT(g_porting_firewall_cfg_v1_to_v2_called_count == 1);
}

static void call_rule_set(void) {
  const char* command = "iptables -t filter -F forward_ext_url";
  EXPECT(flush_fw() == 0);
  EXPECT(flush_fw6() == 0);
  EXPECT(flush_fw_ip(command) == 0);
  EXPECT(flush_fw_url(command) == 0);
  EXPECT(flush_fw_mac(command) == 0);
  EXPECT(flush_fw_bad_tcp(command) == 0);
  EXPECT(strcmp(last_command, command) == 0);
  EXPECT(save_fw() == 0);
  EXPECT(save_fw6() == 0);
  EXPECT(restore_fw() == 0);
  EXPECT(restore_fw6() == 0);
}

static void call_ip_filter(void) {
  static l3_ip_filter image;
  static l3_ip6_filter image6;
  image.ip_filter_ctrl = 1;
  image6.ip_filter_ctrl = 1;
  EXPECT(gl3_web_set_firewall_cfg(&image) == 0);
  EXPECT(gl3_web_set_firewall6_cfg(&image6) == 0);
  EXPECT(gl3_web_get_firewall_cfg(&image) == 0);
  EXPECT(gl3_web_get_firewall6_cfg(&image6) == 0);
  EXPECT(image.ip_filter_ctrl == 1 && image6.ip_filter_ctrl == 1);
  EXPECT(config_fw_ip() == 0);
  EXPECT(config_fw6_ip() == 0);
  EXPECT(gl3_web_remove_all_firewall_rule() == 0);
  EXPECT(gl3_web_remove_all_firewall6_rule() == 0);
  EXPECT(gl3_web_set_ip_table_default() == 0);
}

static void call_access_list(void) {
  static l3_acl image;
  EXPECT(config_acl_ip_range("iptables -A input_ext_us_acl -s ", "-j ACCEPT", 0xC0A80101U,
                             0xC0A80302U) == 0);
  EXPECT(config_acl_ip_range_24_mask("iptables -A input_ext_us_acl -s ", "-j ACCEPT", 0xC0A80101U,
                                     0xC0A80102U) == 0);
  EXPECT(config_acl_ip_range_16_mask("iptables -A input_ext_us_acl -s ", "-j ACCEPT", 0xC0A80100U,
                                     0xC0A80200U) == 0);
  image.acl_filter_ctrl = 1;
  EXPECT(gl3_web_set_acl_cfg(&image) == 0);
  EXPECT(gl3_web_get_acl_cfg(&image) == 0);
  EXPECT(image.acl_filter_ctrl == 1);
  EXPECT(config_fw_acl() == 0);
  EXPECT(gl3_web_remove_all_acl_rule() == 0);
  EXPECT(gl3_web_set_acl_table_default() == 0);
}

static void call_url_filter(void) {
  static l3_url_filter image;
  char labels[33] = "";
  EXPECT(parse_url("abc.de", labels) == 0);
  EXPECT(memcmp(labels, "\003abc\002de", 8) == 0);
  image.url_filter_ctrl = 1;
  EXPECT(gl3_web_set_url_cfg(&image) == 0);
  EXPECT(gl3_web_get_url_cfg(&image) == 0);
  EXPECT(image.url_filter_ctrl == 1);
  EXPECT(config_fw_url() == 0);
  EXPECT(gl3_web_remove_all_url_rule() == 0);
  EXPECT(gl3_web_set_url_table_default() == 0);
}

static void call_mac_filter(void) {
  static l3_mac_filter image;
  static l3_mac_filter image6;
  image.mac_filter_ctrl = 1;
  image6.mac_filter_ctrl = 1;
  EXPECT(gl3_web_set_mac_cfg(&image) == 0);
  EXPECT(gl3_web_set_mac6_cfg(&image6) == 0);
  EXPECT(gl3_web_get_mac_cfg(&image) == 0);
  EXPECT(gl3_web_get_mac6_cfg(&image6) == 0);
  EXPECT(image.mac_filter_ctrl == 1 && image6.mac_filter_ctrl == 1);
  EXPECT(config_fw_mac() == 0);
  EXPECT(config_fw6_mac() == 0);
  EXPECT(gl3_web_remove_all_mac_rule() == 0);
  EXPECT(gl3_web_remove_all_mac6_rule() == 0);
  EXPECT(gl3_web_set_mac_table_default() == 0);
}

static void call_dhcp_filter(void) {
  static l3_dhcp_filter image;
  image.dhcp_mac_filter_ctrl = 1;
  EXPECT(gl3_web_set_dhcp_cfg(&image) == 0);
  EXPECT(gl3_web_get_dhcp_cfg(&image) == 0);
  EXPECT(image.dhcp_mac_filter_ctrl == 1);
  EXPECT(config_fw_dhcp() == 0);
  EXPECT(gl3_web_remove_all_dhcp_rule() == 0);
  EXPECT(gl3_web_set_dhcp_table_default() == 0);
}

static void call_captive_portal(void) {
  static l3_caporl image;
  image.caporl_filter_ctrl = 1;
  EXPECT(gl3_web_set_caporl_cfg(&image) == 0);
  EXPECT(gl3_web_get_caporl_cfg(&image) == 0);
  EXPECT(image.caporl_filter_ctrl == 1);
  EXPECT(config_fw_caporl() == 0);
  EXPECT(gl3_web_remove_all_caporl_rule() == 0);
  EXPECT(gl3_web_set_caporl_table_default() == 0);
}

static void call_attack_protection(void) {
  uint8_t scan = 9;
  uint32_t ipsec = 9;
  EXPECT(config_fw_bad_tcp() == 0);
  EXPECT(gl3_web_set_anti_port_scan(1) == 0);
  EXPECT(gl3_web_get_anti_port_scan(&scan) == 0);
  EXPECT(scan == 1);
  EXPECT(gl3_web_set_ipsec_pass_ctrl(0) == 0);
  EXPECT(gl3_web_get_ipsec_pass_ctrl(&ipsec) == 0);
  EXPECT(ipsec == 0);
}

static void call_internet_wan(void) {
  EXPECT(gl3_update_internet_wan() == 0);
  EXPECT(gl3_update_firewall() == 0);
  EXPECT(gl3_l3ctl_clear_firewall() == 0);
  EXPECT(gl3_l3ctl_update_firewall("wan5") == 0);
}

static void call_vpn_pass_through(void) {
  uint8_t state = 9;
  EXPECT(gl3_web_init_vpn_pass_through() == 0);
  EXPECT(gl3_web_set_vpn_pass_through(1) == 0);
  EXPECT(gl3_web_get_vpn_pass_through(&state) == 0);
  EXPECT(state == 1);
  EXPECT(gl3_web_set_vpn_pass_through_default() == 0);
}

static void call_route_qos(void) {
  static l3_qos_rules rules;
  int32_t control = 9;
  EXPECT(gl3_init_qos() == 0);
  EXPECT(gl3_web_set_route_qos_control(1) == 0);
  EXPECT(gl3_web_get_route_qos_control(&control) == 0);
  EXPECT(control == 1);
  rules.RulesNum = 1;
  EXPECT(gl3_web_set_route_qos(&rules) == 0);
  EXPECT(gl3_web_get_route_qos(&rules) == 0);
  EXPECT(rules.RulesNum == 1);
  EXPECT(gl3_web_remove_all_qos_cfg() == 0);
}

static void call_firewall(void) {
  uint8_t on = 9;
  int32_t level = 9;
  uint32_t portal = 9;
  EXPECT(gl3_web_init_fw() == 0);
  EXPECT(gl3_web_set_fw_status(1) == 0);
  EXPECT(gl3_web_get_fw_status(&on) == 0);
  EXPECT(on == 1);
  EXPECT(config_fw() == 0);
  EXPECT(config_fw6() == 0);
  EXPECT(gl3_web_set_fw_security_level(2) == 0);
  EXPECT(gl3_web_get_fw_security_level(&level) == 0);
  EXPECT(level == 2);
  EXPECT(gl3_web_set_caporl_enable(1) == 0);
  EXPECT(gl3_web_get_caporl_status(&portal) == 0);
  EXPECT(portal == 0);
  EXPECT(gl3_web_set_firewall_default() == 0);
}

static void call_management_access(void) {
  EXPECT(omci_set_telnet_state(1) == 0);
  EXPECT(omci_set_web_state(1, 80) == 0);
  EXPECT(gl3_web_cfg_page_jump(1, "192.168.1.0/24", "192.168.1.1") == 0);
}

/* A run outside the sandbox would write to the host's /ztcfg. */
static void insist_on_safe_ground(void) {
  struct statfs status;
  if (statfs("/ztcfg", &status) != 0 || (unsigned long)status.f_type != 0x01021994UL) {
    fprintf(stderr, "/ztcfg is not an empty place of this test's own: run it in tests/sandbox\n");
    exit(2);
  }
}

int main(void) {
  insist_on_safe_ground();
  check_names();
  call_shell_command_and_version();
  call_records();
  call_address();
  call_configuration_file();
  call_record_file();
  call_rule_set();
  call_ip_filter();
  call_access_list();
  call_url_filter();
  call_mac_filter();
  call_dhcp_filter();
  call_captive_portal();
  call_attack_protection();
  call_internet_wan();
  call_vpn_pass_through();
  call_route_qos();
  call_firewall();
  call_management_access();
  call_migration();
  return failures == 0 ? 0 : 1;
}
