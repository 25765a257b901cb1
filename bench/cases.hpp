/*
 * The fixed set of calls that every benchmark measures. A gateway is brought into the state that the
 * call finds by library calls alone, so that the same case runs with commands that do nothing
 * (instructions) and with real ones (wall time).
 */
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Case {
  std::string name; /* "ip_filter 50": what is set, and how many entries it gets */
  std::function<void()> before;
  std::function<int32_t()> call;
};

/* Each filter set to 0, 10 and as many entries as it holds (at most 50), and set to what it is;
 * boot, switch on and factory reset with that many entries in every filter. */
[[nodiscard]] std::vector<Case> cases();

/* What a program of ours does first: the records and the master switch as they are stored. */
void load_stored();

}  // namespace bench
