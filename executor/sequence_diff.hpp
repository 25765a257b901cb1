/* The longest common subsequence of two lists, as the steps from one to the other. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace executor {

struct DiffStep {
  enum class Kind : uint8_t { kept, removed, added };
  Kind kind;
  size_t before; /* place in the first list; of an added item, where it comes in */
  size_t after;  /* place in the second list; of a removed item, where it was */
};

/* What comes first where an item of either list could be left out. */
enum class DiffOrder : uint8_t { removed_first, added_first };

/* The steps from `before` to `after` that keep most; `equal` compares two places. Takes memory for each pair of
 * places. */
template <typename Equal>
std::vector<DiffStep> sequence_diff(size_t before, size_t after, DiffOrder order, Equal&& equal) {
  // common[i][k]: how many items are kept from the places i and k on.
  std::vector<std::vector<size_t>> common(before + 1, std::vector<size_t>(after + 1));
  for (size_t i = before; i-- > 0;) {
    for (size_t k = after; k-- > 0;) {
      common[i][k] =
          equal(i, k) ? common[i + 1][k + 1] + 1 : std::max(common[i + 1][k], common[i][k + 1]);
    }
  }
  std::vector<DiffStep> steps;
  for (size_t i = 0, k = 0; i < before || k < after;) {
    const bool has_both = i < before && k < after;
    if (has_both && equal(i, k)) {
      steps.push_back({DiffStep::Kind::kept, i++, k++});
      continue;
    }
    const bool is_tie = has_both && common[i + 1][k] == common[i][k + 1];
    const bool removes = has_both ? (is_tie ? order == DiffOrder::removed_first
                                            : common[i + 1][k] > common[i][k + 1])
                                  : i < before;
    if (removes) {
      steps.push_back({DiffStep::Kind::removed, i++, k});
    } else {
      steps.push_back({DiffStep::Kind::added, i, k++});
    }
  }
  return steps;
}

}  // namespace executor
