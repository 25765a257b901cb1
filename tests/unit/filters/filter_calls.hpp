/*
 * The filters with one chain, as typed tests of their calls take them: records, command lines and messages,
 * which are literals. Several messages name another filter's function, and stay so.
 */
#pragma once

#include <cerrno>
#include <cstdio>

#include "dhcp_image.hpp"
#include "mac_image.hpp"
#include "portal_image.hpp"
#include "url_image.hpp"

namespace filter_calls {

using namespace harness;

inline std::string hexadecimal(uint32_t value) {
  char text[9];
  snprintf(text, sizeof(text), "%x", value);
  return text;
}

/* What four of the five have in common: an IPv4 chain, and both records written and read together. */
struct BothRecords {
  static constexpr char save[] = "iptables-save -t filter >/ztcfg/firewall.conf";
  static constexpr int records = 2;
  static constexpr char read_function[] = "get_firewall_rules_from_cfgfile";
  static std::vector<WriteFault> write_faults() { return harness::write_faults; }
};

struct Url : BothRecords {
  static constexpr char name[] = "Url";
  static constexpr char list[] = "url"; /* in the trace */
  using Region = l3_url_filter;
  static Region& region() { return fw_rules_table.url_filter; }
  static constexpr size_t offset = 2447; /* of the region in the file */
  static constexpr auto set = gl3_web_set_url_cfg;
  static constexpr auto get = gl3_web_get_url_cfg;
  static constexpr auto remove_all = gl3_web_remove_all_url_rule;
  static constexpr auto set_default = gl3_web_set_url_table_default;
  static constexpr char flush[] = "iptables -t filter -F forward_ext_url";
  static constexpr char rule[] =
      "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string \"\3abc\2de\" "
      "--algo bm -m time --timestart 8:5 --timestop 12:30 -j DROP";
  static constexpr char catch_all[] =
      "iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP";
  static std::string image(uint32_t mode, uint32_t control) {
    return url_image(1, {url_entry("abc.de", {8, 12, 5, 30}, 1, 0x01020304)}, mode, control);
  }
  static std::string empty(uint32_t mode, uint32_t control) {
    return url_image(0, {}, mode, control);
  }
  static std::string values(const std::string& control) {
    return "url_filter_ctrl=" + control + ",urlTable=1";
  }
  static Lines traced() { return url_traced("abc.de", "\3abc\2de", rule); }
  static Lines behind_first_rule(const std::string&) { return debug("[url_black_white=0]\n"); }
  static constexpr char rule_failed[] = "config_fw_url::str_system(";
  static constexpr char set_null[] = "gl3_web_set_url_cfg::xi_pUrlTableInfo NULLP err\r\n";
  static constexpr char set_write[] = "gl3_web_set_url_cfg::set_firewall_rules_to_cfgfile err!\n";
  static constexpr char get_null[] = "gl3_web_get_url_cfg::xo_pUrlTableInfo NULLP err\r\n";
  static constexpr char get_read[] = "gl3_web_get_url_cfg::get_firewall_rules_from_cfgfile err!\n";
  static constexpr char get_switch[] =
      "gl3_web_get_url_cfg::get_firewall_state_from_cfgfile err!\n";
  static constexpr char remove_flush[] = "gl3_web_remove_all_url_rule::flush_fw_url err!\n";
  static constexpr char remove_save[] = "gl3_web_remove_all_url_rule::save_fw err!\n";
  static constexpr char remove_write[] =
      "gl3_web_remove_all_url_rule::set_firewall_rules_to_cfgfile err!\n";
  static constexpr char default_flush[] = "gl3_web_set_url_table_default::flush_fw_url err!\n";
  static constexpr char default_save[] = "gl3_web_set_url_table_default::save_fw err!\n";
  static constexpr char default_write[] =
      "gl3_web_set_url_table_default::set_firewall_rules_to_cfgfile err!\n";
};

/* The MAC filters share their images; one call sets the default of both (mac_table_default_test.cpp). */
struct MacImages {
  static constexpr char list[] = "mac";
  using Region = l3_mac_filter;
  static std::string image(uint32_t mode, uint32_t control) {
    return mac_image(1,
                     {mac_entry(std::string("\x00\x1a\x2b\x3c\x4d\x5e", 6),
                                std::string("\x08\x0c\x05\x1e", 4), 1, "abcdef")},
                     mode, control);
  }
  static std::string empty(uint32_t mode, uint32_t control) {
    return mac_image(0, {}, mode, control);
  }
  static std::string values(const std::string& control) {
    return "mac_filter_ctrl=" + control + ",macTable=1";
  }
  static Lines behind_first_rule(const std::string&) { return debug("[mac_black_white=0]\n"); }
  static constexpr char set_null[] = "gl3_web_set_mac_cfg::xi_pMacTableInfo NULLP err\r\n";
  static constexpr char set_write[] = "gl3_web_set_mac_cfg::set_firewall_rules_to_cfgfile err!\n";
  static constexpr char remove_flush[] = "gl3_web_remove_all_mac_rule::flush_fw_mac err!\n";
};

struct Mac : BothRecords, MacImages {
  static constexpr char name[] = "Mac";
  static Region& region() { return fw_rules_table.mac_filter; }
  static constexpr size_t offset = 4667;
  static constexpr auto set = gl3_web_set_mac_cfg;
  static constexpr auto get = gl3_web_get_mac_cfg;
  static constexpr auto remove_all = gl3_web_remove_all_mac_rule;
  static constexpr char flush[] = "iptables -t filter -F forward_ext_mac";
  static constexpr char rule[] =
      "iptables -A forward_ext_mac -i br0 -m mac --mac-source 00:1a:2b:3c:4d:5e "
      "-m time --timestart 8:5 --timestop 12:30 -j DROP";
  static constexpr char catch_all[] = "iptables -A forward_ext_mac -i br0 -j DROP";
  static Lines traced() { return mac_traced("00:1a:2b:3c:4d:5e", rule); }
  static constexpr char rule_failed[] = "config_fw_mac::str_system(";
  static constexpr char get_null[] = "gl3_web_get_mac_cfg::xo_pMacTableInfo NULLP err\r\n";
  static constexpr char get_read[] = "gl3_web_get_mac_cfg::get_firewall_rules_from_cfgfile err!\n";
  static constexpr char get_switch[] =
      "gl3_web_get_mac_cfg::get_firewall_state_from_cfgfile err!\n";
  static constexpr char remove_save[] = "gl3_web_remove_all_mac_rule::save_fw err!\n";
  static constexpr char remove_write[] =
      "gl3_web_remove_all_mac_rule::set_firewall_rules_to_cfgfile err!\n";
};

struct Mac6 : MacImages {
  static constexpr char name[] = "Mac6";
  static Region& region() { return fw6_rules_table.mac_filter; }
  static constexpr size_t offset = 13483;
  static constexpr auto set = gl3_web_set_mac6_cfg;
  static constexpr auto get = gl3_web_get_mac6_cfg;
  static constexpr auto remove_all = gl3_web_remove_all_mac6_rule;
  static constexpr char flush[] = "ip6tables -t filter -F forward_ext_mac";
  static constexpr char save[] = "ip6tables-save -t filter >/ztcfg/firewall6.conf";
  static constexpr char rule[] =
      "ip6tables -A forward_ext_mac -i br0 -m mac --mac-source 00:1a:2b:3c:4d:5e "
      "-m time --timestart 8:5 --timestop 12:30 -j DROP";
  static constexpr char catch_all[] = "ip6tables -A forward_ext_mac -i br0 -j DROP";
  static Lines traced() { return mac_traced("00:1a:2b:3c:4d:5e", rule); }
  static constexpr int records = 1;
  static constexpr char read_function[] = "get_firewall6_rules_from_cfgfile";
  static std::vector<WriteFault> write_faults() {
    return {{{FileCall::open, 1, EIO},
             "set_firewall6_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"},
            {{FileCall::lseek, 1, EIO},
             "set_firewall6_rules_to_cfgfile::lseek /ztcfg/l3_advance.dat error!\n"},
            {{FileCall::write, 1, ENOSPC},
             "set_firewall6_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n"}};
  }
  static constexpr char rule_failed[] = "config_fw6_mac::str_system(";
  static constexpr char get_null[] = "gl3_web_get_mac6_cfg::xo_pMacTableInfo NULLP err\r\n";
  static constexpr char get_read[] =
      "gl3_web_get_mac6_cfg::get_firewall6_rules_from_cfgfile err!\n";
  static constexpr char get_switch[] =
      "gl3_web_get_mac6_cfg::get_firewall_state_from_cfgfile err!\n";
  static constexpr char remove_save[] = "gl3_web_remove_all_mac6_rule::save_fw6 err!\n";
  static constexpr char remove_write[] =
      "gl3_web_remove_all_mac6_rule::set_firewall6_rules_to_cfgfile err!\n";
};

struct Dhcp : BothRecords {
  static constexpr char name[] = "Dhcp";
  using Region = l3_dhcp_filter;
  static Region& region() { return fw_rules_table.dhcp_filter; }
  static constexpr size_t offset = 4879;
  static constexpr auto set = gl3_web_set_dhcp_cfg;
  static constexpr auto get = gl3_web_get_dhcp_cfg;
  static constexpr auto remove_all = gl3_web_remove_all_dhcp_rule;
  static constexpr auto set_default = gl3_web_set_dhcp_table_default;
  static constexpr char flush[] = "iptables -t filter -F input_ext_dhcp";
  static constexpr char rule[] =
      "iptables -A input_ext_dhcp -m mac --mac-source 00:11:22:aa:bb:cc -j DROP";
  static constexpr char catch_all[] = "";
  static std::string image(uint32_t mode, uint32_t control) {
    return dhcp::two_devices(mode, control);
  }
  static std::string empty(uint32_t mode, uint32_t control) {
    return dhcp::region(0, "", mode, control);
  }
  static std::string values(const std::string& control) {
    return "dhcp_mac_filter_ctrl=" + control + ",dhcpTable=2";
  }
  static Lines traced() { return dhcp::traced(rule); }
  static Lines behind_first_rule(const std::string& control) {
    return dhcp::rule(dhcp::third_drop) + dhcp::generated(control);
  }
  static constexpr char rule_failed[] = "config_fw_dhcp::str_system(";
  static constexpr char set_null[] = "gl3_web_set_dhcp_cfg::xi_pDhcpMacTableInfo NULLP err\r\n";
  static constexpr char set_write[] = "gl3_web_set_dhcp_cfg::set_firewall_rules_to_cfgfile err!\n";
  static constexpr char get_null[] = "gl3_web_get_dhcp_cfg::xo_pDhcpMacTableInfo NULLP err\r\n";
  static constexpr char get_read[] = "gl3_web_get_dhcp_cfg::get_firewall_rules_from_cfgfile err!\n";
  static constexpr char get_switch[] =
      "gl3_web_get_dhcp_cfg::get_firewall_state_from_cfgfile err!\n";
  static constexpr char remove_flush[] = "gl3_web_remove_all_dhcp_rule::flush_fw_mac err!\n";
  static constexpr char remove_save[] = "gl3_web_remove_all_dhcp_rule::save_fw err!\n";
  static constexpr char remove_write[] =
      "gl3_web_remove_all_dhcp_rule::set_firewall_rules_to_cfgfile err!\n";
  static constexpr char default_flush[] = "gl3_web_set_dhcp_table_default::flush_fw_mac err!\n";
  static constexpr char default_save[] = "gl3_web_set_dhcp_table_default::save_fw err!\n";
  static constexpr char default_write[] =
      "gl3_web_set_dhcp_table_default::set_firewall_rules_to_cfgfile err!\n";
};

/* The portal has no list mode. */
struct Portal : BothRecords {
  static constexpr char name[] = "Portal";
  using Region = l3_caporl;
  static Region& region() { return fw_rules_table.caporl; }
  static constexpr size_t offset = 5419;
  static constexpr auto set = gl3_web_set_caporl_cfg;
  static constexpr auto get = gl3_web_get_caporl_cfg;
  static constexpr auto remove_all = gl3_web_remove_all_caporl_rule;
  static constexpr auto set_default = gl3_web_set_caporl_table_default;
  static constexpr char flush[] = "iptables -t filter -F forward_ext_captiveportal";
  static constexpr char rule[] = "iptables -A forward_ext_captiveportal  -d 192.168.1.1 -j ACCEPT";
  static constexpr char catch_all[] = "";
  static std::string image(uint32_t, uint32_t control) { return portal::two_places(control); }
  static std::string empty(uint32_t, uint32_t control) { return portal::region(0, "", control); }
  static std::string values(const std::string& control) {
    return "caporl_filter_ctrl=" + control + ",caporlTable=2";
  }
  static Lines traced() { return debug("\n==" + std::string(rule) + "==\n"); }
  static Lines behind_first_rule(const std::string&) {
    return portal::rule(portal::network) + ran(portal::all_the_rest);
  }
  static constexpr char rule_failed[] = "flush_fw_ip::str_system(";
  static constexpr char set_null[] = "gl3_web_set_caporl_cfg::xi_pCaporlTableInfo NULLP err\r\n";
  static constexpr char set_write[] =
      "gl3_web_set_caporl_cfg::set_firewall_rules_to_cfgfile err!\n";
  static constexpr char get_null[] = "gl3_web_get_caporl_cfg::xo_pCaporlTableInfo NULLP err\r\n";
  static constexpr char get_read[] =
      "gl3_web_get_caporl_cfg::get_firewall_rules_from_cfgfile err!\n";
  static constexpr char get_switch[] =
      "gl3_web_get_caporl_cfg::get_firewall_state_from_cfgfile err!\n";
  static constexpr char remove_flush[] = "gl3_web_remove_all_caporl_rule::flush_fw_mac err!\n";
  static constexpr char remove_save[] = "gl3_web_remove_all_caporl_rule::save_fw err!\n";
  static constexpr char remove_write[] =
      "gl3_web_remove_all_caporl_rule::set_firewall_rules_to_cfgfile err!\n";
  static constexpr char default_flush[] = ""; /* a failed flush is ignored */
  static constexpr char default_save[] = "gl3_web_set_caporl_table_default::save_fw err!\n";
  static constexpr char default_write[] =
      "gl3_web_set_caporl_table_default::set_firewall_rules_to_cfgfile err!\n";
};

}  // namespace filter_calls
