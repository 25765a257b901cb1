/*
 * Address ranges as prefixes: one command line a prefix, "<head>192.168.1.4/31 <tail>".
 *
 *   levels   one worker an octet: [24] single addresses inside a /24, prefixes /32 to /24;
 *            [16] whole /24 blocks inside a /16, prefixes /24 to /16
 *   split    a count that is no power of two: the largest power of two below it, then the rest;
 *            an aligned power of two: one prefix; an unaligned one: the aligned half inside it,
 *            and the rest in front of and behind it
 *   example  .10 to .20: 10/31 12/30 16/31 18/31 20/32
 *   kept     the series is not always the shortest; each worker looks at its own octet alone; the
 *            entry point runs all its steps whatever one of them returns
 */
#include <bit>

#include "firewall/base/command.hpp"
#include "firewall/base/log.hpp"
#include "l3_advance/access_list.h"
#include "l3_advance/address.h"

using namespace l3;

namespace {

/* The differences between the two workers. */
struct Level {
  int32_t (*worker)(const char* head, const char* tail, uint32_t start, uint32_t end);
  unsigned shift;  /* a unit is 1 << shift addresses */
  unsigned prefix; /* length of the prefix that is one unit */
};
constexpr Level level_24 = {config_acl_ip_range_24_mask, 0, 32};
constexpr Level level_16 = {config_acl_ip_range_16_mask, 8, 24};

struct Rule {
  const char* head;
  const char* tail;
};

/* The units from that of `start` to that of `end`, at most 256. */
struct Range {
  uint32_t start;
  uint32_t end;
  uint32_t count;
};

void put_prefix(CommandLine& line, const Rule& rule, uint32_t address, unsigned length) {
  char text[16] = {};
  gl3_web_ip_bin_to_str(text, address);
  line.append("%s%s/%u %s", rule.head, text, length, rule.tail);
}

// Not inlined: their command lines would enlarge every frame of the recursion.

[[gnu::noinline]] void emit(const Rule& rule, uint32_t address, unsigned length) {
  CommandLine line;
  put_prefix(line, rule, address, length);
  line.run_ignoring_result();
}

/* Two neighbours that form no prefix together. */
[[gnu::noinline]] void emit_pair(const Level& level, const Rule& rule, uint32_t address) {
  CommandLine line;
  put_prefix(line, rule, address, level.prefix);
  line.run_ignoring_result();

  char first[16] = {};
  char second[16] = {};
  gl3_web_ip_bin_to_str(first, address);
  gl3_web_ip_bin_to_str(second, address + (uint32_t{1} << level.shift));
  // Kept: in the second line every occurrence of the first address is replaced, so a head that
  // contains this address changes too.
  line.replace(first, second);
  line.run_ignoring_result();
}

/* Results of the inner calls are ignored: a refusal ends its own branch only. A template, so that
 * the recursion has direct calls only and its stack can be computed at build time. */
template <const Level& level>
void split(const Rule& rule, const Range& range) {
  const uint32_t first = range.start >> level.shift;
  const uint32_t size = std::bit_floor(range.count);
  const auto bits = static_cast<unsigned>(std::countr_zero(size));

  // Kept: the largest power of two comes first, wherever it lies. That is not always the shortest
  // series (.10 to .20 takes five prefixes where four would do); a shorter series would change the
  // rules.
  if (size != range.count) {
    level.worker(rule.head, rule.tail, range.start, range.start + ((size - 1) << level.shift));
    level.worker(rule.head, rule.tail, range.start + (size << level.shift), range.end);
    return;
  }
  if (first % size == 0) {
    emit(rule, range.start, level.prefix - bits);
    return;
  }
  if (size == 2) {
    emit_pair(level, rule, range.start);
    return;
  }
  const uint32_t half = size / 2;
  const uint32_t aligned = (first + half - 1) / half * half;
  if (aligned > first) {
    level.worker(rule.head, rule.tail, range.start, (aligned - 1) << level.shift);
  }
  emit(rule, aligned << level.shift, level.prefix - bits + 1);
  level.worker(rule.head, rule.tail, (aligned + half) << level.shift, range.end);
}

/* The prefix length of the network that both addresses share, in whole octets; -1 for none. */
int32_t shared_netmask(uint32_t start, uint32_t end) {
  const uint32_t differing = start ^ end;
  if ((differing & 0xffffff00) == 0) {
    return 24;
  }
  if ((differing & 0xffff0000) == 0) {
    return 16;
  }
  return (differing & 0xff000000) == 0 ? 8 : -1;
}

}  // namespace

extern "C" {

int32_t config_acl_ip_range_24_mask(const char* head, const char* tail, uint32_t start,
                                    uint32_t end) {
  L3_LOG_DEBUG("------------[24]##cmd_string=%s\n", head);
  const uint32_t count = (end & 0xff) - (start & 0xff) + 1;
  if (count == 0) {
    L3_LOG_ERROR("config_acl_ip_range_24_mask:start_ip is bigger than end_ip err!\n");
    return -1;
  }
  if (count > 256) {
    L3_LOG_ERROR("config_acl_ip_range_24_mask:ip_num=%d, err!\n", count);
    return -1;
  }
  split<level_24>({head, tail}, {start, end, count});
  return 0;
}

int32_t config_acl_ip_range_16_mask(const char* head, const char* tail, uint32_t start,
                                    uint32_t end) {
  L3_LOG_DEBUG("------------[16]##ip_start=%x,ip_end=%x\n", start, end);
  const uint32_t count = ((end & 0xff00) >> 8) - ((start & 0xff00) >> 8) + 1;
  if (count == 0) {
    L3_LOG_ERROR("config_acl_ip_range_16_mask:start_ip is bigger than end_ip err!\n");
    return -1;
  }
  if (count > 256) {
    L3_LOG_ERROR("config_acl_ip_range_16_mask:ip_num=%d, err!\n", count);
    return -1;
  }
  split<level_16>({head, tail}, {start, end, count});
  return 0;
}

int32_t config_acl_ip_range(const char* head, const char* tail, uint32_t start, uint32_t end) {
  L3_LOG_DEBUG("------------ip_start=%x, ip_end=%x\n", start, end);
  const uint32_t start_block = start & 0xffffff00;
  const uint32_t end_block = end & 0xffffff00;
  const int32_t netmask = shared_netmask(start, end);
  switch (netmask) {
    case 24:
      config_acl_ip_range_24_mask(head, tail, start, end);
      return 0;
    case 16:
      config_acl_ip_range_24_mask(head, tail, start, start_block + 255);
      // Kept: between adjacent blocks there is no block, and the call logs an error; a reversed
      // range is not rejected before it either.
      config_acl_ip_range_16_mask(head, tail, start_block + 256, end_block - 256);
      config_acl_ip_range_24_mask(head, tail, end_block, end);
      return 0;
    default:
      L3_LOG_ERROR("config_acl_ip_range:netmask=%d isn't support err!\n", netmask);
      return -1;
  }
}

}  // extern "C"
