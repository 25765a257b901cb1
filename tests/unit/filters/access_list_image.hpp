/* Lists of the local-service access control list. */
#pragma once

#include "harness.hpp"

namespace harness::access_list {

inline constexpr uint32_t host = 0xc0a80102; /* 192.168.1.2 */

inline l3_acl list_of(std::initializer_list<l3_acl_entry> entries, uint32_t acl_filter_ctrl = 1) {
  l3_acl list = {};
  for (const l3_acl_entry& entry : entries) {
    list.entries[list.count++] = entry;
  }
  list.acl_filter_ctrl = acl_filter_ctrl;
  return list;
}

/* One upstream entry for the web service from 192.168.1.2. */
inline l3_acl web_from_host() {
  return list_of({{1, 1, 0, host, host}});
}

/* What the generator does with that entry. */
inline std::string rules_of_web_from_host() {
  return lines(
      {debug("------------ip_start=c0a80102, ip_end=c0a80102\n"),
       debug("------------[24]##cmd_string=iptables -A input_ext_us_acl -p tcp --dport 80 -s \n"),
       ran("iptables -A input_ext_us_acl -p tcp --dport 80 -s 192.168.1.2/32  -j ACCEPT"),
       ran("iptables -A input_ext_us_acl -j DROP")});
}

}  // namespace harness::access_list
