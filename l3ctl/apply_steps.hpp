/* How a whole set of settings reaches the library: section by section, in the one order that works. */
#pragma once

#include <cstdint>
#include <span>

#include "settings/settings.hpp"

namespace l3ctl {

struct ApplyStep {
  const char* section;
  /* Whether the wanted settings hold this section, and say other than what is stored. */
  bool (*is_wanted)(const settings::Settings& wanted);
  bool (*differs)(const settings::Settings& wanted, const settings::Settings& stored);
  int32_t (*set)(const settings::Settings& wanted);
};

std::span<const ApplyStep> apply_steps();

/* Sets VPN pass-through in the platform and in the file. */
int32_t set_vpn_pass_through(bool on);

}  // namespace l3ctl
