/**
 * @file
 * The whole interface of libl3_advance.so. What holds for all of it:
 *
 * - The process that loads the library supplies the ten calls of platform.h, and may supply its own
 *   system(), through which every command line goes. It does not ignore SIGCHLD (platform.h): the
 *   filter would fail open.
 * - The settings stand in three records in memory (records.h) and in one file
 *   (configuration_file.h). At load the records and the library's copy of the master switch are
 *   zero. Before it changes anything, a program loads them: get_firewall_rules_from_cfgfile(),
 *   get_qos_cfg_from_cfgfile() and gl3_web_get_fw_status(). Without the last one a set call stores
 *   its settings, flushes its chain, makes no rule, saves the empty chain and returns 0. Start-up,
 *   gl3_web_init_fw(), loads all of them from a device's third start on.
 * - A set call takes the image of a whole filter and replaces what is stored. An image equal to the
 *   one in memory does nothing, also after a call that failed half-way, and in a new process also
 *   after one that was killed: gl3_web_set_fw_status() with 1 generates the rules again.
 * - No call locks: callers serialise their calls, those of other processes included. A set call
 *   writes whole records, so a program that loaded the records earlier overwrites what others have
 *   stored since. Where l3ctl is installed, a program takes an exclusive flock(2) on
 *   "/run/l3ctl.lock" (created with mode 0600 where it is missing, never removed) before it loads
 *   the records, and keeps it until its last set call has returned, as l3ctl does.
 * - Texts are zero-terminated. Pointers are checked where a comment says what a null pointer does,
 *   and nowhere else.
 * - A call reports its failure in the log (l3_log_print()) or on standard output, as its comment
 * says; "logged" is an error line, level 2. A result of 0 is no proof that every rule was taken:
 *   a failure that a comment calls "only logged" does not show in the result.
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
