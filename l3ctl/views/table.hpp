/* Texts in columns. */
#pragma once

#include <string>
#include <vector>

namespace l3ctl {

using Row = std::vector<std::string>;

/* Rows under each other; the first row is the heading. */
std::string aligned(const std::vector<Row>& rows);

}  // namespace l3ctl
