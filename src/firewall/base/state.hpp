/*
 * The two process-wide values beside the configuration records. Both are shared by every caller
 * without a lock: callers serialise their calls.
 */
#pragma once

#include <cstdint>

namespace l3 {

/* The master switch, 0 off or 1 on. Tested before every generator. Mirrored in the
 * "fire_wall=" line of the configuration file. */
extern uint8_t fw_enable;

/* The name of the Internet WAN interface: at most 15 characters, the longest that an interface can
 * have, and a zero. Not in any file. */
extern char internet_wan[16];

}  // namespace l3
