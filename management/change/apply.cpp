#include "management/change/apply.hpp"

#include <algorithm>
#include <cstring>
#include <optional>
#include <type_traits>

#include "executor/executor.hpp"
#include "l3_advance/l3_advance.h"
#include "management/store/stored_settings.hpp"
#include "management/system/platform_info.hpp"

namespace management {

namespace {

using settings::SecurityLevel;
using settings::Settings;

/* A region is compared byte for byte, as the library compares it; anything else by value. */
template <typename Value>
bool same(const Value& a, const Value& b) {
  if constexpr (std::is_class_v<Value>) {
    return std::memcmp(&a, &b, sizeof a) == 0;
  } else {
    return a == b;
  }
}

template <auto Member>
bool is_wanted(const Settings& wanted) {
  return (wanted.*Member).has_value();
}

template <auto Member>
bool differs(const Settings& wanted, const Settings& stored) {
  return !same(*(wanted.*Member), *(stored.*Member));
}

template <auto Member>
void leave_out(Settings& wanted) {
  (wanted.*Member).reset();
}

template <auto Member>
void overlay(Settings& stored, const Settings& wanted) {
  stored.*Member = wanted.*Member;
}

template <auto Member>
constexpr ApplyStep step(const char* section, int32_t (*set)(const Settings& wanted)) {
  return {section, is_wanted<Member>, differs<Member>, set, leave_out<Member>, overlay<Member>};
}

/* The level stands for the master switch and port-scan protection; off says nothing of the latter. */
bool level_differs(const Settings& wanted, const Settings& stored) {
  const bool on = *wanted.security_level != SecurityLevel::off;
  const bool scan = *wanted.security_level == SecurityLevel::high;
  return on != *stored.firewall || (on && scan != *stored.port_scan_protection);
}

constexpr ApplyStep all_steps[] = {
    // The master switch first: everything that follows makes rules only while it is on.
    {"security_level", is_wanted<&Settings::security_level>, level_differs,
     [](const Settings& s) { return set_security_level(static_cast<int32_t>(*s.security_level)); },
     leave_out<&Settings::security_level>,
     [](Settings& stored, const Settings& wanted) {
       stored.security_level = wanted.security_level;
       stored = level_as_switches(stored);
     }},
    step<&Settings::firewall>("firewall",
                              [](const Settings& s) { return set_firewall(*s.firewall); }),
    step<&Settings::port_scan_protection>(
        "port_scan_protection",
        [](const Settings& s) { return set_port_scan_protection(*s.port_scan_protection); }),
    step<&Settings::ipsec_pass_through>("ipsec_pass_through",
                                        [](const Settings& s) {
                                          return gl3_web_set_ipsec_pass_ctrl(
                                              *s.ipsec_pass_through ? 1 : 0);
                                        }),
    step<&Settings::vpn_pass_through>(
        "vpn_pass_through",
        [](const Settings& s) { return set_vpn_pass_through(*s.vpn_pass_through); }),
    step<&Settings::ip_filter>(
        "ip_filter", [](const Settings& s) { return gl3_web_set_firewall_cfg(&*s.ip_filter); }),
    step<&Settings::ip6_filter>(
        "ip6_filter", [](const Settings& s) { return gl3_web_set_firewall6_cfg(&*s.ip6_filter); }),
    step<&Settings::url_filter>(
        "url_filter", [](const Settings& s) { return gl3_web_set_url_cfg(&*s.url_filter); }),
    step<&Settings::mac_filter>(
        "mac_filter", [](const Settings& s) { return gl3_web_set_mac_cfg(&*s.mac_filter); }),
    step<&Settings::mac6_filter>(
        "mac6_filter", [](const Settings& s) { return gl3_web_set_mac6_cfg(&*s.mac6_filter); }),
    step<&Settings::acl>("acl", [](const Settings& s) { return gl3_web_set_acl_cfg(&*s.acl); }),
    step<&Settings::captive_portal>(
        "captive_portal",
        [](const Settings& s) { return gl3_web_set_caporl_cfg(&*s.captive_portal); }),
    // After the firewall's switch: turning that empties the chain, and nothing else refills it.
    step<&Settings::dhcp_filter>(
        "dhcp_filter", [](const Settings& s) { return gl3_web_set_dhcp_cfg(&*s.dhcp_filter); }),
    // The switch first: with the switch off, setting the rules empties the table in memory.
    step<&Settings::route_qos_enabled>("route_qos",
                                       [](const Settings& s) {
                                         return gl3_web_set_route_qos_control(
                                             *s.route_qos_enabled ? 1 : 0);
                                       }),
    step<&Settings::route_qos_rules>(
        "route_qos", [](const Settings& s) { return gl3_web_set_route_qos(&*s.route_qos_rules); }),
};

/* Does what "l3ctl wan update" does, where the firewall is on and getIfName() cannot hand over the name. */
int32_t bind_long_wan_name() {
  constexpr size_t longest_handed_over = 5;
  const std::string wan = internet_wan_name();
  uint8_t on = 0;
  if (wan.size() <= longest_handed_over || get_firewall_state_from_cfgfile(&on) != 0 || on == 0) {
    return 0;
  }
  gl3_l3ctl_clear_firewall();
  const int32_t result = gl3_l3ctl_update_firewall(wan.c_str());
  return result == 0 ? save_fw() : result;
}

/* Two steps may belong to one section; one that was set is told as that alone. */
void add_once(std::vector<std::string>& names, const char* name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) {
    names.emplace_back(name);
  }
}

}  // namespace

std::span<const ApplyStep> apply_steps() {
  return all_steps;
}

bool changes_something(const Settings& wanted, const Settings& stored) {
  return std::any_of(std::begin(all_steps), std::end(all_steps), [&](const ApplyStep& step) {
    return step.is_wanted(wanted) && step.differs(wanted, stored);
  });
}

Settings with_changes(Settings stored, const Settings& wanted) {
  for (const ApplyStep& step : all_steps) {
    if (step.is_wanted(wanted)) {
      step.overlay(stored, wanted);
    }
  }
  return stored;
}

Settings level_as_switches(Settings settings) {
  if (settings.security_level) {
    settings.firewall = *settings.security_level != SecurityLevel::off;
    if (*settings.firewall) {
      settings.port_scan_protection = *settings.security_level == SecurityLevel::high;
    }
    settings.security_level.reset();
  }
  return settings;
}

const char* level_of(const Settings& stored) {
  if (!*stored.firewall) {
    return "off";
  }
  return *stored.port_scan_protection ? "high" : "low";
}

Applied apply_in_order(Change& change, const Settings& wanted, const Progress& progress) {
  Applied applied;
  // Removed before it is added, and often not there.
  executor::may_fail("iptables -t filter -D FORWARD -p udp ");
  const auto total =
      static_cast<size_t>(std::count_if(std::begin(all_steps), std::end(all_steps),
                                        [&](const ApplyStep& s) { return s.is_wanted(wanted); }));
  size_t place = 0;
  Settings now = change.stored();
  for (const ApplyStep& step : all_steps) {
    if (!step.is_wanted(wanted)) {
      continue;
    }
    ++place;
    if (!step.differs(wanted, now)) {
      add_once(applied.unchanged, step.section);
      continue;
    }
    progress(step.section, place, total);
    add_once(applied.set, step.section);
    if (change.call(step.section, [&] { return step.set(wanted); }) && wanted.security_level) {
      now = load_stored();
    }
  }
  std::erase_if(applied.unchanged, [&](const std::string& name) {
    return std::find(applied.set.begin(), applied.set.end(), name) != applied.set.end();
  });
  return applied;
}

int32_t set_firewall(bool on) {
  const int32_t result = gl3_web_set_fw_status(on ? 1 : 0);
  return result == 0 && on ? bind_long_wan_name() : result;
}

int32_t set_port_scan_protection(bool on) {
  const int32_t result = gl3_web_set_anti_port_scan(on ? 1 : 0);
  return result == 0 && on ? bind_long_wan_name() : result;
}

int32_t set_security_level(int32_t level) {
  const int32_t result = gl3_web_set_fw_security_level(level);
  return result == 0 && level != 0 ? bind_long_wan_name() : result;
}

int32_t set_vpn_pass_through(bool on) {
  // Reading first hands the stored state to the platform: the set call compares with what that holds.
  uint8_t now = 0;
  const int32_t result = gl3_web_get_vpn_pass_through(&now);
  return result != 0 ? result : gl3_web_set_vpn_pass_through(on ? 1 : 0);
}

}  // namespace management
