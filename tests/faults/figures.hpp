/* The table of docs/reliability.md that says what each sweep meets. */
#pragma once

#include <string>

#include "sweep.hpp"

namespace scenarios {

/* The row of this name, in the long form or the short one; fails the test where there is none. */
Tally documented(const std::string& row, bool full);

/* A row of the table in one form, as a person reads it. */
std::string row_text(const std::string& row, const Tally& tally);

}  // namespace scenarios
