/* The lists of the settings as a monitor sees them: switch, size, and which entries count now. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "settings/settings.hpp"

namespace management {

struct EntryStatus {
  /* What the entry is about, whatever its place in the list: "02:00:00:00:00:07", or the members that
   * make it, "direction=upstream protocol=tcp source=192.168.1.10". */
  std::string identity;
  bool is_active = false; /* it, its list and the firewall are on, and its time span runs */
};

struct ListStatus {
  std::string section;
  bool is_enabled = false;
  size_t capacity = 0;
  std::vector<EntryStatus> entries;
};

/* All lists of whole settings, at a second of the UTC day. */
std::vector<ListStatus> list_statuses(const settings::Settings& stored, uint32_t second);

}  // namespace management
