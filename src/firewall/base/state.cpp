#include "firewall/base/state.hpp"

#include "l3_advance/records.h"

namespace l3 {

uint8_t fw_enable = 0;
char internet_wan[16] = "wan3";

}  // namespace l3

extern "C" {

l3_fw_rules fw_rules_table;
l3_fw6_rules fw6_rules_table;
l3_route_qos RtQoSRulesTable;
uint8_t arp_tbl[45104];

}  // extern "C"
