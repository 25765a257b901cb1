/* The platform of the benchmarks: a WAN named wan3, services that always succeed, and a log that is
 * off, or formats every message and throws it away. */
#pragma once

namespace bench {

void log_on(bool on);

}  // namespace bench
