#include "l3ctl/platform_view.hpp"

#include <cstring>

#include "l3_advance/platform.h"
#include "platform/linux/platform_linux.hpp"

namespace l3ctl {

std::string internet_wan_name() {
  return platform_linux::internet_wan_name();
}

std::string lan_address() {
  char buffer[48] = {};
  DhcpsParaServerGet(0, buffer);
  return {buffer, strnlen(buffer, sizeof buffer)};
}

}  // namespace l3ctl
