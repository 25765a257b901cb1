/* Address ranges as prefixes: the series of any range covers each of its addresses once. */
#include <cstdio>

#include "harness.hpp"

using namespace harness;

namespace {

constexpr uint32_t ip(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  return a << 24 | b << 16 | c << 8 | d;
}

using Call = int32_t (*)(const char*, const char*, uint32_t, uint32_t);

/* What is wrong with the series from `start` to `last`; empty when its prefixes are aligned and
 * follow each other without gap or overlap. */
std::string fault_in_series(Call call, uint32_t start, uint32_t end, uint32_t last) {
  uint64_t next = start;
  std::string fault;
  world.system = [&](const std::string& command) {
    unsigned a = 0, b = 0, c = 0, d = 0, length = 0;
    char text[256] = {};
    sscanf(command.c_str(), "S %u.%u.%u.%u/%u", &a, &b, &c, &d, &length);
    snprintf(text, sizeof(text), "S %u.%u.%u.%u/%u  T", a, b, c, d, length);
    if (command != text || length < 16 || length > 32) {
      fault += "unexpected: " + command + "\n";
      return 0;
    }
    const uint64_t size = uint64_t{1} << (32 - length);
    if (ip(a, b, c, d) != next || next % size != 0) {
      fault += "out of place: " + command + "\n";
    }
    next += size;
    return 0;
  };
  if (call("S ", " T", start, end) != 0) {
    fault += "refused\n";
  }
  if (next != uint64_t{last} + 1) {
    fault += "ends before " + std::to_string(next) + "\n";
  }
  return fault;
}

int commands_of_refused(Call call, uint32_t start, uint32_t end) {
  int commands = 0;
  world.system = [&](const std::string&) {
    ++commands;
    return 0;
  };
  EXPECT_EQ(call("S ", " T", start, end), -1);
  return commands;
}

}  // namespace

TEST(RangeSplitCoverage, EveryRangeOfLastOctetsIsCoveredExactly) {
  for (uint32_t s = 0; s < 256; ++s) {
    for (uint32_t e = 0; e < 256; ++e) {
      const uint32_t start = ip(172, 16, 99, s);
      const uint32_t end = ip(172, 16, 99, e);
      if (s <= e) {
        ASSERT_EQ(fault_in_series(config_acl_ip_range_24_mask, start, end, end), "")
            << s << " to " << e;
      } else {
        ASSERT_EQ(commands_of_refused(config_acl_ip_range_24_mask, start, end), 0)
            << s << " to " << e;
      }
    }
  }
}

TEST(RangeSplitCoverage, RangesAtBothEndsOfTheAddressSpaceAreCoveredExactly) {
  for (uint32_t s = 0; s < 256; ++s) {
    for (const uint32_t block : {ip(0, 0, 0, 0), ip(255, 255, 255, 0)}) {
      ASSERT_EQ(fault_in_series(config_acl_ip_range, block + s, block + 255, block + 255), "");
      ASSERT_EQ(fault_in_series(config_acl_ip_range, block, block + s, block + s), "");
    }
  }
}

TEST(RangeSplitCoverage, EveryRangeOfThirdOctetsIsCoveredExactly) {
  for (uint32_t s = 0; s < 256; ++s) {
    for (uint32_t e = 0; e < 256; ++e) {
      const uint32_t start = ip(172, 16, s, 0);
      const uint32_t end = ip(172, 16, e, 0);
      if (s <= e) {
        ASSERT_EQ(fault_in_series(config_acl_ip_range_16_mask, start, end, end + 255), "")
            << s << " to " << e;
      } else {
        ASSERT_EQ(commands_of_refused(config_acl_ip_range_16_mask, start, end), 0)
            << s << " to " << e;
      }
    }
  }
}

TEST(RangeSplitCoverage, RangesAcrossBlocksAreCoveredExactly) {
  for (uint32_t s = 0; s < 256; ++s) {
    for (uint32_t e = s + 1; e < 256; e += 5) {
      const uint32_t start = ip(172, 16, s, (s * 7 + e) % 256);
      const uint32_t end = ip(172, 16, e, (e * 13 + s) % 256);
      ASSERT_EQ(fault_in_series(config_acl_ip_range, start, end, end), "") << s << " to " << e;
    }
  }
}

TEST(RangeSplitCoverage, ARangeAcrossBlocksReachesTheLastAddress) {
  EXPECT_EQ(fault_in_series(config_acl_ip_range, ip(255, 255, 0, 1), ip(255, 255, 255, 255),
                            ip(255, 255, 255, 255)),
            "");
  EXPECT_EQ(
      fault_in_series(config_acl_ip_range, ip(0, 0, 0, 0), ip(0, 0, 255, 254), ip(0, 0, 255, 254)),
      "");
}
