#include "l3_advance/internet_wan.h"

#include <cstdio>
#include <cstring>

#include "firewall/base/platform.hpp"
#include "firewall/base/state.hpp"

using namespace l3;

extern "C" int32_t gl3_update_internet_wan(void) {
  // The size that getIfName() is specified with; only a daemon reports longer names.
  char name[6] = {};
  const int32_t index = platform::get_internet_index();
  // Only -1 means that there is none; any other index is passed on to the platform.
  if (index == -1) {
    printf("[gl3_update_internet_wan]get a illegal wanindex %d.\n", index);
    return -1;
  }
  const int32_t result = platform::get_if_name(index, name);
  // A name without a terminator is truncated to 5 characters.
  name[sizeof(name) - 1] = '\0';
  if (result == -1) {
    printf("[gl3_update_internet_wan]get a illegal wanifname %s.\n", name);
    return -1;
  }
  printf("[gl3_update_internet_wan]get a legal wanifname %s.\n", name);
  memcpy(internet_wan, name, sizeof(name));
  return 0;
}
