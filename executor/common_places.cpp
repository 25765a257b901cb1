#include "executor/common_places.hpp"

#include "executor/sequence_diff.hpp"

namespace executor {

std::vector<std::pair<std::size_t, std::size_t>> common_places(
    const std::vector<std::string>& before, const std::vector<std::string>& after,
    std::size_t most_pairs) {
  std::vector<std::pair<std::size_t, std::size_t>> places;
  for (const DiffStep& step : sequence_diff(
           before.size(), after.size(), DiffOrder::removed_first,
           [&](std::size_t i, std::size_t k) { return before[i] == after[k]; }, most_pairs)) {
    if (step.kind == DiffStep::Kind::kept) {
      places.emplace_back(step.before, step.after);
    }
  }
  return places;
}

}  // namespace executor
