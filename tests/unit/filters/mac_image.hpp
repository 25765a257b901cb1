/* The MAC region as bytes, put together by hand; one layout in both records. */
#pragma once

#include "harness.hpp"

namespace harness {

/* 20 bytes; `mac` is the address, `hours` start hour, stop hour, start minute, stop minute. */
inline std::string mac_entry(const std::string& mac, const std::string& hours, uint32_t enable = 1,
                             const std::string& reserved = std::string(6, '\0')) {
  EXPECT_EQ(mac.size() + reserved.size() + hours.size(), 16U);
  return word(enable) + mac + reserved + hours;
}

/* 212 bytes: the count, up to 10 entries, list mode and switch. */
inline std::string mac_image(int32_t count, const Lines& entries, uint32_t mode, uint32_t control) {
  std::string image = word(static_cast<uint32_t>(count));
  for (const std::string& entry : entries) {
    image += entry;
  }
  image.resize(204);
  return image + word(mode) + word(control);
}

/* The same as the library takes it. */
inline l3_mac_filter mac_region(const std::string& image) {
  l3_mac_filter region = {};
  EXPECT_EQ(image.size(), sizeof(region));
  image.copy(reinterpret_cast<char*>(&region), sizeof(region));
  return region;
}

/* What an entry leaves in the log before its command is run. */
inline Lines mac_traced(const std::string& address, const std::string& command) {
  return debug("gl3_web_mac_bin_to_str::mac_bin=" + address + "\n") +
         debug("\n==" + command + "==\n");
}

inline Lines mac_rule(const std::string& address, const std::string& command) {
  return mac_traced(address, command) + ran(command);
}

}  // namespace harness
