#include "l3ctl/views/table.hpp"

#include <algorithm>

#include "management/system/text.hpp"

namespace l3ctl {

std::string aligned(const std::vector<Row>& rows) {
  std::vector<size_t> widths(rows.front().size(), 0);
  for (const Row& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], row[i].size());
    }
  }
  std::string text;
  for (const Row& row : rows) {
    std::string line = "  ";
    for (size_t i = 0; i < row.size(); ++i) {
      line += management::padded(row[i], widths[i] + 2);
    }
    text += line.erase(line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

}  // namespace l3ctl
