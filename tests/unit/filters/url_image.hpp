/* The URL region as bytes, put together by hand. */
#pragma once

#include "harness.hpp"

namespace harness {

/* The four time bytes in the order in which they are stored. */
struct Hours {
  uint8_t start_hour, stop_hour, start_minute, stop_minute;
};

inline std::string bytes_of_hours(Hours hours) {
  return {static_cast<char>(hours.start_hour), static_cast<char>(hours.stop_hour),
          static_cast<char>(hours.start_minute), static_cast<char>(hours.stop_minute)};
}

/* 44 bytes. A name of 32 bytes has no terminator. */
inline std::string url_entry(std::string name, Hours hours, uint32_t enable = 1,
                             uint32_t reserved = 0) {
  EXPECT_LE(name.size(), 32U);
  name.resize(32);
  return word(enable) + word(reserved) + name + bytes_of_hours(hours);
}

/* 2212 bytes: the count, up to 50 entries, list mode and switch. */
inline std::string url_image(int32_t count, const Lines& entries, uint32_t mode, uint32_t control) {
  std::string image = word(static_cast<uint32_t>(count));
  for (const std::string& entry : entries) {
    image += entry;
  }
  image.resize(2204);
  return image + word(mode) + word(control);
}

/* The same as the library takes it. */
inline l3_url_filter url_region(const std::string& image) {
  l3_url_filter region = {};
  EXPECT_EQ(image.size(), sizeof(region));
  image.copy(reinterpret_cast<char*>(&region), sizeof(region));
  return region;
}

/* What an entry leaves in the log before its command is run. */
inline Lines url_traced(const std::string& name, const std::string& labels,
                        const std::string& command) {
  return debug("xxx.xxx.xx\n") + debug("url=" + name + "\n") +
         debug("resolve_url=" + labels + "\n") + debug("\n==" + command + "==\n");
}

inline Lines url_rule(const std::string& name, const std::string& labels,
                      const std::string& command) {
  return url_traced(name, labels, command) + ran(command);
}

}  // namespace harness
