/*
 * A program that loads the library and supplies the platform calls, but for those that it is compiled
 * without: WITHOUT_<call>. The calls that its arguments name are supplied and fail; a log call that
 * fails logs nothing.
 *
 * Prints what the library does and returns, so that a program without some calls can be compared with
 * the one in which these calls fail.
 */
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "l3_advance/l3_advance.h"

static char** failing;

/* Whether an argument of the program names the call; prints the call where none does. */
__attribute__((unused)) static int fails(const char* call) {
  for (char** name = failing; *name != NULL; ++name) {
    if (strcmp(*name, call) == 0) {
      return 1;
    }
  }
  printf("platform %s\n", call);
  return 0;
}

int system(const char* command) {
  printf("run %s\n", command);
  return 0;
}

#ifndef WITHOUT_l3_log_print
void l3_log_print(int32_t level, int32_t module, const char* format, ...) {
  if (fails("l3_log_print")) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  printf("log %d %d ", level, module);
  vprintf(format, arguments);
  va_end(arguments);
}
#endif

#ifndef WITHOUT_grm_all_refresh_log_mod_level
void grm_all_refresh_log_mod_level(void) {
  fails("grm_all_refresh_log_mod_level");
}
#endif

#ifndef WITHOUT_zt_bsp_version_export
int32_t zt_bsp_version_export(const char* file, const char* version, const char* date,
                              const char* time, const char* banner, int32_t flag) {
  if (fails("zt_bsp_version_export")) {
    return -1;
  }
  printf("%s %s %s %s %s %d\n", file, version, date, time, banner, flag);
  return 41;
}
#endif

#ifndef WITHOUT_grm_l3_advance_get_vpn_pass_through
int32_t grm_l3_advance_get_vpn_pass_through(uint8_t* state) {
  if (fails("grm_l3_advance_get_vpn_pass_through")) {
    return -1;
  }
  *state = 0;
  return 0;
}
#endif

#ifndef WITHOUT_grm_l3_advance_set_vpn_pass_through
int32_t grm_l3_advance_set_vpn_pass_through(uint8_t state) {
  (void)state;
  return fails("grm_l3_advance_set_vpn_pass_through") ? -1 : 0;
}
#endif

#ifndef WITHOUT_gpon_l3_control_vpn_pass_through
int32_t gpon_l3_control_vpn_pass_through(int32_t protocol, uint8_t state) {
  (void)protocol;
  (void)state;
  return fails("gpon_l3_control_vpn_pass_through") ? -1 : 0;
}
#endif

#ifndef WITHOUT_gpon_l3_set_qos_cfg
int32_t gpon_l3_set_qos_cfg(const void* route_qos_record) {
  (void)route_qos_record;
  return fails("gpon_l3_set_qos_cfg") ? -1 : 0;
}
#endif

#ifndef WITHOUT_grm_gl3_get_internet_index
int32_t grm_gl3_get_internet_index(void) {
  return fails("grm_gl3_get_internet_index") ? -1 : 7;
}
#endif

#ifndef WITHOUT_getIfName
int32_t getIfName(int32_t index, char* name) {
  (void)index;
  if (fails("getIfName")) {
    return -1;
  }
  strcpy(name, "ppp7");
  return 0;
}
#endif

#ifndef WITHOUT_DhcpsParaServerGet
int32_t DhcpsParaServerGet(int32_t index, void* buffer) {
  (void)index;
  if (fails("DhcpsParaServerGet")) {
    return -1;
  }
  strcpy((char*)buffer, "192.168.7.1");
  return 0;
}
#endif

int main(int argc, char** argv) {
  (void)argc;
  failing = argv + 1;
  uint8_t state = 9;

  printf("= %d\n", libonu_bsp_version_export());
  printf("= %d\n", gl3_web_init_fw());
  printf("= %d\n", gl3_init_qos());
  printf("= %d\n", gl3_web_set_fw_status(1));
  printf("= %d\n", gl3_update_internet_wan());
  printf("= %d\n", gl3_web_set_anti_port_scan(1));
  printf("= %d\n", gl3_web_set_vpn_pass_through(1));
  printf("= %d\n", gl3_web_get_vpn_pass_through(&state));
  printf("= %d\n", gl3_web_cfg_page_jump(1, "192.168.1.0/24", "192.168.1.1:8080"));
  printf("= %d\n", gl3_web_cfg_page_jump(1, NULL, NULL));
  printf("= %d\n", gl3_web_get_fw_status(&state));
  return 0;
}
