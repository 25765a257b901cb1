#include <cstring>

#include "sample_config.hpp"
#include "scenarios.hpp"

namespace scenarios {

namespace {

constexpr char record_name[] = "another.rec";
constexpr char record_path[] = "/ztcfg/another.rec";
constexpr char timeout_path[] = "/ztcfg/ct_activity_timeout.conf";

std::function<int32_t()> get_state(int32_t (*call)(uint8_t*)) {
  return [call] {
    uint8_t state = 0;
    return call(&state);
  };
}

/* A call of the configuration file on a device that has none: it creates the file, whole. */
Scenario creating(const std::string& name, std::function<int32_t()> act) {
  return {.name = name + " where there is no file",
          .calls = {name},
          .act = std::move(act),
          .owns = {whole_file},
          .start = brand_new,
          .loads = false,
          .repair = init_cfgfile};
}

/* The device at home, with another program's file of 2000 bytes. */
Start with_record() {
  Start start = at_home('1');
  start.files[record_name] = std::string(2000, 'r');
  return start;
}

const char (&record())[1872] {
  static char bytes[1872];
  memset(bytes, 'n', sizeof(bytes));
  return bytes;
}

constexpr Range nothing = {0, 0};
constexpr Range wan_record = {0, 1872};
constexpr Range any_record = {0, 1500};
constexpr Range timeout_record = {0, 4};

Scenario on_record(const std::string& call, std::function<int32_t()> act, const Range& owns) {
  Scenario scenario = plain(call, std::move(act));
  scenario.start = with_record;
  scenario.other_file = record_name;
  scenario.other_owns = {owns};
  return scenario;
}

Scenario on_missing_record(const std::string& call, std::function<int32_t()> act,
                           const Range& owns) {
  Scenario scenario = on_record(call, std::move(act), owns);
  scenario.name += " where there is no file";
  scenario.start = [] { return at_home('1'); };
  return scenario;
}

int32_t read_wan() {
  static char info[1872];
  return get_std_wan_service_info_from_cfgfile(info, record_path);
}
int32_t write_wan() {
  return set_std_wan_service_info_to_cfgfile(record(), record_path);
}
int32_t create_wan() {
  return init_std_wan_cfgfile(record_path);
}
int32_t read_any() {
  static char info[1872];
  return read_info_from_file(info, record_path, 1500);
}
int32_t write_any() {
  return write_info_to_file(record(), record_path, 1500);
}

/* The same where what a cut creation leaves takes a whole one to mend. */
Scenario creating_record(const std::string& call, std::function<int32_t()> act) {
  Scenario scenario = on_missing_record(call, std::move(act), wan_record);
  scenario.repair = create_wan;
  return scenario;
}

/* An older release's file with two host names, and the flag of a pending migration. */
Start before_migration() {
  std::string old = harness::fresh_config_file();
  sample_config::put(old, 2447, harness::word(2));
  sample_config::put(old, 2451 + 4, "one.example");
  sample_config::put(old, 2451 + 36 + 4, "two.example");
  sample_config::put(old, 2447 + 1808, harness::word(1));
  old[sample_config::switch_value] = '1';
  Start start = at_home('1');
  start.files.erase(device::config);
  start.files["l3_advance.conf"] = old;
  start.files["v1_to_v2.flag"] = "";
  return start;
}

Start with_qos_off() {
  Start start = at_home('1');
  sample_config::put(start.files[device::config], sample_config::qos, harness::word(0));
  return start;
}

const l3_qos_rules& qos_image() {
  static l3_qos_rules image;
  image.RulesNum = 3;
  memset(image.reserved2, 0x5c, sizeof(image.reserved2));
  return image;
}

}  // namespace

List configuration_file() {
  return {
      plain("init_cfgfile", init_cfgfile, {whole_file}),
      creating("init_cfgfile", init_cfgfile),
      plain("get_vpn_pass_through_state_from_cfgfile",
            get_state(get_vpn_pass_through_state_from_cfgfile)),
      plain("get_firewall_state_from_cfgfile", get_state(get_firewall_state_from_cfgfile)),
      creating("get_firewall_state_from_cfgfile", get_state(get_firewall_state_from_cfgfile)),
      plain("set_vpn_pass_through_state_to_cfgfile",
            [] { return set_vpn_pass_through_state_to_cfgfile(0); }, {vpn_line}),
      plain("set_firewall_state_to_cfgfile", [] { return set_firewall_state_to_cfgfile(0); },
            {switch_line}),
      plain("get_firewall_rules_from_cfgfile", get_firewall_rules_from_cfgfile),
      plain("get_firewall4_rules_from_cfgfile", get_firewall4_rules_from_cfgfile),
      plain("get_firewall6_rules_from_cfgfile", get_firewall6_rules_from_cfgfile),
      plain("get_qos_cfg_from_cfgfile", get_qos_cfg_from_cfgfile),
      creating("get_qos_cfg_from_cfgfile", get_qos_cfg_from_cfgfile),
      // What they write is what was loaded: nothing may change.
      plain("set_firewall_rules_to_cfgfile", set_firewall_rules_to_cfgfile),
      plain("set_firewall4_rules_to_cfgfile", set_firewall4_rules_to_cfgfile),
      plain("set_firewall6_rules_to_cfgfile", set_firewall6_rules_to_cfgfile),
      plain("set_qos_cfg_to_cfgfile", set_qos_cfg_to_cfgfile),
  };
}

List record_files() {
  List list = {
      on_record("init_std_wan_cfgfile", create_wan, wan_record),
      on_record("set_std_wan_service_info_to_cfgfile", write_wan, wan_record),
      on_record("get_std_wan_service_info_from_cfgfile", read_wan, nothing),
      on_record(
          "init_cfg_file", [] { return init_cfg_file(record_path); }, nothing),
      on_record("write_info_to_file", write_any, any_record),
      on_record("read_info_from_file", read_any, nothing),
      creating_record("set_std_wan_service_info_to_cfgfile", write_wan),
      creating_record("get_std_wan_service_info_from_cfgfile", read_wan),
      on_missing_record("write_info_to_file", write_any, any_record),
      on_missing_record(
          "init_cfg_file", [] { return init_cfg_file(timeout_path); }, timeout_record),
  };
  list.back().other_file = "ct_activity_timeout.conf";
  return list;
}

List migration() {
  return {{.name = "boot that migrates",
           .calls = {"porting_firewall_cfg_v1_to_v2"},
           .act = gl3_web_init_fw,
           .owns = {whole_file},
           .start =
               [] {
                 Start start = before_migration();
                 start.kernel.clear();
                 return start;
               },
           .loads = false,
           .boots = true,
           // Entries that are not converted make other rules, and may keep IPsec from passing.
           .more_commands = 4,
           .repeatable = false}};
}

List vpn_pass_through() {
  Scenario off = plain("gl3_web_set_vpn_pass_through",
                       [] { return gl3_web_set_vpn_pass_through(0); }, {vpn_line});
  // A line cut short reads as off, and setting off again finds nothing to do; a change does.
  off.repair = [] { return gl3_web_set_vpn_pass_through(1); };
  Scenario reset = off;
  reset.name = "gl3_web_set_vpn_pass_through_default";
  reset.calls = {reset.name};
  reset.act = gl3_web_set_vpn_pass_through_default;
  return {
      off,
      reset,
      plain("gl3_web_get_vpn_pass_through", get_state(gl3_web_get_vpn_pass_through)),
      {.name = "first gl3_web_get_vpn_pass_through",
       .calls = {"gl3_web_get_vpn_pass_through"},
       .act = get_state(gl3_web_get_vpn_pass_through),
       .loads = false},
      {.name = "gl3_web_init_vpn_pass_through",
       .calls = {"gl3_web_init_vpn_pass_through"},
       .act = gl3_web_init_vpn_pass_through,
       .loads = false},
  };
}

List route_qos_calls() {
  Scenario off = plain("gl3_web_set_route_qos", [] { return gl3_web_set_route_qos(&qos_image()); },
                       {route_qos});
  off.name += " while it is off";
  off.start = with_qos_off;
  return {
      plain("gl3_web_set_route_qos", [] { return gl3_web_set_route_qos(&qos_image()); },
            {route_qos}),
      off,
      plain("gl3_web_set_route_qos_control", [] { return gl3_web_set_route_qos_control(0); },
            {route_qos}),
      plain("gl3_web_remove_all_qos_cfg", gl3_web_remove_all_qos_cfg, {route_qos}),
      plain("gl3_web_get_route_qos",
            [] {
              static l3_qos_rules rules;
              return gl3_web_get_route_qos(&rules);
            }),
      plain("gl3_web_get_route_qos_control",
            [] {
              int32_t control = 0;
              return gl3_web_get_route_qos_control(&control);
            }),
      plain("gl3_init_qos", gl3_init_qos),
  };
}

}  // namespace scenarios
