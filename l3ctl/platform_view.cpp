#include "l3ctl/platform_view.hpp"

#include <cstring>

#include "l3_advance/platform.h"

namespace l3ctl {

std::string internet_wan_name() {
  char name[6] = {};
  const int32_t index = grm_gl3_get_internet_index();
  if (index == -1 || getIfName(index, name) == -1) {
    return {};
  }
  return {name, strnlen(name, sizeof name)};
}

std::string lan_address() {
  char buffer[48] = {};
  DhcpsParaServerGet(0, buffer);
  return {buffer, strnlen(buffer, sizeof buffer)};
}

}  // namespace l3ctl
