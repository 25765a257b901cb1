#include "l3ctl/views/colour.hpp"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace l3ctl {

namespace {

const char* sequence(Paint paint) {
  switch (paint) {
    case Paint::plain:
      break;
    case Paint::strong:
      return "\033[1m";
    case Paint::faint:
      return "\033[2m";
    case Paint::good:
      return "\033[32m";
    case Paint::bad:
      return "\033[31m";
    case Paint::warning:
      return "\033[33m";
  }
  return "";
}

}  // namespace

bool is_colourful() {
  const char* no_colour = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  const bool is_refused = no_colour != nullptr && *no_colour != '\0';
  const bool is_able = terminal == nullptr || std::strcmp(terminal, "dumb") != 0;
  return !is_refused && is_able && isatty(STDOUT_FILENO) == 1;
}

std::string painted(Paint paint, const std::string& text) {
  if (paint == Paint::plain || text.empty() || !is_colourful()) {
    return text;
  }
  return sequence(paint) + text + "\033[0m";
}

Paint paint_of_state(const std::string& word) {
  if (word == "on" || word == "yes") {
    return Paint::good;
  }
  return word == "off" || word == "no" || word == "none" ? Paint::faint : Paint::plain;
}

}  // namespace l3ctl
