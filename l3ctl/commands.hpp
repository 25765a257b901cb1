/* The commands: each adds itself to the parser, and sets the context's action when it is chosen. */
#pragma once

#include "l3ctl/context.hpp"

namespace l3ctl {

using AddCommand = void (*)(CLI::App& app, Context& context);

void add_apply_command(CLI::App& app, Context& context);
void add_plan_command(CLI::App& app, Context& context);
void add_diff_command(CLI::App& app, Context& context);
void add_confirm_command(CLI::App& app, Context& context);
void add_history_command(CLI::App& app, Context& context);
void add_undo_command(CLI::App& app, Context& context);
void add_show_command(CLI::App& app, Context& context);
void add_export_command(CLI::App& app, Context& context);
void add_status_command(CLI::App& app, Context& context);
void add_version_command(CLI::App& app, Context& context);
void add_clock_command(CLI::App& app, Context& context);
void add_init_command(CLI::App& app, Context& context);
void add_reset_command(CLI::App& app, Context& context);
void add_level_command(CLI::App& app, Context& context);
void add_firewall_command(CLI::App& app, Context& context);
void add_portal_command(CLI::App& app, Context& context);
void add_ip_filter_command(CLI::App& app, Context& context);
void add_acl_command(CLI::App& app, Context& context);
void add_url_filter_command(CLI::App& app, Context& context);
void add_mac_filter_command(CLI::App& app, Context& context);
void add_dhcp_filter_command(CLI::App& app, Context& context);
void add_captive_portal_command(CLI::App& app, Context& context);
void add_port_scan_command(CLI::App& app, Context& context);
void add_ipsec_command(CLI::App& app, Context& context);
void add_vpn_command(CLI::App& app, Context& context);
void add_qos_command(CLI::App& app, Context& context);
void add_wan_command(CLI::App& app, Context& context);
void add_access_command(CLI::App& app, Context& context);
void add_page_jump_command(CLI::App& app, Context& context);
void add_record_command(CLI::App& app, Context& context);
void add_restore_rules_command(CLI::App& app, Context& context);
void add_explain_command(CLI::App& app, Context& context);
void add_inspect_command(CLI::App& app, Context& context);
void add_backup_command(CLI::App& app, Context& context);
void add_restore_command(CLI::App& app, Context& context);
void add_completion_command(CLI::App& app, Context& context);
void add_devices_command(CLI::App& app, Context& context);
void add_blocked_command(CLI::App& app, Context& context);
void add_rules_command(CLI::App& app, Context& context);
void add_check_command(CLI::App& app, Context& context);
void add_doctor_command(CLI::App& app, Context& context);
void add_metrics_command(CLI::App& app, Context& context);
void add_help_command(CLI::App& app, Context& context);

}  // namespace l3ctl
