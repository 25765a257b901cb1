#include "expectation.hpp"

namespace scenarios {

using harness::error;

namespace {

/* An error that `call` logs, naming the step that failed. */
harness::Lines failed(const std::string& call, const std::string& step) {
  return error(call + "::" + step + " err!\n");
}

Expectation load4() {
  return named("get_firewall4_rules_from_cfgfile", "open lseek read");
}
Expectation load6() {
  return named("get_firewall6_rules_from_cfgfile", "open lseek read");
}
Expectation store4() {
  return named("set_firewall4_rules_to_cfgfile", "open lseek write");
}
Expectation store6() {
  return named("set_firewall6_rules_to_cfgfile", "open lseek write");
}

/* The log lines of every get call: the record's, then the switch's. */
Expectation getting(const Expectation& record, const std::string& call,
                    const std::string& reload = "get_firewall_rules_from_cfgfile") {
  return with_message(record, failed(call, reload)) +
         with_message(read_state(), failed(call, "get_firewall_state_from_cfgfile"));
}

/* The record is written before anything else is done. */
Expectation storing(const Expectation& record, const std::string& call,
                    const std::string& write = "set_firewall_rules_to_cfgfile") {
  return with_message(record, failed(call, write));
}

Expectation flushing(size_t lines, const std::string& call, const std::string& flush) {
  return with_message(needs(lines), failed(call, flush));
}

Expectation saving(const std::string& call, const std::string& save = "save_fw") {
  return with_message(needs(1), failed(call, save));
}

/* Flushed and saved first, and written to the file last. */
Expectation emptying(const std::string& call, const std::string& flush) {
  return flushing(1, call, flush) + saving(call) + storing(store(), call);
}

Expectations ip_filter_expectations() {
  const std::string remove = "gl3_web_remove_all_firewall_rule";
  const std::string remove6 = "gl3_web_remove_all_firewall6_rule";
  const std::string reset = "gl3_web_set_ip_table_default";
  return {
      {"config_fw_ip", needs(1)},
      {"config_fw6_ip", needs(1)},
      {"gl3_web_get_firewall_cfg", getting(load4(), "gl3_web_get_firewall_cfg")},
      // It speaks under the other's name.
      {"gl3_web_get_firewall6_cfg", getting(load6(), "gl3_web_get_firewall_cfg")},
      // A failed flush of the first chain is passed over in the IPv4 call alone; so are the two
      // catch-alls in both.
      {"gl3_web_set_firewall_cfg",
       storing(store4(), "gl3_web_set_firewall_cfg") + runs(1) + needs(3) + runs(2) + needs(1)},
      {"gl3_web_set_firewall6_cfg",
       storing(store6(), "gl3_web_set_firewall6_cfg") + needs(4) + runs(2) + needs(1)},
      {remove, flushing(2, remove, "flush_fw_ip") + saving(remove) + storing(store4(), remove)},
      {remove6, flushing(2, remove6, "flush_fw_ip") + saving(remove, "save_fw6") +
                    storing(store6(), remove)},
      {reset,
       flushing(4, reset, "flush_fw_ip") + saving(reset) + saving(reset) + storing(store(), reset)},
  };
}

Expectations url_filter_expectations() {
  return {
      {"config_fw_url", needs(1)},
      {"gl3_web_get_url_cfg", getting(load(), "gl3_web_get_url_cfg")},
      // Flush, two names and the catch-all, save: what the generator returns is passed over.
      {"gl3_web_set_url_cfg",
       storing(store(), "gl3_web_set_url_cfg") + needs(1) + runs(3) + needs(1)},
      {"gl3_web_remove_all_url_rule", emptying("gl3_web_remove_all_url_rule", "flush_fw_url")},
      {"gl3_web_set_url_table_default", emptying("gl3_web_set_url_table_default", "flush_fw_url")},
  };
}

Expectations mac_filter_expectations() {
  const std::string remove = "gl3_web_remove_all_mac_rule";
  const std::string remove6 = "gl3_web_remove_all_mac6_rule";
  const std::string reset = "gl3_web_set_mac_table_default";
  return {
      {"config_fw_mac", needs(1)},
      {"config_fw6_mac", needs(1)},
      {"gl3_web_get_mac_cfg", getting(load(), "gl3_web_get_mac_cfg")},
      {"gl3_web_get_mac6_cfg",
       getting(load6(), "gl3_web_get_mac6_cfg", "get_firewall6_rules_from_cfgfile")},
      {"gl3_web_set_mac_cfg",
       storing(store(), "gl3_web_set_mac_cfg") + needs(1) + runs(3) + needs(1)},
      // The IPv4 call's words, as in the flush below.
      {"gl3_web_set_mac6_cfg",
       storing(store6(), "gl3_web_set_mac_cfg") + needs(1) + runs(3) + needs(1)},
      {remove, emptying(remove, "flush_fw_mac")},
      {remove6, flushing(1, remove, "flush_fw_mac") + saving(remove6, "save_fw6") +
                    storing(store6(), remove6, "set_firewall6_rules_to_cfgfile")},
      {reset, flushing(1, reset, "flush_fw_mac") + flushing(1, reset, "flush_fw6_mac") +
                  saving(reset) + saving(reset, "save_fw6") + storing(store(), reset)},
  };
}

Expectations dhcp_filter_expectations() {
  return {
      {"config_fw_dhcp", needs(1)},
      {"gl3_web_get_dhcp_cfg", getting(load(), "gl3_web_get_dhcp_cfg")},
      {"gl3_web_set_dhcp_cfg",
       storing(store(), "gl3_web_set_dhcp_cfg") + needs(1) + runs(3) + needs(1)},
      {"gl3_web_remove_all_dhcp_rule", emptying("gl3_web_remove_all_dhcp_rule", "flush_fw_mac")},
      {"gl3_web_set_dhcp_table_default",
       emptying("gl3_web_set_dhcp_table_default", "flush_fw_mac")},
  };
}

Expectations access_list_expectations() {
  const std::string set = "gl3_web_set_acl_cfg";
  const std::string remove = "gl3_web_remove_all_acl_rule";
  const std::string reset = "gl3_web_set_acl_table_default";
  return {
      // A range's prefixes: none is looked at.
      {"config_acl_ip_range", runs(4)},
      {"config_acl_ip_range_24_mask", runs(5)},
      {"config_acl_ip_range_16_mask", runs(5)},
      // One service for all, and the catch-all.
      {"config_fw_acl", needs(1) + runs(1)},
      {"gl3_web_get_acl_cfg", getting(load(), "gl3_web_get_acl_cfg")},
      // Two prefixes of a range, an entry without an address, two catch-alls.
      {set, storing(store(), set) + runs(1) + flushing(1, set, "flush_fw_ip") + runs(2) +
                with_message(needs(1), failed(set, "config_fw_acl")) + runs(2) + saving(set)},
      {remove, runs(2) + saving(remove) + storing(store(), remove)},
      {reset, runs(2) + saving(reset) + storing(store(), reset)},
  };
}

Expectations captive_portal_expectations() {
  const std::string set = "gl3_web_set_caporl_cfg";
  const std::string remove = "gl3_web_remove_all_caporl_rule";
  const std::string reset = "gl3_web_set_caporl_table_default";
  return {
      {"config_fw_caporl", needs(1) + runs(1)},
      {"gl3_web_get_caporl_cfg", getting(load(), "gl3_web_get_caporl_cfg")},
      // It answers whatever its two reads return.
      {"gl3_web_get_caporl_status",
       ignored(with_message(read_state(),
                            failed("gl3_web_get_fw_status", "get_firewall_state_from_cfgfile")) +
               getting(load(), "gl3_web_get_caporl_cfg"))},
      {set, storing(store(), set) + needs(1) + runs(3) + needs(1)},
      // Switches the firewall off, whatever the result.
      {"gl3_web_set_caporl_enable",
       runs(14) +
           ignored(with_message(silent("open lseek write write close"),
                                failed("gl3_web_set_fw_status", "set_firewall_state_to_cfgfile")))},
      {remove, emptying(remove, "flush_fw_mac")},
      // The only flush of these whose failure is passed over.
      {reset, runs(1) + saving(reset) + storing(store(), reset)},
  };
}

}  // namespace

Expectations filter_expectations() {
  Expectations all = ip_filter_expectations();
  for (Expectations (*some)() :
       {url_filter_expectations, mac_filter_expectations, dhcp_filter_expectations,
        access_list_expectations, captive_portal_expectations}) {
    all.merge(some());
  }
  return all;
}

}  // namespace scenarios
