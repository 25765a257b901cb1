/*
 * What the fault sweep and the power-cut test try: every exported call that reaches outside, and
 * what a device does with several of them in a row. Each states which bytes of the configuration
 * file are its own to change.
 */
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "device.hpp"

namespace scenarios {

/* Bytes `begin` to `end` of a file, `end` not included. */
struct Range {
  size_t begin;
  size_t end;
};

/* The sections of the configuration file. */
inline constexpr Range vpn_line = {0, 19};
inline constexpr Range switch_line = {19, 31};
inline constexpr Range ip_filter = {31, 2447};
inline constexpr Range url_filter = {2447, 4659};
inline constexpr Range anti_port_scan = {4659, 4663};
inline constexpr Range ipsec_pass = {4663, 4667};
inline constexpr Range mac_filter = {4667, 4879};
inline constexpr Range dhcp_filter = {4879, 5091};
inline constexpr Range acl = {5091, 5419};
inline constexpr Range caporl = {5419, 6195};
inline constexpr Range level = {6195, 6199};
inline constexpr Range route_qos = {6199, 6447};
inline constexpr Range ip6_filter = {6447, 11263};
inline constexpr Range mac6_filter = {13483, 13695};
inline constexpr Range level6 = {15011, 15015};
inline constexpr Range whole_file = {0, 15019};

/* A device before the call. */
struct Start {
  device::Files files;
  std::string kernel; /* what PacketFilter::text() gives; empty for a device that starts */
};

/* A gateway with the sample configuration, booted and switched on ('1') or off ('0'). */
Start at_home(char fire_wall);
/* Nothing stored, nothing running. */
Start brand_new();

struct Scenario {
  std::string name;
  /* The exported calls that it is the test of. */
  std::vector<std::string> calls;
  std::function<int32_t()> act;
  std::vector<Range> owns = {};

  std::function<Start()> start = [] { return at_home('1'); };
  /* Another file that it writes, and which bytes of that one are its own. */
  std::string other_file = "";
  std::vector<Range> other_owns = {};
  /* Whether what is stored has been loaded before. */
  bool loads = true;
  /* A start of the device: the packet filter is empty, also when it is repeated. */
  bool boots = false;
  /* How many commands a fault may add to a run without one: a generator flushes two chains when it
   * gives up. */
  int more_commands = 2;
  /* Whether it may be done again; the migration may not. */
  bool repeatable = true;
  /* Bytes outside its own that a failed reload between two writes turns into zeros. */
  std::vector<Range> lost_unread = {};
  /* What brings the file right where doing it again does not, after a write that went wrong: an
   * interrupted creation, or a line of text that came out short. */
  std::function<int32_t()> repair = nullptr;
  /* It writes IPv6 rules to the file before it makes them. Where one of its ip6tables lines fails, the
   * next start brings back the rules that were saved, not those of the file. */
  bool makes_rules6_last = false;
};

using List = std::vector<Scenario>;

/* A call without arguments of its own test. */
Scenario plain(const std::string& name, std::function<int32_t()> act, std::vector<Range> owns = {});

List configuration_file();
List record_files();
List migration();
List vpn_pass_through();
List route_qos_calls();
List shell_and_rule_set();
List ip_filters();
List url_filters();
List mac_filters();
List dhcp_filters();
List access_lists();
List captive_portals();
List attack_protection();
List internet_wan();
List management_access();
List start_up();
List master_switch();
List security_level();
List factory_reset();

List all();

}  // namespace scenarios
