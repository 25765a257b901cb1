/* The smallest program that uses the installed library: it supplies the platform and asks for the
 * version banner and one conversion. */
#include <l3_advance/l3_advance.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

void l3_log_print(int32_t level, int32_t module, const char* format, ...) {
  va_list arguments;
  (void)level;
  (void)module;
  va_start(arguments, format);
  vfprintf(stderr, format, arguments);
  va_end(arguments);
}

void grm_all_refresh_log_mod_level(void) {}

int32_t zt_bsp_version_export(const char* file, const char* version, const char* date,
                              const char* time, const char* banner, int32_t flag) {
  printf("%s %s %s %s %s%d\n", file, version, date, time, banner, flag);
  return 42;
}

int32_t grm_l3_advance_get_vpn_pass_through(uint8_t* state) {
  *state = 0;
  return 0;
}

int32_t grm_l3_advance_set_vpn_pass_through(uint8_t state) {
  return state > 1 ? -1 : 0;
}

int32_t gpon_l3_control_vpn_pass_through(int32_t protocol, uint8_t state) {
  return protocol == 47 && state <= 1 ? 0 : 1;
}

int32_t gpon_l3_set_qos_cfg(const void* route_qos_record) {
  return route_qos_record == NULL ? -1 : 0;
}

int32_t grm_gl3_get_internet_index(void) {
  return -1;
}

int32_t getIfName(int32_t index, char* name) {
  (void)index;
  (void)name;
  return -1;
}

int32_t DhcpsParaServerGet(int32_t index, void* buffer) {
  (void)index;
  (void)buffer;
  return -1;
}

int main(void) {
  char text[16] = "";
  if (libonu_bsp_version_export() != 42) {
    return 1;
  }
  if (gl3_web_ip_bin_to_str(text, 0xC0A80101U) != 0 || strcmp(text, "192.168.1.1") != 0) {
    return 2;
  }
  puts(text);
  return 0;
}
