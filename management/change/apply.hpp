/* How a whole set of settings reaches the library: section by section, in the one order that works. */
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "management/change/change.hpp"
#include "settings/settings.hpp"

namespace management {

struct ApplyStep {
  const char* section;
  /* Whether the wanted settings hold this section, and say other than what is stored. */
  bool (*is_wanted)(const settings::Settings& wanted);
  bool (*differs)(const settings::Settings& wanted, const settings::Settings& stored);
  int32_t (*set)(const settings::Settings& wanted);
  /* Takes this section out of the wanted settings. */
  void (*leave_out)(settings::Settings& wanted);
  /* Puts the wanted section in place of the stored one. */
  void (*overlay)(settings::Settings& stored, const settings::Settings& wanted);
};

std::span<const ApplyStep> apply_steps();

/* Whether there is anything to set. */
bool changes_something(const settings::Settings& wanted, const settings::Settings& stored);

/* What is stored once the wanted settings are applied. */
settings::Settings with_changes(settings::Settings stored, const settings::Settings& wanted);

/* The settings with a security level told by the two switches that it stands for. */
settings::Settings level_as_switches(settings::Settings settings);

/* The level that the two switches stand for: "off", "low" or "high". */
const char* level_of(const settings::Settings& stored);

/* Sections by what became of them. */
struct Applied {
  std::vector<std::string> set;
  std::vector<std::string> unchanged;
};

/* Told of every section before it is set: its name, its place among the wanted ones, their number. */
using Progress = std::function<void(const char* section, size_t place, size_t total)>;

/* Sets what the wanted settings say and the stored ones do not, so that the rules of an unchanged
 * section are never touched. Failures are noted in the change. */
Applied apply_in_order(Change& change, const settings::Settings& wanted, const Progress& progress);

/* The master switch, port-scan protection and the security level. Where the Internet WAN's name is too long for
 * getIfName(), the library makes no rule for it; these bind the rules to it afterwards. */
int32_t set_firewall(bool on);
int32_t set_port_scan_protection(bool on);
int32_t set_security_level(int32_t level);

/* Sets VPN pass-through in the platform and in the file. */
int32_t set_vpn_pass_through(bool on);

}  // namespace management
