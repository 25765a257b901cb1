/*
 * Converts "/ztcfg/l3_advance.conf" to "/ztcfg/l3_advance.dat": 36-byte URL entries become
 * 44-byte ones in place. Every other region lies at the same offset in both.
 */
#include "l3_advance/migration.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "l3_advance/configuration_file.h"
#include "l3_advance/records.h"

namespace {

struct OldUrlEntry {
  uint32_t word;
  char url[32];
};
static_assert(sizeof(OldUrlEntry) == 36);

struct OldUrlFilter {
  int32_t count;
  OldUrlEntry entries[50];
  uint32_t list_mode;
  uint32_t control;
};
static_assert(sizeof(OldUrlFilter) == 1812);
static_assert(offsetof(OldUrlFilter, list_mode) == 1804);
static_assert(offsetof(OldUrlFilter, control) == 1808);

void convert(l3_url_entry& entry, const OldUrlEntry& old) {
  entry.url_enable = 1;
  entry.url_reserved = old.word;
  static_assert(sizeof(entry.url) == sizeof(old.url));
  memcpy(entry.url, old.url, sizeof(entry.url));
  entry.start_hour = 0;
  entry.stop_hour = 24;
  entry.start_minute = 0;
  entry.stop_minute = 0;
}

}  // namespace

extern "C" {

int32_t g_porting_firewall_cfg_v1_to_v2_called_count = 0;

int32_t porting_firewall_cfg_v1_to_v2(void) {
  if (g_porting_firewall_cfg_v1_to_v2_called_count > 0) {
    return 0;
  }
  // Kept: not through str_system(), so nothing is logged; there may be no old file.
  // NOLINTNEXTLINE(cert-env33-c): a rename across whatever /ztcfg is mounted on.
  [[maybe_unused]] const int status = system("mv /ztcfg/l3_advance.conf /ztcfg/l3_advance.dat");
  get_firewall_rules_from_cfgfile();

  // Old and new entries overlap, so the old ones are copied first.
  l3_url_filter& filter = fw_rules_table.url_filter;
  OldUrlFilter old;
  memcpy(&old, &filter, sizeof(old));

  filter.count = old.count;
  filter.url_black_white = old.list_mode;
  filter.url_filter_ctrl = old.control;
  // Kept: entries at and behind the count hold the old bytes, which make no rule.
  for (int32_t i = 0; i < old.count && i < 50; ++i) {
    convert(filter.entries[i], old.entries[i]);
  }
  fw_rules_table.ipsec_pass_ctrl = 1;

  set_firewall_rules_to_cfgfile();
  ++g_porting_firewall_cfg_v1_to_v2_called_count;
  return 0;
}

}  // extern "C"
