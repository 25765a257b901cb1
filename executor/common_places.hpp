/* The longest common subsequence of two lists of rules. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace executor {

/* The places of equal texts in both lists, in order, as many as there are (sequence_diff.hpp). */
[[nodiscard]] std::vector<std::pair<std::size_t, std::size_t>> common_places(
    const std::vector<std::string>& before, const std::vector<std::string>& after,
    std::size_t most_pairs = SIZE_MAX);

}  // namespace executor
