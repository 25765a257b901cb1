/*
 * Diagnostics. Every line begins with "line[%d], " and the number of the source line that logs it;
 * the macros exist for that number alone.
 */
#pragma once

#include "l3_advance/platform.h"

namespace l3 {

inline constexpr int32_t log_error_level = 2;
inline constexpr int32_t log_debug_level = 4;
inline constexpr int32_t log_module = 2;

}  // namespace l3

#define L3_LOG_ERROR(format, ...)                                            \
  l3_log_print(::l3::log_error_level, ::l3::log_module, "line[%d], " format, \
               __LINE__ __VA_OPT__(, ) __VA_ARGS__)
#define L3_LOG_DEBUG(format, ...)                                            \
  l3_log_print(::l3::log_debug_level, ::l3::log_module, "line[%d], " format, \
               __LINE__ __VA_OPT__(, ) __VA_ARGS__)
