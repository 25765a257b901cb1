/* Where settings and their companions lie. */
#pragma once

namespace management {

inline constexpr char settings_folder[] = "/ztcfg";
inline constexpr char configuration_path[] = "/ztcfg/l3_advance.dat";
/* The rule sets that the library saves, and restores at start-up. */
inline constexpr char saved_rules_path[] = "/ztcfg/firewall.conf";
inline constexpr char saved_rules6_path[] = "/ztcfg/firewall6.conf";
/* A change that waits for its confirmation. */
inline constexpr char pending_path[] = "/ztcfg/l3ctl.pending";
/* The zone and the offset of the stored time spans. */
inline constexpr char time_zone_path[] = "/ztcfg/l3ctl.time_zone";
/* The last changes. */
inline constexpr char history_path[] = "/ztcfg/l3ctl.history";
/* While the flag is there, start-up migrates the old file. */
inline constexpr char migration_flag[] = "/ztcfg/v1_to_v2.flag";
inline constexpr char old_path[] = "/ztcfg/l3_advance.conf";

}  // namespace management
