#include "executor/failed_line.hpp"

#include <algorithm>

namespace {

std::vector<executor::FailedLine> failed;
std::vector<std::string> harmless; /* how lines begin that may fail */
std::uint64_t run_count = 0;

}  // namespace

namespace executor {

void may_fail(std::string_view beginning) {
  harmless.emplace_back(beginning);
}

int ended_with(const FailedLine& line) {
  const bool is_harmless =
      line.status == exit_1 &&
      std::any_of(harmless.begin(), harmless.end(),
                  [&](const std::string& beginning) { return line.line.starts_with(beginning); });
  if (line.status == 0 || is_harmless) {
    return 0;
  }
  keep_failed_line(line);
  return line.status;
}

void keep_failed_line(const FailedLine& line) {
  failed.push_back(line);
}

const std::vector<FailedLine>& failed_lines() {
  return failed;
}

void forget_failed_lines() {
  failed.clear();
}

std::uint64_t lines_run() {
  return run_count;
}

void count_line() {
  ++run_count;
}

}  // namespace executor
