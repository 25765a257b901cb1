/*
 * This program's system(), which gives every command line to one executor.
 *
 * It must be linked as an object, not from an archive: from an archive nothing would ask for system(), and
 * the C library's would run silently. Executor::is_interposed() proves at start that this one is used.
 */
#pragma once

#include "executor/executor.hpp"

namespace executor {

Executor& system_executor();

}  // namespace executor
