/*
 * VPN pass-through: whether GRE tunnels from the home network cross the address translation.
 *
 *   stored   "vpn_pass_through=" line of the configuration file
 *   sent to  the forwarding driver (protocol 47) and the resource manager; no packet-filter rule
 *   truth    the file until the first successful read or change in a process, then the resource
 *            manager
 *   kept     ESP has no call of its own; a stored 0 is not sent to the driver; messages go to
 *            standard output, and the log level is not refreshed
 */
#include "l3_advance/vpn_pass_through.h"

#include <cstdio>

#include "firewall/base/platform.hpp"
#include "l3_advance/configuration_file.h"

using namespace l3;

namespace {

// Kept: only GRE is configured; for ESP the driver's own setting applies.
constexpr int32_t gre = 47;

/* 1 once the stored value has reached the platform, or a newer one has been set. */
uint8_t vpn_pass_through_status_cfg_file_read = 0;

/* The first read in a process: after a restart only the file has the switch. */
int32_t push_stored_state(uint8_t* xo_control) {
  if (get_vpn_pass_through_state_from_cfgfile(xo_control) == -1) {
    puts("gl3_web_get_vpn_pass_through::get_vpn_pass_through_state_from_cfgfile error!");
    return -1;
  }
  if (platform::set_vpn_pass_through(*xo_control) == -1) {
    puts("gl3_web_get_vpn_pass_through::grm_l3_advance_set_vpn_pass_through error!");
    return -1;
  }
  // Kept: a stored 0 goes to the resource manager alone; a driver that is on stays on until the
  // next change.
  if (*xo_control != 0) {
    if (const int32_t result = platform::control_vpn_pass_through(gre, *xo_control); result != 0) {
      printf("gl3_web_get_vpn_pass_through::gpon_l3_control_vpn_pass_through [GRE]error=%d\n",
             result);
      return -1;
    }
  }
  vpn_pass_through_status_cfg_file_read = 1;
  return 0;
}

}  // namespace

extern "C" {

// Kept: no call of this file refreshes the log level; every message goes to standard output, which
// has no level.
int32_t gl3_web_set_vpn_pass_through(uint32_t control) {
  const auto state = static_cast<uint8_t>(control);
  if (state > 1) {
    printf("gl3_web_set_vpn_pass_through::control =%d err\n", state);
    return -1;
  }
  uint8_t current = 0;
  if (platform::get_vpn_pass_through(&current) == -1) {
    puts("gl3_web_set_vpn_pass_through::grm_l3_advance_get_vpn_pass_through error!");
    return -1;
  }
  // Kept: the flag stays as it is; a process that has not read yet still takes the file's value
  // first.
  if (state == current) {
    return 0;
  }

  // The driver first: where it refuses, nothing else is changed. The file last.
  if (const int32_t result = platform::control_vpn_pass_through(gre, state); result != 0) {
    printf("gl3_web_set_vpn_pass_through::gpon_l3_control_vpn_pass_through [GRE]error=%d\n",
           result);
    return -1;
  }
  if (platform::set_vpn_pass_through(state) == -1) {
    puts("gl3_web_set_vpn_pass_through::grm_l3_advance_set_vpn_pass_through error!");
    return -1;
  }
  if (set_vpn_pass_through_state_to_cfgfile(state) == -1) {
    puts("gl3_web_set_vpn_pass_through::set_vpn_pass_through_state_to_cfgfile error!");
    return -1;
  }
  vpn_pass_through_status_cfg_file_read = 1;
  return 0;
}

int32_t gl3_web_get_vpn_pass_through(uint8_t* xo_control) {
  if (xo_control == nullptr) {
    puts("gl3_web_get_vpn_pass_through::xo_control NULLP err\r");
    return -1;
  }
  if (vpn_pass_through_status_cfg_file_read == 0 && push_stored_state(xo_control) == -1) {
    return -1;
  }
  if (platform::get_vpn_pass_through(xo_control) == -1) {
    puts("gl3_web_get_vpn_pass_through::grm_l3_advance_get_vpn_pass_through error!");
    return -1;
  }
  return 0;
}

int32_t gl3_web_set_vpn_pass_through_default(void) {
  const int32_t result = gl3_web_set_vpn_pass_through(0);
  if (result != 0) {
    puts("gl3_web_set_vpn_pass_through_default::gl3_web_set_vpn_pass_through err!");
  }
  return result;
}

int32_t gl3_web_init_vpn_pass_through(void) {
  uint8_t control = 0;
  if (const int32_t result = gl3_web_get_vpn_pass_through(&control); result != 0) {
    puts("gl3_web_init_vpn_pass_through::gl3_web_get_vpn_pass_through err!");
    return result;
  }
  const int32_t result = gl3_web_set_vpn_pass_through(control);
  if (result != 0) {
    puts("gl3_web_init_vpn_pass_through::gl3_web_set_vpn_pass_through err!");
  }
  return result;
}

}  // extern "C"
