#include "figures.hpp"

#include <fstream>
#include <iterator>
#include <sstream>

#include "harness.hpp"

namespace scenarios {

namespace {

const std::string& page() {
  static const std::string text = [] {
    std::ifstream file(RELIABILITY_PAGE);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }();
  return text;
}

/* "3233 / 1479": the long form's figure, then the short one's. */
int figure(std::istream& cells, bool full) {
  int in_long_form = -1;
  int in_short_form = -1;
  std::string bar;
  cells >> in_long_form >> bar >> in_short_form >> bar;
  return full ? in_long_form : in_short_form;
}

}  // namespace

Tally documented(const std::string& row, bool full) {
  const std::string start = "\n| " + row + " | ";
  const size_t at = page().find(start);
  EXPECT_NE(at, std::string::npos) << "docs/reliability.md has no row of " << row;
  if (at == std::string::npos) {
    return {};
  }
  const size_t first = at + start.size();
  std::istringstream cells(page().substr(first, page().find('\n', first) - first));
  std::string bar;
  Tally tally;
  cells >> tally.scenarios >> bar;
  for (int* cell : {&tally.faults, &tally.refused, &tally.repaired, &tally.lost, &tally.stale6}) {
    *cell = figure(cells, full);
  }
  return tally;
}

std::string row_text(const std::string& row, const Tally& tally) {
  std::string text = "| " + row + " |";
  for (const int cell :
       {tally.scenarios, tally.faults, tally.refused, tally.repaired, tally.lost, tally.stale6}) {
    text += " " + std::to_string(cell) + " |";
  }
  return text;
}

}  // namespace scenarios
