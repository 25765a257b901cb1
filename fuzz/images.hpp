/*
 * Region images out of an input's bytes: the words behind the list first, then the count, then as many
 * entries as the input has, each member as it comes. The count has nothing to do with the entries.
 */
#pragma once

#include "input.hpp"
#include "l3_advance/records.h"

namespace fuzz {

void fill(Input& input, l3_ip_filter& image);
void fill(Input& input, l3_ip6_filter& image);
void fill(Input& input, l3_url_filter& image);
void fill(Input& input, l3_mac_filter& image);
void fill(Input& input, l3_dhcp_filter& image);
void fill(Input& input, l3_acl& image);
void fill(Input& input, l3_caporl& image);
void fill(Input& input, l3_qos_rules& image);

}  // namespace fuzz
