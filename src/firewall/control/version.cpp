#include "l3_advance/version.h"

#include "firewall/base/platform.hpp"

extern "C" int32_t libonu_bsp_version_export(void) {
  // Kept: the banner ends in a blank and the date has two; both are registered like this.
  return l3::platform::export_version("libl3_advance.so", "10.0.0.1", "Mar  6 2015", "10:26:46",
                                      "Flibreilaf for Web ", 1);
}
