#include "console/server/log.hpp"

#include <cstdio>

namespace console {

void log_event(const std::string& what, const std::string& address) {
  std::fprintf(stderr, "l3-console: %s%s%s\n", what.c_str(), address.empty() ? "" : " from ",
               address.c_str());
}

}  // namespace console
