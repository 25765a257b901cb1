#include "management/store/setters.hpp"

#include <unistd.h>

#include <string>

#include "l3_advance/l3_advance.h"
#include "management/error.hpp"
#include "management/store/paths.hpp"
#include "management/store/time_zone_file.hpp"
#include "management/system/atomic_file.hpp"
#include "management/system/platform_info.hpp"

namespace management {

namespace {

/* Does what "wan update" does, where the firewall is on and getIfName() cannot hand over the name. */
int32_t bind_long_wan_name() {
  constexpr size_t longest_handed_over = 5;
  const std::string wan = internet_wan_name();
  uint8_t on = 0;
  if (wan.size() <= longest_handed_over || get_firewall_state_from_cfgfile(&on) != 0 || on == 0) {
    return 0;
  }
  gl3_l3ctl_clear_firewall();
  const int32_t result = gl3_l3ctl_update_firewall(wan.c_str());
  return result == 0 ? save_fw() : result;
}

}  // namespace

int32_t store_time_zone(const settings::TimeZone& zone) {
  try {
    write_zone_file({zone, std::nullopt});
    return 0;
  } catch (const Error& error) {
    notify(error.what(), Severity::error);
    return -1;
  }
}

int32_t remove_time_zone() {
  try {
    if (access(time_zone_path, F_OK) == 0) {
      remove_durably(time_zone_path);
    }
    return 0;
  } catch (const Error& error) {
    notify(error.what(), Severity::error);
    return -1;
  }
}

int32_t set_firewall(bool on) {
  const int32_t result = gl3_web_set_fw_status(on ? 1 : 0);
  return result == 0 && on ? bind_long_wan_name() : result;
}

int32_t set_port_scan_protection(bool on) {
  const int32_t result = gl3_web_set_anti_port_scan(on ? 1 : 0);
  return result == 0 && on ? bind_long_wan_name() : result;
}

int32_t set_security_level(int32_t level) {
  const int32_t result = gl3_web_set_fw_security_level(level);
  return result == 0 && level != 0 ? bind_long_wan_name() : result;
}

int32_t set_vpn_pass_through(bool on) {
  // Reading first hands the stored state to the platform: the set call compares with what that holds.
  uint8_t now = 0;
  const int32_t result = gl3_web_get_vpn_pass_through(&now);
  return result != 0 ? result : gl3_web_set_vpn_pass_through(on ? 1 : 0);
}

}  // namespace management
