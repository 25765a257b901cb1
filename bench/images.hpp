/* Regions with as many entries as asked for, or as many as they hold. Two entries never differ in
 * length by much, and no label is 9, 10 or 13 characters long: those bytes mean something in a
 * script. */
#pragma once

#include <cstdint>

#include "l3_advance/records.h"

namespace bench {

l3_ip_filter ip_filter(int32_t entries);
l3_ip6_filter ip6_filter(int32_t entries);
l3_url_filter url_filter(int32_t entries);
l3_mac_filter mac_filter(int32_t entries);
l3_dhcp_filter dhcp_filter(int32_t entries);
l3_acl acl(int32_t entries);
/* Each entry a range of eleven addresses, which takes five prefixes. */
l3_acl acl_ranges(int32_t entries);
l3_caporl captive_portal(int32_t entries);

/* Both records with that many entries in every filter, anti port scan on. */
void fill_records(int32_t entries);

}  // namespace bench
