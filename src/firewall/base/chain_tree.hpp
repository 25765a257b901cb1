/* The commands that create the chains of both families and hook them in, in their order. l3ctl reads
 * them too: they name the chains and jumps that belong to the gateway. */
#pragma once

namespace l3 {

inline constexpr const char* chain_tree[] = {
    "iptables -N forward_ext_bad_tcp",
    "iptables -N forward_ext_ip",
    "iptables -N forward_ext_us_ip",
    "iptables -N forward_ext_ds_ip",
    "iptables -N forward_ext_url",
    "iptables -N forward_ext_mac",
    // The order of these hooks is the order in which the features see a forwarded packet.
    "iptables -A FORWARD -p tcp -j forward_ext_bad_tcp",
    "iptables -A FORWARD -j forward_ext_ip",
    "iptables -A FORWARD -j forward_ext_url",
    "iptables -A FORWARD -j forward_ext_mac",
    "iptables -N forward_ext_captiveportal",
    "iptables -A FORWARD -i br0 -p tcp --dport 80 -j forward_ext_captiveportal",

    "iptables -N input_ext_local_access",
    "iptables -N input_ext_local_access_ex",
    "iptables -A input_ext_local_access -j input_ext_local_access_ex",
    // Inserted, not appended: attacks are dropped before any service is reached.
    "iptables -I INPUT -j input_ext_local_access",
    "iptables -N input_ext_acl",
    "iptables -N input_ext_us_acl",
    "iptables -N input_ext_ds_acl",
    "iptables -A INPUT -p tcp --dport 80 -j input_ext_acl",
    "iptables -A INPUT -p tcp --dport 21 -j input_ext_acl",
    "iptables -A INPUT -p udp --dport 161 -j input_ext_acl",
    "iptables -A INPUT -p tcp --dport 23 -j input_ext_acl",
    "iptables -A INPUT -p icmp -j input_ext_acl",
    "iptables -N input_ext_dhcp",
    "iptables -A INPUT -i br0 -p udp --dport 67 -j input_ext_dhcp",
    "iptables -N input_ext_access_ctrl",

    "ip6tables -N forward_ext_ip",
    "ip6tables -N forward_ext_us_ip",
    "ip6tables -N forward_ext_ds_ip",
    "ip6tables -N forward_ext_mac",
    "ip6tables -A FORWARD -j forward_ext_ip",
    "ip6tables -A FORWARD -j forward_ext_mac",
};

}  // namespace l3
