/*
 * The log: one line a call on standard error or in syslog, up to a level that a file can change
 * while programs run.
 */
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "l3_advance/platform.h"
#include "platform/linux/platform_linux.hpp"

namespace {

constexpr std::int32_t error_level = 2;

std::int32_t default_level = error_level;
std::int32_t level_now = error_level;
platform_linux::LogDestination destination_now = platform_linux::LogDestination::standard_error;
platform_linux::LineFilter filter_now = nullptr;

/* The library's texts carry line feeds of their own, within and at the end: each becomes one line. */
std::string one_line(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
    text.pop_back();
  }
  for (char& character : text) {
    if (static_cast<unsigned char>(character) < 0x20) {
      character = ' ';
    }
  }
  return text;
}

}  // namespace

namespace platform_linux {

void log_to(LogDestination destination) {
  destination_now = destination;
}

void filter_log_lines(LineFilter filter) {
  filter_now = filter;
}

void set_default_log_level(std::int32_t level) {
  default_level = level;
  level_now = level;
}

}  // namespace platform_linux

extern "C" {

/* Limits: a line is cut at 4095 bytes; control characters are shown as blanks. */
void l3_log_print(int32_t level, int32_t module, const char* format, ...) {
  if (level > level_now) {
    return;
  }
  char text[4096];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);

  const char* severity = level <= error_level ? "error" : "debug";
  const std::string line = one_line(text);
  if (destination_now == platform_linux::LogDestination::syslog) {
    syslog(LOG_DAEMON | (level <= error_level ? LOG_ERR : LOG_DEBUG), "l3_advance[%d]: %s",
           static_cast<int>(module), line.c_str());
  } else {
    std::fprintf(stderr, "l3_advance %s: %s\n", severity,
                 filter_now == nullptr ? line.c_str() : filter_now(line).c_str());
  }
}

/* Limits: a file that does not begin with a decimal number counts as missing. */
void grm_all_refresh_log_mod_level(void) {
  const std::string text = platform_linux::read_state("log_level");
  char* end = nullptr;
  const long level = std::strtol(text.c_str(), &end, 10);
  level_now = end == text.c_str() ? default_level : static_cast<std::int32_t>(level);
}

}  // extern "C"
