#include "platform.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "l3_advance/platform.h"

namespace {

bool log_is_on = false;

}  // namespace

namespace bench {

void log_on(bool on) {
  log_is_on = on;
}

}  // namespace bench

extern "C" {

void l3_log_print(int32_t /*level*/, int32_t /*module*/, const char* format, ...) {
  if (!log_is_on) {
    return;
  }
  char text[512];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
}

void grm_all_refresh_log_mod_level(void) {}

int32_t zt_bsp_version_export(const char* /*file*/, const char* /*version*/, const char* /*date*/,
                              const char* /*time*/, const char* /*banner*/, int32_t /*flag*/) {
  return 0;
}

int32_t grm_l3_advance_get_vpn_pass_through(uint8_t* state) {
  *state = 0;
  return 0;
}

int32_t grm_l3_advance_set_vpn_pass_through(uint8_t /*state*/) {
  return 0;
}

int32_t gpon_l3_control_vpn_pass_through(int32_t /*protocol*/, uint8_t /*state*/) {
  return 0;
}

int32_t gpon_l3_set_qos_cfg(const void* /*route_qos_record*/) {
  return 0;
}

int32_t grm_gl3_get_internet_index(void) {
  return 3;
}

int32_t getIfName(int32_t /*index*/, char* name) {
  memcpy(name, "wan3", sizeof("wan3"));
  return 0;
}

int32_t DhcpsParaServerGet(int32_t /*index*/, void* buffer) {
  memcpy(buffer, "192.168.1.1", sizeof("192.168.1.1"));
  return 0;
}

}  // extern "C"
