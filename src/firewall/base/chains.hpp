/*
 * The chain tree and every `-t filter -F` line, as literals that grep finds.
 *
 * The tree, all in the filter table. The order matters: an ACCEPT is final, so a packet that one
 * chain accepts never reaches the chains behind it.
 *
 *   IPv4 FORWARD   1 forward_ext_bad_tcp         tcp
 *                  2 forward_ext_ip              dispatch: forward_ext_us_ip (from br0),
 *                                                          forward_ext_ds_ip (from the WAN)
 *                  3 forward_ext_url
 *                  4 forward_ext_mac
 *                  5 forward_ext_captiveportal   tcp 80 from br0
 *   IPv4 INPUT     1 input_ext_local_access      first rule: input_ext_local_access_ex
 *                  2 input_ext_acl               tcp 80, tcp 21, udp 161, tcp 23, icmp; dispatch:
 *                                                          input_ext_us_acl, input_ext_ds_acl
 *                  3 input_ext_dhcp              udp 67 from br0
 *                  - input_ext_access_ctrl       hooked in at the top by the OMCI agent's calls
 *   IPv6 FORWARD   1 forward_ext_ip              dispatch as above
 *                  2 forward_ext_mac
 */
#pragma once

namespace l3 {

inline constexpr char flush_us_ip[] = "iptables -t filter -F forward_ext_us_ip";
inline constexpr char flush_ds_ip[] = "iptables -t filter -F forward_ext_ds_ip";
inline constexpr char flush_url[] = "iptables -t filter -F forward_ext_url";
inline constexpr char flush_mac[] = "iptables -t filter -F forward_ext_mac";
inline constexpr char flush_captiveportal[] = "iptables -t filter -F forward_ext_captiveportal";
inline constexpr char flush_bad_tcp[] = "iptables -t filter -F forward_ext_bad_tcp";
inline constexpr char flush_local_access[] = "iptables -t filter -F input_ext_local_access";
inline constexpr char flush_local_access_ex[] = "iptables -t filter -F input_ext_local_access_ex";
inline constexpr char flush_us_acl[] = "iptables -t filter -F input_ext_us_acl";
inline constexpr char flush_ds_acl[] = "iptables -t filter -F input_ext_ds_acl";
inline constexpr char flush_dhcp[] = "iptables -t filter -F input_ext_dhcp";
inline constexpr char flush_dispatch_ip[] = "iptables -t filter -F forward_ext_ip";
inline constexpr char flush_dispatch_acl[] = "iptables -t filter -F input_ext_acl";

inline constexpr char flush6_us_ip[] = "ip6tables -t filter -F forward_ext_us_ip";
inline constexpr char flush6_ds_ip[] = "ip6tables -t filter -F forward_ext_ds_ip";
inline constexpr char flush6_mac[] = "ip6tables -t filter -F forward_ext_mac";
inline constexpr char flush6_dispatch_ip[] = "ip6tables -t filter -F forward_ext_ip";

/* Creates the chains of both families and hooks them in, 33 commands. Results are ignored: on a
 * second start every creation fails harmlessly, and every hook is appended once more. */
void build_chain_tree();

}  // namespace l3
