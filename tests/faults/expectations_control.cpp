#include "expectation.hpp"

namespace scenarios {

using harness::error;
using harness::out;

namespace {

harness::Lines failed(const std::string& call, const std::string& step) {
  return error(call + "::" + step + " err!\n");
}

/* gl3_update_internet_wan */
Expectation ask_for_wan() {
  return asks(out("[gl3_update_internet_wan]get a illegal wanindex -1.\n")) +
         asks(out("[gl3_update_internet_wan]get a illegal wanifname .\n"));
}

Expectation wan_for(const std::string& call) {
  return ignored(with_message(ask_for_wan(),
                              out("[" + call + "]update Internet wan failed.save cfg first.\n")));
}

/* config_fw_bad_tcp: the jump, the WAN's rule and eight more. */
Expectation bad_tcp() {
  return runs(1) + wan_for("config_fw_bad_tcp") + runs(9);
}

/* config_fw with the sample configuration's records: an entry each of the IP and URL filters, bad TCP, one of MAC,
 * two rules each of access list and portal. */
Expectation generated() {
  return runs(2) + bad_tcp() + runs(1 + 2 + 2);
}

Expectation store_switch() {
  return with_message(silent("open lseek write write close"),
                      failed("gl3_web_set_fw_status", "set_firewall_state_to_cfgfile"));
}

/* Both flush sets, all rules, the dispatch; what is saved is the first that counts again. */
Expectation switch_on() {
  return runs(11 + 3) +
         with_message(load(), failed("gl3_web_set_fw_status", "get_firewall_rules_from_cfgfile")) +
         generated() + runs(2) + wan_for("gl3_web_set_fw_status") + runs(6) + needs(2) +
         store_switch();
}

Expectation switch_off() {
  return runs(11 + 3) + store_switch();
}

Expectation port_scan_off() {
  return ignored(store()) + runs(3) + needs(1);
}

Expectation port_scan_on() {
  return ignored(store()) + runs(3) + bad_tcp() + needs(1);
}

Expectation get_port_scan() {
  const std::string call = "gl3_web_get_anti_port_scan";
  return with_message(load(), failed(call, "get_firewall_rules_from_cfgfile")) +
         with_message(read_state(), failed(call, "get_firewall_state_from_cfgfile"));
}

Expectation get_ipsec() {
  return with_message(load(),
                      failed("gl3_web_get_ipsec_pass_ctrl", "get_firewall_rules_from_cfgfile"));
}

Expectations shell_expectations() {
  return {
      {"libonu_bsp_version_export", asks({})},
      {"str_system", needs(1)},
      {"flush_fw", runs(11)},
      {"flush_fw6", runs(3)},
      {"flush_fw_bad_tcp", needs(1)},
      {"flush_fw_ip", needs(1)},
      {"flush_fw_mac", needs(1)},
      {"flush_fw_url", needs(1)},
      {"save_fw", needs(1)},
      {"save_fw6", needs(1)},
      {"restore_fw", runs(2)},
      {"restore_fw6", runs(1)},
  };
}

Expectations attack_protection_expectations() {
  return {
      {"config_fw_bad_tcp", bad_tcp()},
      {"gl3_web_set_anti_port_scan", port_scan_off()},
      {"gl3_web_get_anti_port_scan", get_port_scan()},
      {"gl3_web_set_ipsec_pass_ctrl", ignored(store()) + runs(2 + 2) + needs(1)},
      {"gl3_web_get_ipsec_pass_ctrl", get_ipsec()},
  };
}

Expectations wan_expectations() {
  const Expectation update =
      runs(6) +
      with_message(read_state(),
                   out("[gl3_update_firewall]get_firewall_state_from_cfgfile err!\n")) +
      ignored(get_port_scan()) + runs(1);
  return {
      {"gl3_update_internet_wan", ask_for_wan()},
      {"gl3_update_firewall", update},
      {"WAN change",
       runs(4) +
           with_message(update, out("[gl3_l3ctl_update_firewall]gl3_update_firewall err!\n"))},
  };
}

Expectations management_access_expectations() {
  return {
      {"omci_set_telnet_state", runs(6)},
      {"omci_set_web_state", runs(4)},
      // It has a default address where the DHCP server knows none.
      {"gl3_web_cfg_page_jump", ignored(asks({})) + runs(1)},
  };
}

Expectation push_qos() {
  return asks(failed("gl3_init_qos", "gpon_l3_set_qos_rules"));
}

Expectation init_qos() {
  return ignored(file_expectations().at("gl3_init_qos"));
}

/* The tree and mkdir, behind the look for the migration's flag. */
Expectation tree() {
  return runs(1 + 33);
}

/* From the third start on: the switch decides, then IPsec and route QoS have their turn. */
Expectation start(const Expectation& rules) {
  return tree() + looks(2) +
         with_message(read_state(), failed("gl3_web_init_fw", "get_firewall_state_from_cfgfile")) +
         rules + ignored(get_ipsec()) + init_qos();
}

Expectations start_up_expectations() {
  const Expectation migrated = ignored(load()) + runs(2) + runs(2);
  const Expectation rebuilt = ignored(load()) + generated() + runs(2);
  return {
      {"config_fw", generated()},
      {"config_fw6", runs(2)},
      // It ends with the saving, whose result is the start's; and route QoS makes the file.
      {"first boot",
       looks() + tree() + looks() + needs(1) + ignored(qos_of_a_new_device() + push_qos())},
      {"second boot", looks() + tree() + looks(2) + needs(1) + init_qos()},
      {"third boot", looks() + start(rebuilt)},
      {"third boot, switched off", looks() + start({})},
      {"boot that migrates", looks() + runs(1) + ignored(load() + store()) + start(migrated)},
  };
}

Expectations switch_expectations() {
  return {
      {"switching on", switch_on()},
      {"switching off", switch_off()},
      {"gl3_web_get_fw_status",
       with_message(read_state(),
                    failed("gl3_web_get_fw_status", "get_firewall_state_from_cfgfile"))},
  };
}

/* Only the level itself has to be stored; what it means is done as well as can be. */
Expectations level_expectations() {
  const std::string get = "gl3_web_get_fw_security_level";
  const Expectation store_level = with_message(
      store(), failed("gl3_web_set_fw_security_level", "set_firewall_rules_to_cfgfile"));
  return {
      {"level 2 to level 1", store_level + ignored(switch_on() + port_scan_off())},
      {"level 2 to level 0", store_level + ignored(switch_off())},
      {"switched off to level 2", store_level + ignored(switch_on() + port_scan_on())},
      {get, with_message(load(), failed(get, "get_firewall_rules_from_cfgfile")) +
                with_message(store(), failed(get, "set_firewall_rules_to_cfgfile"))},
  };
}

/* Every step stops it but the DHCP filter's and the QoS switch's. */
Expectations factory_reset_expectations() {
  const std::string call = "gl3_web_set_firewall_default";
  const Expectations filters = filter_expectations();
  const Expectations stores = file_expectations();
  Expectation expectation =
      with_message(switch_off(), failed(call, "gl3_web_set_fw_status")) +
      with_message(port_scan_off(), failed(call, "gl3_web_set_anti_port_scan"));
  for (const char* filter : {"gl3_web_set_ip_table_default", "gl3_web_set_url_table_default",
                             "gl3_web_set_mac_table_default", "gl3_web_set_acl_table_default",
                             "gl3_web_set_caporl_table_default"}) {
    expectation = expectation + with_message(filters.at(filter), failed(call, filter));
  }
  expectation = expectation + ignored(filters.at("gl3_web_set_dhcp_table_default") +
                                      stores.at("gl3_web_set_route_qos_control"));
  return {{call, expectation + with_message(stores.at("gl3_web_remove_all_qos_cfg"),
                                            failed(call, "gl3_web_remove_all_qos_cfg"))}};
}

}  // namespace

Expectations control_expectations() {
  Expectations all = shell_expectations();
  for (Expectations (*some)() :
       {attack_protection_expectations, wan_expectations, management_access_expectations,
        start_up_expectations, switch_expectations, level_expectations,
        factory_reset_expectations}) {
    all.merge(some());
  }
  return all;
}

}  // namespace scenarios
