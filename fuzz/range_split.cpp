/* Address ranges: the prefixes are, in this order and without a gap or an overlap, the range. */
#include <cstdio>

#include "input.hpp"
#include "oracle.hpp"
#include "world.hpp"

using namespace fuzz;

namespace {

constexpr char head[] = "iptables -A input_ext_us_acl -p all -s ";
constexpr char tail[] = " -j ACCEPT";

struct Prefix {
  uint32_t first;
  uint32_t last;
};

Prefix prefix_of(const std::string& line) {
  unsigned octets[4] = {};
  unsigned length = 0;
  int end = 0;
  check(line.starts_with(head), "a command begins with the head", line);
  const char* text = line.c_str() + sizeof(head) - 1;
  // NOLINTNEXTLINE(cert-err34-c): a number that does not fit breaks the cover.
  const int read = sscanf(text, "%u.%u.%u.%u/%u %n", &octets[0], &octets[1], &octets[2], &octets[3],
                          &length, &end);
  check(read == 5 && length >= 16 && length <= 32, "then comes a prefix", line);
  check(std::string_view(text + end) == tail + 1, "and the tail", line);
  const uint32_t first = octets[0] << 24 | octets[1] << 16 | octets[2] << 8 | octets[3];
  return {first, first + static_cast<uint32_t>((uint64_t{1} << (32 - length)) - 1)};
}

void check_cover(uint32_t start, uint32_t end) {
  uint64_t expected = start;
  for (const std::string& line : world.commands) {
    const Prefix prefix = prefix_of(line);
    check(prefix.first == expected, "the prefixes follow each other", line);
    check((prefix.first & (prefix.last - prefix.first)) == 0, "a prefix is aligned", line);
    expected = uint64_t{prefix.last} + 1;
  }
  check(expected == uint64_t{end} + 1, "the prefixes end where the range does");
}

/* One worker: it looks at its own octet alone, and refuses a range that begins behind its end. */
void check_worker(uint32_t start, uint32_t end, unsigned shift) {
  world.commands.clear();
  const auto worker = shift == 0 ? config_acl_ip_range_24_mask : config_acl_ip_range_16_mask;
  const int32_t result = worker(head, tail, start, end);
  const bool reversed = ((start >> shift) & 0xff) > ((end >> shift) & 0xff);
  check(result == (reversed ? -1 : 0), "a reversed range is refused");
  check(!reversed || world.commands.empty(), "a refused range runs nothing");
  check(world.commands.size() <= range_commands_24, "a worker's series has a longest");
  if (!reversed) {
    check_cover(start, end | ((1U << shift) - 1));
  }
}

void check_range(uint32_t start, uint32_t end) {
  world.commands.clear();
  const bool shares_16 = (start ^ end) >> 16 == 0;
  check(config_acl_ip_range(head, tail, start, end) == (shares_16 ? 0 : -1),
        "a range lies inside one /16");
  check(shares_16 || world.commands.empty(), "a refused range runs nothing");
  check(world.commands.size() <= range_commands, "a range's series has a longest");
  if (shares_16 && start <= end) {
    check_cover(start, end);
  }
  check(start <= end || (start ^ end) >> 8 != 0 || world.commands.empty(),
        "a range reversed in its last octet runs nothing");
  for (const std::string& line : world.commands) {
    prefix_of(line);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const uint32_t start = input.word();
  const uint32_t other = input.word();
  // The rest is how much of the start the end shares; left to chance, it would be nothing.
  const unsigned shared = input.byte() % 33;
  const uint32_t own = shared == 32 ? 0 : UINT32_MAX >> shared;
  const uint32_t end = (start & ~own) | (other & own);

  world.failing = input.byte();
  check_range(start, end);
  check_worker(start, (start & ~0xffU) | (end & 0xff), 0);
  check_worker(start & ~0xffU, (start & 0xffff0000) | (end & 0xff00), 8);
  world.failing = 0;
  world.commands.clear();
  return 0;
}
