/*
 * Diagnostics. Every line begins with "line[%d], " and the number of the source line that logs it;
 * the macros exist for that number alone. Where the process supplies no l3_log_print(), nothing is
 * logged.
 */
#pragma once

#include "firewall/base/platform.hpp"

namespace l3 {

inline constexpr int32_t log_error_level = 2;
inline constexpr int32_t log_debug_level = 4;
inline constexpr int32_t log_module = 2;

/* Converts an argument of a log line to one of two types, so that log_words() has few instances. */
inline int32_t log_word(int32_t number) {
  return number;
}
inline int32_t log_word(uint32_t number) {
  return static_cast<int32_t>(number);
}
inline const char* log_word(const char* text) {
  return text;
}

/* Not inlined, for the size of the code: the test for a missing l3_log_print() stands here once
 * instead of beside each line. */
template <int32_t level, typename... Words>
[[gnu::noinline]] void log_words(const char* format, int32_t line, Words... words) {
  if (l3_log_print != nullptr) {
    l3_log_print(level, log_module, format, line, words...);
  }
}

template <int32_t level, typename... Arguments>
void log(const char* format, int32_t line, Arguments... arguments) {
  log_words<level>(format, line, log_word(arguments)...);
}

}  // namespace l3

/* The first call is never executed; with it the compiler checks the format. */
#define L3_LOG(level, format, ...)                                    \
  (false ? l3_log_print(level, ::l3::log_module, "line[%d], " format, \
                        __LINE__ __VA_OPT__(, ) __VA_ARGS__)          \
         : ::l3::log<level>("line[%d], " format, __LINE__ __VA_OPT__(, ) __VA_ARGS__))

#define L3_LOG_ERROR(format, ...) L3_LOG(::l3::log_error_level, format __VA_OPT__(, ) __VA_ARGS__)
#define L3_LOG_DEBUG(format, ...) L3_LOG(::l3::log_debug_level, format __VA_OPT__(, ) __VA_ARGS__)
