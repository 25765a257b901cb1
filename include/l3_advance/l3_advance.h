/**
 * @file
 * The whole interface of libl3_advance.so.
 */
#ifndef L3_ADVANCE_L3_ADVANCE_H
#define L3_ADVANCE_L3_ADVANCE_H

#include "l3_advance/access_list.h"
#include "l3_advance/address.h"
#include "l3_advance/attack_protection.h"
#include "l3_advance/captive_portal.h"
#include "l3_advance/configuration_file.h"
#include "l3_advance/dhcp_filter.h"
#include "l3_advance/firewall.h"
#include "l3_advance/internet_wan.h"
#include "l3_advance/ip_filter.h"
#include "l3_advance/mac_filter.h"
#include "l3_advance/management_access.h"
#include "l3_advance/migration.h"
#include "l3_advance/platform.h"
#include "l3_advance/record_file.h"
#include "l3_advance/records.h"
#include "l3_advance/route_qos.h"
#include "l3_advance/rule_set.h"
#include "l3_advance/shell_command.h"
#include "l3_advance/url_filter.h"
#include "l3_advance/version.h"
#include "l3_advance/vpn_pass_through.h"

#endif
