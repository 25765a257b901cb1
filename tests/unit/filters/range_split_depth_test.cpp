/* Address ranges as prefixes: how deep the workers call themselves. What check_stack.py takes for the
 * most of their frames that are on the stack at once is what is measured here. */
#include <algorithm>
#include <cstring>

#include "harness.hpp"

using namespace harness;

namespace {

/* A worker first logs that it was entered. One that was entered further down the stack than another
 * was called by it; one at the same place, or further up, comes after it has returned. Plain words,
 * for they are asked a million times, under emulation too. */
struct Entries {
  const char* trace = nullptr;
  uintptr_t frames[16] = {};
  int active = 0;
  int deepest = 0;
};
Entries entries;

void enter(const char* format, uintptr_t frame) {
  if (strcmp(format, entries.trace) != 0) {
    return;
  }
  while (entries.active > 0 && entries.frames[entries.active - 1] <= frame) {
    --entries.active;
  }
  ASSERT_LT(entries.active, 16);
  entries.frames[entries.active++] = frame;
  entries.deepest = std::max(entries.deepest, entries.active);
}

using Call = int32_t (*)(const char*, const char*, uint32_t, uint32_t);

/* How deep the worker goes over all pairs of its octet, whose unit is `1 << shift` addresses. */
int deepest_of_all(Call worker, const char* first_trace, unsigned shift) {
  constexpr uint32_t network = 0xac100000;
  int deepest = 0;
  world.logged = enter;
  for (uint32_t pair = 0; pair < 256 * 256; ++pair) {
    entries = {.trace = first_trace};
    worker("S ", " T", network + (pair / 256 << shift), network + (pair % 256 << shift));
    EXPECT_GE(entries.deepest, 1) << "not entered: " << pair / 256 << " to " << pair % 256;
    deepest = std::max(deepest, entries.deepest);
  }
  return deepest;
}

}  // namespace

TEST(RangeSplitDepth, NoRangeOfLastOctetsGoesDeeperThanEight) {
  EXPECT_EQ(
      deepest_of_all(config_acl_ip_range_24_mask, "line[%d], ------------[24]##cmd_string=%s\n", 0),
      8);
}

TEST(RangeSplitDepth, NoRangeOfThirdOctetsGoesDeeperThanEight) {
  EXPECT_EQ(deepest_of_all(config_acl_ip_range_16_mask,
                           "line[%d], ------------[16]##ip_start=%x,ip_end=%x\n", 8),
            8);
}
