#include "management/system/platform_info.hpp"

#include <cstring>

#include "l3_advance/platform.h"
#include "platform/linux/platform_linux.hpp"

namespace management {

std::string internet_wan_name() {
  return platform_linux::internet_wan_name();
}

std::string lan_address() {
  char buffer[48] = {};
  DhcpsParaServerGet(0, buffer);
  return {buffer, strnlen(buffer, sizeof buffer)};
}

}  // namespace management
