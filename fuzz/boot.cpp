/*
 * Three starts of a device with any bytes for its configuration file, old or new: every getter answers
 * with the file's bytes, and zeros behind its end; the commands stay within their bound.
 *
 *   byte 0   1 there is a save file of IPv4 rules, 2 of IPv6 rules, 4 the file is of the old form
 *   byte 1   every n-th command fails
 *   byte 2   a read or write moves at most 64 n bytes
 *   others   the file
 */
#include <memory>

#include "input.hpp"
#include "oracle.hpp"
#include "world.hpp"

using namespace fuzz;

namespace {

constexpr size_t whole_file = 15019;
constexpr size_t fw_offset = 31;
constexpr size_t qos_offset = 6199;
constexpr size_t fw6_offset = 6447;

template <typename Object>
void check_stored(const Object& got, size_t offset) {
  std::string file = world.files[config_path];
  file.resize(std::max(file.size(), whole_file));
  check(memcmp(&got, file.data() + offset, sizeof(got)) == 0, "a getter tells what is stored",
        std::to_string(offset));
}

template <typename Region>
void check_region(int32_t (*get)(Region*), size_t offset) {
  const auto got = std::make_unique<Region>();
  check(get(got.get()) == 0, "a region can be read");
  check_stored(*got, offset);
}

bool line_says_on(size_t offset) {
  const std::string& file = world.files[config_path];
  return file.size() >= offset + 2 && file.compare(offset, 2, "1\n") == 0;
}

void check_switches() {
  uint8_t state = 2;
  check(gl3_web_get_fw_status(&state) == 0 && state == (line_says_on(29) ? 1 : 0),
        "the switch is on where its line says so");
  check(get_vpn_pass_through_state_from_cfgfile(&state) == 0 && state == (line_says_on(17) ? 1 : 0),
        "and VPN pass-through likewise");
  check(gl3_web_get_vpn_pass_through(&state) == 0 && state == world.vpn,
        "the platform knows VPN pass-through");
  check(gl3_web_get_anti_port_scan(&state) == 0 &&
            state == static_cast<uint8_t>(fw_rules_table.anti_port_scan),
        "a byte of the anti port scan word");
  uint32_t word = 0;
  check(gl3_web_get_ipsec_pass_ctrl(&word) == 0, "the IPsec word can be read");
  check_stored(word, fw_offset + 4632);
  check(gl3_web_get_caporl_status(&word) == 0 && word <= 1, "the portal is on or off");
  int32_t control = 0;
  check(gl3_web_get_route_qos_control(&control) == 0, "the QoS switch can be read");
  check_stored(control, qos_offset);
}

void check_getters() {
  check_region(gl3_web_get_firewall_cfg, fw_offset);
  check_region(gl3_web_get_url_cfg, fw_offset + 2416);
  check_region(gl3_web_get_mac_cfg, fw_offset + 4636);
  check_region(gl3_web_get_dhcp_cfg, fw_offset + 4848);
  check_region(gl3_web_get_acl_cfg, fw_offset + 5060);
  check_region(gl3_web_get_caporl_cfg, fw_offset + 5388);
  check_region(gl3_web_get_firewall6_cfg, fw6_offset);
  check_region(gl3_web_get_mac6_cfg, fw6_offset + 7036);
  check_region(gl3_web_get_route_qos, qos_offset + 4);
  check_switches();
}

void check_bound() {
  check(world.commands.size() <= most_commands(), "no file makes more commands");
  check(open_files() == 0, "no descriptor stays open");
  world.commands.clear();
}

/* The files are all there: only a command can have failed. */
void check_result(int32_t result) {
  check(result == 0 || (result == -1 && world.failing != 0), "it works, or a command has failed",
        std::to_string(result));
}

void start(uint8_t failing, uint8_t pieces) {
  restart_process();
  world.failing = failing;
  world.transfer = pieces * size_t{64};
  check_result(gl3_web_init_fw());
  check_bound();
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const uint8_t files = input.byte();
  const uint8_t failing = input.byte();
  const uint8_t pieces = input.byte();
  const bool is_old = (files & 4) != 0;

  start_process();
  world.files.clear();
  if ((files & 1) != 0) {
    world.files[save_path] = "saved";
  }
  if ((files & 2) != 0) {
    world.files[save6_path] = "saved";
  }
  if (is_old) {
    world.files[flag_path] = "";
  }
  const std::string stored = input.rest();
  world.files[is_old ? old_path : config_path] = stored;

  for (int starts = 0; starts < 3; ++starts) {
    start(failing, pieces);
    check(is_old || world.files[config_path] == stored, "a start leaves the file as it is");
    check_getters();
  }
  check_result(gl3_web_set_fw_status(1));
  check_bound();
  int32_t level = 0;
  check(gl3_web_get_fw_security_level(&level) == 0, "the level can be read");
  check(level == static_cast<int32_t>(fw_rules_table.security_level), "and is the record's");
  return 0;
}
