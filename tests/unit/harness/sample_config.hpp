/*
 * The sample configuration: a file with one entry in every filter, and what a gateway that is set
 * up with it does, as transcript lines.
 *
 *   IPv4   IP filter, URL filter, anti port scan, MAC filter, DHCP filter, access control list,
 *          captive portal, each on; route QoS on
 *   IPv6   IP filter and MAC filter
 */
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "harness.hpp"

namespace sample_config {

using harness::Lines;

Lines together(std::initializer_list<Lines> parts);

/* Where things lie in the configuration file. */
inline constexpr size_t vpn_value = 17;
inline constexpr size_t switch_value = 29;
inline constexpr size_t fw = 31;
inline constexpr size_t qos = 6199;
inline constexpr size_t fw6 = 6447;
inline constexpr size_t ip_filter_ctrl = fw + 2412;
inline constexpr size_t ip6_filter_ctrl = fw6 + 4812;
inline constexpr size_t anti_port_scan = fw + 4628;
inline constexpr size_t ipsec_pass_ctrl = fw + 4632;
inline constexpr size_t caporl_filter_ctrl = fw + 6160;
inline constexpr size_t level = fw + 6164;
inline constexpr size_t level6 = fw6 + 8564;

void put(std::string& file, size_t offset, const std::string& bytes);
/* `file` with some of its bytes replaced. */
std::string with(std::string file, size_t offset, const std::string& bytes);
std::string with_word(std::string file, size_t offset, uint32_t value);

/* The sample configuration, its switch '1' or '0'. */
std::string file(char fire_wall);
/* The same after a factory reset: every filter and route QoS empty and off, both switches off, the
 * level, IPsec pass and the VPN line as they were. */
std::string file_after_reset();

/* Puts the file in place and loads switch and records; not part of any transcript. */
void load(const std::string& file);

/* The library's records are those of the configuration file, word for word. */
void expect_records_as_in_file();

/* ---- what is done ---- */

Lines modules_list(); /* the mkdir line */
Lines tree();         /* the chains are built */
/* The 33 commands of the tree. */
std::vector<std::string> tree_commands();
Lines flushed();  /* the IPv4 feature chains, eleven commands */
Lines flushed6(); /* the IPv6 feature chains, three commands */
Lines saved();
Lines saved6();
Lines restored6();
/* The generators of the sample configuration, one by one and all together, the WAN being called `wan`. */
Lines ip_rules();
Lines url_rules(); /* with the trace in front */
Lines bad_tcp(const std::string& wan = "wan3");
Lines bad_tcp_drops(); /* what follows the WAN's own drop */
Lines mac_rules();
Lines acl_rules();
Lines portal_rules();
Lines rules(const std::string& wan = "wan3");
Lines rules6();
/* The trace of the generators when nothing is set: the switch, 0 or 1. */
Lines no_rules(int fire_wall);
/* gl3_update_internet_wan() when all is well, and the dispatch of the master switch. */
Lines wan_found(const std::string& wan = "wan3");
Lines wan_bound(const std::string& wan = "wan3");
/* All that gl3_web_set_fw_status(1) and (0) do with the sample configuration, and (1) with nothing set up. */
Lines switched_on(const std::string& wan = "wan3");
Lines switched_off();
Lines switched_on_without_rules();
/* gl3_web_set_anti_port_scan(0), and (1) with the master switch on. */
Lines scan_off();
Lines scan_on(const std::string& wan = "wan3");
Lines ipsec_dropped();
Lines qos_pushed();

/* ---- the shell, as far as these tests need it ---- */

/* From here on the two save commands leave a save file and `mv` renames; every command works. */
void shell_writes_files();
inline constexpr char save_path[] = "/ztcfg/firewall.conf";
inline constexpr char save6_path[] = "/ztcfg/firewall6.conf";
inline constexpr char flag_path[] = "/ztcfg/v1_to_v2.flag";
inline constexpr char old_path[] = "/ztcfg/l3_advance.conf";
/* What both save files hold when a test puts them there. */
inline constexpr char saved_rules[] = "*filter\nCOMMIT\n";
void put_save_files();

}  // namespace sample_config
