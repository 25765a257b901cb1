#include "firewall/base/platform.hpp"

namespace l3::platform {
namespace {

/* The result of a call that the process does not supply. */
constexpr int32_t missing = -1;

}  // namespace

void refresh_log_level() {
  if (grm_all_refresh_log_mod_level != nullptr) {
    grm_all_refresh_log_mod_level();
  }
}

int32_t export_version(const char* file, const char* version, const char* date, const char* time,
                       const char* banner, int32_t flag) {
  return zt_bsp_version_export == nullptr
             ? missing
             : zt_bsp_version_export(file, version, date, time, banner, flag);
}

int32_t get_vpn_pass_through(uint8_t* state) {
  return grm_l3_advance_get_vpn_pass_through == nullptr
             ? missing
             : grm_l3_advance_get_vpn_pass_through(state);
}

int32_t set_vpn_pass_through(uint8_t state) {
  return grm_l3_advance_set_vpn_pass_through == nullptr
             ? missing
             : grm_l3_advance_set_vpn_pass_through(state);
}

int32_t control_vpn_pass_through(int32_t protocol, uint8_t state) {
  return gpon_l3_control_vpn_pass_through == nullptr
             ? missing
             : gpon_l3_control_vpn_pass_through(protocol, state);
}

int32_t set_qos_cfg(const void* route_qos_record) {
  return gpon_l3_set_qos_cfg == nullptr ? missing : gpon_l3_set_qos_cfg(route_qos_record);
}

int32_t get_internet_index() {
  return grm_gl3_get_internet_index == nullptr ? missing : grm_gl3_get_internet_index();
}

int32_t get_if_name(int32_t index, char* name) {
  return getIfName == nullptr ? missing : getIfName(index, name);
}

void get_dhcp_server(int32_t index, void* buffer) {
  if (DhcpsParaServerGet != nullptr) {
    DhcpsParaServerGet(index, buffer);
  }
}

}  // namespace l3::platform
