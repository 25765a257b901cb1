/*
 * The platform calls as the library makes them: weak references, and functions that make a call
 * where the process supplies it. A call that is missing behaves like one that fails, so the library
 * loads into a process that supplies some of the calls, or none. No other file refers to them, but
 * log.hpp to l3_log_print().
 */
#pragma once

#include "l3_advance/platform.h"

#pragma weak l3_log_print
#pragma weak grm_all_refresh_log_mod_level
#pragma weak zt_bsp_version_export
#pragma weak grm_l3_advance_get_vpn_pass_through
#pragma weak grm_l3_advance_set_vpn_pass_through
#pragma weak gpon_l3_control_vpn_pass_through
#pragma weak gpon_l3_set_qos_cfg
#pragma weak grm_gl3_get_internet_index
#pragma weak getIfName
#pragma weak DhcpsParaServerGet

namespace l3::platform {

void refresh_log_level();

int32_t export_version(const char* file, const char* version, const char* date, const char* time,
                       const char* banner, int32_t flag);

int32_t get_vpn_pass_through(uint8_t* state);
int32_t set_vpn_pass_through(uint8_t state);
/* The forwarding driver's switch for an IP protocol. */
int32_t control_vpn_pass_through(int32_t protocol, uint8_t state);
int32_t set_qos_cfg(const void* route_qos_record);

int32_t get_internet_index();
int32_t get_if_name(int32_t index, char* name);
void get_dhcp_server(int32_t index, void* buffer);

}  // namespace l3::platform
