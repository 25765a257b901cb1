/* The longest common subsequence of two lists, as the steps from one to the other. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace executor {

struct DiffStep {
  enum class Kind : std::uint8_t { kept, removed, added };
  Kind kind;
  std::size_t before; /* place in the first list; of an added item, where it comes in */
  std::size_t after;  /* place in the second list; of a removed item, where it was */
};

/* What comes first where an item of either list could be left out. */
enum class DiffOrder : std::uint8_t { removed_first, added_first };

/* The steps between the places [begin, before) and [begin, after), which have no equal start or end. */
template <typename Equal>
void add_steps_between(std::size_t begin, std::size_t before, std::size_t after, DiffOrder order,
                       Equal&& equal, std::vector<DiffStep>& steps) {
  // common[...]: how many items are kept from the places i and k on.
  const std::size_t width = after - begin + 1;
  std::vector<std::uint32_t> common((before - begin + 1) * width);
  const auto at = [&](std::size_t i, std::size_t k) -> std::uint32_t& {
    return common[(i - begin) * width + k - begin];
  };
  for (std::size_t i = before; i-- > begin;) {
    for (std::size_t k = after; k-- > begin;) {
      at(i, k) = equal(i, k) ? at(i + 1, k + 1) + 1 : std::max(at(i + 1, k), at(i, k + 1));
    }
  }
  for (std::size_t i = begin, k = begin; i < before || k < after;) {
    const bool has_both = i < before && k < after;
    if (has_both && equal(i, k)) {
      steps.push_back({DiffStep::Kind::kept, i++, k++});
      continue;
    }
    const bool is_tie = has_both && at(i + 1, k) == at(i, k + 1);
    const bool removes =
        has_both ? (is_tie ? order == DiffOrder::removed_first : at(i + 1, k) > at(i, k + 1))
                 : i < before;
    if (removes) {
      steps.push_back({DiffStep::Kind::removed, i++, k});
    } else {
      steps.push_back({DiffStep::Kind::added, i, k++});
    }
  }
}

/* The steps from `before` to `after` items that keep most; `equal` compares two places. Between the equal
 * start and the equal end of the lists it takes memory for each pair of places: with more than `most_pairs`
 * of them nothing there is kept. */
template <typename Equal>
std::vector<DiffStep> sequence_diff(std::size_t before, std::size_t after, DiffOrder order,
                                    Equal&& equal, std::size_t most_pairs = SIZE_MAX) {
  std::vector<DiffStep> steps;
  std::size_t begin = 0;
  for (; begin < before && begin < after && equal(begin, begin); ++begin) {
    steps.push_back({DiffStep::Kind::kept, begin, begin});
  }
  std::size_t end = 0;
  while (end < before - begin && end < after - begin && equal(before - end - 1, after - end - 1)) {
    ++end;
  }
  if ((before - end - begin) * (after - end - begin) <= most_pairs) {
    add_steps_between(begin, before - end, after - end, order, equal, steps);
  } else {
    for (std::size_t i = begin; i < before - end; ++i) {
      steps.push_back({DiffStep::Kind::removed, i, begin});
    }
    for (std::size_t k = begin; k < after - end; ++k) {
      steps.push_back({DiffStep::Kind::added, before - end, k});
    }
  }
  for (; end > 0; --end) {
    steps.push_back({DiffStep::Kind::kept, before - end, after - end});
  }
  return steps;
}

}  // namespace executor
