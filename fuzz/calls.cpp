/*
 * Call after call over the whole interface, in any order and with any arguments, on one device that is
 * now and then started again. Whatever they are: a call ends, runs a bounded number of commands,
 * leaves no descriptor open, and the configuration file never outgrows its size.
 */
#include <iterator>
#include <memory>

#include "images.hpp"
#include "input.hpp"
#include "oracle.hpp"
#include "world.hpp"

using namespace fuzz;

namespace {

using Call = void (*)(Input&);

/* Hands an image to a set call: sometimes none, for it must stand that too. */
template <typename Region>
void set(Input& input, int32_t (*call)(const Region*)) {
  const auto image = std::make_unique<Region>();
  fill(input, *image);
  call(input.byte() == 0xff ? nullptr : image.get());
}

template <typename Region>
void get(Input& input, int32_t (*call)(Region*)) {
  const auto image = std::make_unique<Region>();
  call(input.byte() == 0xff ? nullptr : image.get());
}

template <typename Value>
void get_value(Input& input, int32_t (*call)(Value*)) {
  const auto value = std::make_unique<Value>();
  call(input.byte() == 0xff ? nullptr : value.get());
}

/* One of the files that other programs keep through the library. */
const char* record_path(Input& input) {
  return input.byte() % 2 == 0 ? "/ztcfg/ct_activity_timeout.conf" : "/ztcfg/record.dat";
}

constexpr size_t std_wan_size = 1872;

void move_record(Input& input, bool out) {
  const uint32_t length = input.word() % 4096;
  const auto record = std::make_unique<char[]>(length);
  const char* path = record_path(input);
  out ? write_info_to_file(record.get(), path, length)
      : read_info_from_file(record.get(), path, length);
}

void move_std_wan(Input& input, bool out) {
  const auto record = std::make_unique<char[]>(std_wan_size);
  const char* path = record_path(input);
  out ? set_std_wan_service_info_to_cfgfile(record.get(), path)
      : get_std_wan_service_info_from_cfgfile(record.get(), path);
}

void start_again(Input&) {
  restart_process();
  gl3_web_init_fw();
}

/* What the platform and the commands return from here on. */
void change_world(Input& input) {
  world.failing = input.byte();
  constexpr int failures[] = {0x100, 0x200, 0x7f00, 9, -1};
  world.failure = failures[input.byte() % std::size(failures)];
  world.transfer = input.byte();
  world.platform_fails = input.byte() == 1;
  world.wan = input.text().substr(0, 6);
  world.dhcp_server = input.text();
  if (input.byte() == 1) {
    world.files[flag_path] = "";
    world.files[old_path] = input.text();
  }
}

constexpr Call switches[] = {
    start_again,
    change_world,
    [](Input&) { gl3_web_init_fw(); },
    [](Input&) { config_fw(); },
    [](Input&) { config_fw6(); },
    [](Input& in) { gl3_web_set_fw_status(in.word()); },
    [](Input& in) { get_value(in, gl3_web_get_fw_status); },
    [](Input& in) { gl3_web_set_fw_security_level(static_cast<int32_t>(in.word())); },
    [](Input& in) { get_value(in, gl3_web_get_fw_security_level); },
    [](Input&) { gl3_web_set_firewall_default(); },
    [](Input&) {
      uint32_t status = 0;
      gl3_web_get_caporl_status(&status);
    },
    [](Input& in) { gl3_web_set_caporl_enable(in.word()); },
    [](Input& in) { gl3_web_set_anti_port_scan(in.byte()); },
    [](Input& in) { get_value(in, gl3_web_get_anti_port_scan); },
    [](Input& in) { gl3_web_set_ipsec_pass_ctrl(in.word()); },
    [](Input& in) { get_value(in, gl3_web_get_ipsec_pass_ctrl); },
    [](Input&) { config_fw_bad_tcp(); },
    [](Input& in) { gl3_web_set_vpn_pass_through(in.byte()); },
    [](Input& in) { get_value(in, gl3_web_get_vpn_pass_through); },
    [](Input&) { gl3_web_set_vpn_pass_through_default(); },
    [](Input&) { gl3_web_init_vpn_pass_through(); },
    [](Input&) { gl3_update_internet_wan(); },
    [](Input&) { gl3_update_firewall(); },
    [](Input& in) { gl3_l3ctl_update_firewall(in.text().c_str()); },
    [](Input&) { gl3_l3ctl_update_firewall(nullptr); },
    [](Input&) { gl3_l3ctl_clear_firewall(); },
    [](Input& in) { omci_set_telnet_state(in.byte()); },
    [](Input& in) {
      const auto port = static_cast<int32_t>(in.word());
      omci_set_web_state(in.byte(), port);
    },
    [](Input& in) {
      const uint32_t enable = in.word();
      const std::string net = in.text();
      gl3_web_cfg_page_jump(enable, net.c_str(), in.text().c_str());
    },
    [](Input&) { gl3_web_cfg_page_jump(1, nullptr, "192.168.1.1"); },
    [](Input&) { gl3_web_cfg_page_jump(1, "192.168.1.0/24", nullptr); },
    [](Input&) { libonu_bsp_version_export(); },
};

constexpr Call filters[] = {
    [](Input& in) { set(in, gl3_web_set_firewall_cfg); },
    [](Input& in) { set(in, gl3_web_set_firewall6_cfg); },
    [](Input& in) { set(in, gl3_web_set_url_cfg); },
    [](Input& in) { set(in, gl3_web_set_mac_cfg); },
    [](Input& in) { set(in, gl3_web_set_mac6_cfg); },
    [](Input& in) { set(in, gl3_web_set_dhcp_cfg); },
    [](Input& in) { set(in, gl3_web_set_acl_cfg); },
    [](Input& in) { set(in, gl3_web_set_caporl_cfg); },
    [](Input& in) { set(in, gl3_web_set_route_qos); },
    [](Input& in) { get(in, gl3_web_get_firewall_cfg); },
    [](Input& in) { get(in, gl3_web_get_firewall6_cfg); },
    [](Input& in) { get(in, gl3_web_get_url_cfg); },
    [](Input& in) { get(in, gl3_web_get_mac_cfg); },
    [](Input& in) { get(in, gl3_web_get_mac6_cfg); },
    [](Input& in) { get(in, gl3_web_get_dhcp_cfg); },
    [](Input& in) { get(in, gl3_web_get_acl_cfg); },
    [](Input& in) { get(in, gl3_web_get_caporl_cfg); },
    [](Input& in) { get(in, gl3_web_get_route_qos); },
    [](Input&) { config_fw_ip(); },
    [](Input&) { config_fw6_ip(); },
    [](Input&) { config_fw_url(); },
    [](Input&) { config_fw_mac(); },
    [](Input&) { config_fw6_mac(); },
    [](Input&) { config_fw_dhcp(); },
    [](Input&) { config_fw_acl(); },
    [](Input&) { config_fw_caporl(); },
    [](Input&) { gl3_web_remove_all_firewall_rule(); },
    [](Input&) { gl3_web_remove_all_firewall6_rule(); },
    [](Input&) { gl3_web_remove_all_url_rule(); },
    [](Input&) { gl3_web_remove_all_mac_rule(); },
    [](Input&) { gl3_web_remove_all_mac6_rule(); },
    [](Input&) { gl3_web_remove_all_dhcp_rule(); },
    [](Input&) { gl3_web_remove_all_acl_rule(); },
    [](Input&) { gl3_web_remove_all_caporl_rule(); },
    [](Input&) { gl3_web_remove_all_qos_cfg(); },
    [](Input&) { gl3_web_set_ip_table_default(); },
    [](Input&) { gl3_web_set_url_table_default(); },
    [](Input&) { gl3_web_set_mac_table_default(); },
    [](Input&) { gl3_web_set_dhcp_table_default(); },
    [](Input&) { gl3_web_set_acl_table_default(); },
    [](Input&) { gl3_web_set_caporl_table_default(); },
    [](Input& in) { gl3_web_set_route_qos_control(static_cast<int32_t>(in.word())); },
    [](Input& in) { get_value(in, gl3_web_get_route_qos_control); },
    [](Input&) { gl3_init_qos(); },
};

constexpr Call stores[] = {
    [](Input&) { init_cfgfile(); },
    [](Input& in) { get_value(in, get_vpn_pass_through_state_from_cfgfile); },
    [](Input& in) { set_vpn_pass_through_state_to_cfgfile(in.word()); },
    [](Input& in) { get_value(in, get_firewall_state_from_cfgfile); },
    [](Input& in) { set_firewall_state_to_cfgfile(in.word()); },
    [](Input&) { get_firewall_rules_from_cfgfile(); },
    [](Input&) { set_firewall_rules_to_cfgfile(); },
    [](Input&) { get_firewall4_rules_from_cfgfile(); },
    [](Input&) { set_firewall4_rules_to_cfgfile(); },
    [](Input&) { get_firewall6_rules_from_cfgfile(); },
    [](Input&) { set_firewall6_rules_to_cfgfile(); },
    [](Input&) { get_qos_cfg_from_cfgfile(); },
    [](Input&) { set_qos_cfg_to_cfgfile(); },
    [](Input&) { porting_firewall_cfg_v1_to_v2(); },
    [](Input& in) { init_std_wan_cfgfile(record_path(in)); },
    [](Input& in) { init_cfg_file(record_path(in)); },
    [](Input& in) { move_std_wan(in, true); },
    [](Input& in) { move_std_wan(in, false); },
    [](Input& in) { move_record(in, true); },
    [](Input& in) { move_record(in, false); },
    [](Input&) { flush_fw(); },
    [](Input&) { flush_fw6(); },
    [](Input&) { flush_fw_ip("iptables -t filter -F forward_ext_us_ip"); },
    [](Input&) { flush_fw_url("iptables -t filter -F forward_ext_url"); },
    [](Input&) { flush_fw_mac(nullptr); },
    [](Input&) { flush_fw_bad_tcp("iptables -t filter -F forward_ext_bad_tcp"); },
    [](Input&) { save_fw(); },
    [](Input&) { save_fw6(); },
    [](Input&) { restore_fw(); },
    [](Input&) { restore_fw6(); },
};

template <size_t size>
void call_one(Input& input, const Call (&calls)[size]) {
  calls[input.byte() % size](input);
}

void check_what_is_left() {
  check(world.commands.size() <= most_commands(), "no call makes more commands");
  check(open_files() == 0, "no descriptor stays open");
  const auto config = world.files.find(config_path);
  check(config == world.files.end() || config->second.size() <= 15019, "the file keeps its size");
  world.commands.clear();
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  start_process();
  while (!input.is_empty()) {
    switch (input.byte() % 3) {
      case 0:
        call_one(input, switches);
        break;
      case 1:
        call_one(input, filters);
        break;
      default:
        call_one(input, stores);
        break;
    }
    check_what_is_left();
  }
  return 0;
}
