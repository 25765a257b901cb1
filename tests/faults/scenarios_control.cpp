#include <iterator>

#include "sample_config.hpp"
#include "scenarios.hpp"
#include "subprocess.hpp"

namespace scenarios {

namespace {

/* The device after a process of its own has done `action`. */
Start after(const Start& before, const std::function<void()>& action) {
  device::put(before.files);
  const Reply reply = in_subprocess([&] {
    device::kernel.load(before.kernel);
    device::plug_in();
    static_cast<void>(harness::record(action));
    return Lines{device::kernel.text()};
  });
  EXPECT_EQ(reply.status, 0);
  return {device::files(), reply.lines.at(0)};
}

Start without_kernel(Start start) {
  start.kernel.clear();
  return start;
}

/* A start of the device, with what it meets there. */
Scenario boot(const std::string& name, std::function<Start()> start) {
  return {.name = name,
          .calls = {"gl3_web_init_fw"},
          .act = gl3_web_init_fw,
          .start = std::move(start),
          .loads = false,
          .boots = true};
}

Start booted_once() {
  return without_kernel(after(brand_new(), [] { gl3_web_init_fw(); }));
}

}  // namespace

Scenario plain(const std::string& name, std::function<int32_t()> act, std::vector<Range> owns) {
  return {.name = name, .calls = {name}, .act = std::move(act), .owns = std::move(owns)};
}

Start brand_new() {
  return {};
}

Start at_home(char fire_wall) {
  static std::map<char, Start> homes;
  if (homes.count(fire_wall) == 0) {
    Start home = brand_new();
    home.files[device::config] = sample_config::file(fire_wall);
    for (int start = 1; start <= 3; ++start) {
      home = after(without_kernel(home), [] {
        gl3_web_init_fw();
        gl3_web_init_vpn_pass_through();
      });
    }
    if (fire_wall == '1') {
      home = after(home, [] { gl3_web_set_fw_status(1); });
    }
    EXPECT_EQ(home.files[device::config], sample_config::file(fire_wall));
    homes[fire_wall] = home;
  }
  return homes[fire_wall];
}

List shell_and_rule_set() {
  constexpr char flush[] = "iptables -t filter -F forward_ext_url";
  return {
      plain("libonu_bsp_version_export", libonu_bsp_version_export),
      plain("str_system", [=] { return str_system(flush); }),
      plain("flush_fw", flush_fw),
      plain("flush_fw6", flush_fw6),
      plain("flush_fw_bad_tcp", [=] { return flush_fw_bad_tcp(flush); }),
      plain("flush_fw_ip", [=] { return flush_fw_ip(flush); }),
      plain("flush_fw_mac", [=] { return flush_fw_mac(flush); }),
      plain("flush_fw_url", [=] { return flush_fw_url(flush); }),
      plain("save_fw", save_fw),
      plain("save_fw6", save_fw6),
      plain("restore_fw", restore_fw),
      plain("restore_fw6", restore_fw6),
  };
}

List attack_protection() {
  return {
      plain("config_fw_bad_tcp", config_fw_bad_tcp),
      plain("gl3_web_set_anti_port_scan", [] { return gl3_web_set_anti_port_scan(0); },
            {anti_port_scan}),
      plain("gl3_web_get_anti_port_scan",
            [] {
              uint8_t control = 0;
              return gl3_web_get_anti_port_scan(&control);
            }),
      plain("gl3_web_set_ipsec_pass_ctrl", [] { return gl3_web_set_ipsec_pass_ctrl(0); },
            {ipsec_pass}),
      plain("gl3_web_get_ipsec_pass_ctrl",
            [] {
              uint32_t control = 0;
              return gl3_web_get_ipsec_pass_ctrl(&control);
            }),
  };
}

List internet_wan() {
  return {
      plain("gl3_update_internet_wan", gl3_update_internet_wan),
      plain("gl3_update_firewall", gl3_update_firewall),
      {.name = "WAN change",
       .calls = {"gl3_l3ctl_clear_firewall", "gl3_l3ctl_update_firewall"},
       .act =
           [] {
             gl3_l3ctl_clear_firewall();
             return gl3_l3ctl_update_firewall("ppp0");
           }},
  };
}

List management_access() {
  return {
      plain("omci_set_telnet_state", [] { return omci_set_telnet_state(0); }),
      plain("omci_set_web_state", [] { return omci_set_web_state(0, 8080); }),
      plain("gl3_web_cfg_page_jump",
            [] { return gl3_web_cfg_page_jump(1, "192.168.1.0/24", "192.168.1.1:8080"); }),
  };
}

List start_up() {
  List list = {
      plain("config_fw", config_fw),
      plain("config_fw6", config_fw6),
      boot("first boot", brand_new),
      boot("second boot", booted_once),
      boot("third boot", [] { return without_kernel(at_home('1')); }),
      boot("third boot, switched off", [] { return without_kernel(at_home('0')); }),
  };
  list[2].owns = {whole_file};
  list[2].repair = init_cfgfile;
  return list;
}

List master_switch() {
  Scenario on =
      plain("gl3_web_set_fw_status", [] { return gl3_web_set_fw_status(1); }, {switch_line});
  Scenario off = on;
  on.name = "switching on";
  on.start = [] { return at_home('0'); };
  off.name = "switching off";
  off.act = [] { return gl3_web_set_fw_status(0); };
  return {on, off, plain("gl3_web_get_fw_status", [] {
            uint8_t control = 0;
            return gl3_web_get_fw_status(&control);
          })};
}

List security_level() {
  Scenario lower =
      plain("gl3_web_set_fw_security_level", [] { return gl3_web_set_fw_security_level(1); },
            {switch_line, anti_port_scan, level, level6});
  Scenario off = lower;
  Scenario raise = lower;
  lower.name = "level 2 to level 1";
  // The records are read again between two writes; where that fails, the second writes zeros.
  lower.lost_unread = {{31, 6199}, {6447, 15019}};
  off.name = "level 2 to level 0";
  off.act = [] { return gl3_web_set_fw_security_level(0); };
  raise.name = "switched off to level 2";
  raise.act = [] { return gl3_web_set_fw_security_level(2); };
  raise.start = [] { return at_home('0'); };
  raise.lost_unread = lower.lost_unread;
  return {lower, off, raise,
          plain("gl3_web_get_fw_security_level",
                [] {
                  int32_t seen = 0;
                  return gl3_web_get_fw_security_level(&seen);
                },
                {level, level6})};
}

List factory_reset() {
  return {plain("gl3_web_set_firewall_default", gl3_web_set_firewall_default,
                {switch_line, ip_filter, url_filter, anti_port_scan, mac_filter, dhcp_filter, acl,
                 caporl, route_qos, ip6_filter, mac6_filter})};
}

List all() {
  List list;
  for (List (*group)() :
       {configuration_file, record_files, migration, vpn_pass_through, route_qos_calls,
        shell_and_rule_set, ip_filters, url_filters, mac_filters, dhcp_filters, access_lists,
        captive_portals, attack_protection, internet_wan, management_access, start_up,
        master_switch, security_level, factory_reset}) {
    List some = group();
    std::move(some.begin(), some.end(), std::back_inserter(list));
  }
  return list;
}

}  // namespace scenarios
