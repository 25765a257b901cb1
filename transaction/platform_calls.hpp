/* The platform calls that the host program supplies; one that it lacks fails, as in libl3_advance. */
#pragma once

#include "management/store/store_snapshot.hpp"

namespace transaction {

management::PlatformCalls platform_calls();

}  // namespace transaction
