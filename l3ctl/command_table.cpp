#include "l3ctl/command_table.hpp"

namespace l3ctl {

namespace {

using enum Effect;

constexpr Command table[] = {
    {"apply", add_apply_command, changes, rules_refused},
    {"plan", add_plan_command, plans, nullptr},
    {"diff", add_diff_command, compares, nullptr},
    {"confirm", add_confirm_command, changes, nullptr, Offers::who},
    {"history", add_history_command, shows, nullptr},
    {"undo", add_undo_command, changes, rules_refused},
    {"show", add_show_command, shows, nullptr},
    {"export", add_export_command, shows, nullptr},
    {"status", add_status_command, shows, nullptr},
    {"version", add_version_command, shows, nullptr},
    {"init", add_init_command, changes, "the packet filter refused a rule; all other rules stand",
     Offers::dry_run},
    {"clock", add_clock_command, changes, rules_refused, Offers::dry_run},
    {"reset", add_reset_command, changes, rules_refused},
    {"level", add_level_command, changes, rules_refused},
    {"firewall", add_firewall_command, changes, rules_refused},
    {"portal", add_portal_command, changes, rules_refused},
    {"ip-filter", add_ip_filter_command, changes, rules_refused},
    {"acl", add_acl_command, changes, rules_refused},
    {"url-filter", add_url_filter_command, changes, rules_refused},
    {"mac-filter", add_mac_filter_command, changes, rules_refused},
    {"dhcp-filter", add_dhcp_filter_command, changes, rules_refused},
    {"captive-portal", add_captive_portal_command, changes, rules_refused},
    {"port-scan", add_port_scan_command, changes, rules_refused},
    {"ipsec", add_ipsec_command, changes, rules_refused},
    {"vpn", add_vpn_command, changes, nullptr},
    {"qos", add_qos_command, changes, nullptr},
    {"wan", add_wan_command, changes, rules_refused},
    {"access", add_access_command, changes, rules_refused},
    {"page-jump", add_page_jump_command, changes, rules_refused},
    {"record", add_record_command, changes, nullptr, Offers::who},
    {"restore-rules", add_restore_rules_command, changes, rules_refused},
    {"explain", add_explain_command, shows, nullptr},
    {"devices", add_devices_command, changes, nullptr},
    {"blocked", add_blocked_command, shows, nullptr},
    {"completion", add_completion_command, shows, nullptr},
    {"rules", add_rules_command, waits, nullptr},
    {"check", add_check_command, waits, "the kernel's rules are not those of the settings"},
    {"inspect", add_inspect_command, shows, "the configuration file is torn or implausible"},
    {"backup", add_backup_command, changes, "the configuration file is torn; no backup was made",
     Offers::nothing},
    {"restore", add_restore_command, changes, rules_refused},
    {"metrics", add_metrics_command, waits, nullptr},
    {"doctor", add_doctor_command, shows, "something is wrong with the gateway"},
    {"help", add_help_command, shows, nullptr},
};

}  // namespace

std::span<const Command> commands() {
  return table;
}

}  // namespace l3ctl
