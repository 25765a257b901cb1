/*
 * The forwarding services that an ordinary machine does not have: their settings are stored in
 * files, so that other processes can read them.
 */
#include <string>

#include "l3_advance/platform.h"
#include "platform/linux/platform_linux.hpp"

using platform_linux::read_state;
using platform_linux::write_state;

namespace {

constexpr std::size_t route_qos_size = 248;

platform_linux::Observer observer_now = nullptr;

void notify(const char* call, const std::string& arguments) {
  if (observer_now != nullptr) {
    observer_now(std::string(call) + "(" + arguments + ")");
  }
}

std::string in_hexadecimal(std::string bytes) {
  bytes.erase(bytes.find_last_not_of('\0') + 1);
  std::string text;
  for (const char byte : bytes) {
    const auto number = static_cast<unsigned char>(byte);
    text += "0123456789abcdef"[number >> 4];
    text += "0123456789abcdef"[number & 15];
  }
  return text;
}

}  // namespace

namespace platform_linux {

void observe(Observer observer) {
  observer_now = observer;
}

}  // namespace platform_linux

extern "C" {

/* Limits: off until it is set; the setting lives until the machine restarts. */
int32_t grm_l3_advance_get_vpn_pass_through(uint8_t* state) {
  *state = read_state("vpn_pass_through").rfind('1', 0) == 0 ? 1 : 0;
  return 0;
}

/* Limits: fails when the state directory cannot be written. */
int32_t grm_l3_advance_set_vpn_pass_through(uint8_t state) {
  notify("grm_l3_advance_set_vpn_pass_through", std::to_string(state));
  return write_state("vpn_pass_through", state == 0 ? "0\n" : "1\n") ? 0 : -1;
}

/* Limits: no packet is treated differently; Linux forwards GRE by itself. */
int32_t gpon_l3_control_vpn_pass_through(int32_t protocol, uint8_t state) {
  notify("gpon_l3_control_vpn_pass_through",
         std::to_string(protocol) + ", " + std::to_string(state));
  const std::string setting = std::to_string(protocol) + " " + std::to_string(state) + "\n";
  return write_state("vpn_driver", setting) ? 0 : 1;
}

/* Limits: the record is kept, no queue is programmed. */
int32_t gpon_l3_set_qos_cfg(const void* route_qos_record) {
  const std::string record(static_cast<const char*>(route_qos_record), route_qos_size);
  notify("gpon_l3_set_qos_cfg", in_hexadecimal(record));
  return write_state("route_qos", record) ? 0 : -1;
}

/* Limits: a banner is kept once, however often it is registered. */
int32_t zt_bsp_version_export(const char* file, const char* version, const char* date,
                              const char* time, const char* banner, int32_t flag) {
  const std::string line = std::string(file) + " " + version + " (" + date + " " + time + ") " +
                           banner + std::to_string(flag) + "\n";
  notify("zt_bsp_version_export", line.substr(0, line.size() - 1));
  const std::string known = read_state("versions");
  if (known.find(line) != std::string::npos) {
    return 0;
  }
  return write_state("versions", known + line) ? 0 : -1;
}

}  // extern "C"
