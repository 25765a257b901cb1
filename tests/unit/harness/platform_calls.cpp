#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "fault.hpp"
#include "harness.hpp"
#include "recorder.hpp"

namespace harness {
namespace {

std::string qos_record;

}  // namespace

const std::string& last_qos_record() {
  return qos_record;
}

}  // namespace harness

using namespace harness;

extern "C" {

void l3_log_print(int32_t level, int32_t module, const char* format, ...) {
  if (world.logged != nullptr) {
    world.logged(format, reinterpret_cast<uintptr_t>(__builtin_frame_address(0)));
  }
  if (!recording()) {
    return;
  }
  char text[4096];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);

  int line = 0;
  int behind = 0;
  std::string shown = text;
  if (sscanf(text, "line[%d]%n", &line, &behind) == 1 && behind > 0 && line > 0) {
    shown = "line[#]" + shown.substr(static_cast<size_t>(behind));
  }
  std::string name = level == 2 ? "error" : level == 4 ? "debug" : "level " + std::to_string(level);
  if (module != 2) {
    name += " module " + std::to_string(module);
  }
  // The number is the format's first argument and no part of its text.
  if (strncmp(format, "line[%d], ", 10) != 0) {
    name += " of a wrong format";
  }
  add_event(name + " " + printable(shown));
}

void grm_all_refresh_log_mod_level(void) {
  add_event("platform grm_all_refresh_log_mod_level");
}

int32_t zt_bsp_version_export(const char* file, const char* version, const char* date,
                              const char* time, const char* banner, int32_t flag) {
  add_event("platform zt_bsp_version_export(\"" + std::string(file) + "\", \"" + version +
            "\", \"" + date + "\", \"" + time + "\", \"" + banner + "\", " + std::to_string(flag) +
            ")");
  return breaks("platform", 0) ? -1 : world.version_export_result;
}

int32_t grm_l3_advance_get_vpn_pass_through(uint8_t* state) {
  add_event("platform grm_l3_advance_get_vpn_pass_through");
  if (breaks("platform", 0)) {
    return -1;
  }
  if (world.vpn_get_result != -1) {
    *state = world.vpn_state;
  }
  return world.vpn_get_result;
}

int32_t grm_l3_advance_set_vpn_pass_through(uint8_t state) {
  add_event("platform grm_l3_advance_set_vpn_pass_through(" + std::to_string(state) + ")");
  if (breaks("platform", 0)) {
    return -1;
  }
  if (world.vpn_set_result != -1) {
    world.vpn_state = state;
  }
  return world.vpn_set_result;
}

int32_t gpon_l3_control_vpn_pass_through(int32_t protocol, uint8_t state) {
  add_event("platform gpon_l3_control_vpn_pass_through(" + std::to_string(protocol) + ", " +
            std::to_string(state) + ")");
  return breaks("platform", 0) ? -1 : world.vpn_driver_result;
}

int32_t gpon_l3_set_qos_cfg(const void* route_qos_record) {
  qos_record.assign(static_cast<const char*>(route_qos_record), 248);
  const bool is_global = route_qos_record == &RtQoSRulesTable;
  add_event(std::string("platform gpon_l3_set_qos_cfg(") +
            (is_global ? "RtQoSRulesTable" : "another record") + ")");
  return breaks("platform", 0) ? -1 : world.qos_result;
}

int32_t grm_gl3_get_internet_index(void) {
  add_event("platform grm_gl3_get_internet_index");
  return breaks("platform", 0) ? -1 : world.internet_index;
}

int32_t getIfName(int32_t index, char* name) {
  const bool zeroed = std::string(name, 6) == std::string(6, '\0');
  add_event("platform getIfName(" + std::to_string(index) +
            (zeroed ? ")" : ", buffer not zeroed)"));
  if (breaks("platform", 0)) {
    return -1;
  }
  memcpy(name, world.if_name.c_str(), std::min<size_t>(world.if_name.size() + 1, 6));
  return world.if_name_result;
}

int32_t DhcpsParaServerGet(int32_t index, void* buffer) {
  const bool zeroed = std::string(static_cast<char*>(buffer), 48) == std::string(48, '\0');
  add_event("platform DhcpsParaServerGet(" + std::to_string(index) +
            (zeroed ? ")" : ", buffer not zeroed)"));
  if (breaks("platform", 0)) {
    return -1;
  }
  memcpy(buffer, world.dhcp_server_buffer.data(),
         std::min<size_t>(world.dhcp_server_buffer.size(), 48));
  return world.dhcp_server_result;
}

}  // extern "C"
