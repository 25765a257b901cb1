/* What cppcheck reads in place of the library's own log.hpp: it does not know __VA_OPT__. The number of
 * the line, which the real macros put in front of the arguments, is left out. */
#pragma once

#include "l3_advance/platform.h"

#define L3_LOG_ERROR(...) l3_log_print(2, 2, __VA_ARGS__)
#define L3_LOG_DEBUG(...) l3_log_print(4, 2, __VA_ARGS__)
