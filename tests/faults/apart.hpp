/* Doing something in a process of its own, and getting its account of it back. */
#pragma once

#include <functional>

#include "harness.hpp"

namespace scenarios {

using harness::Lines;

struct Reply {
  int status = -1; /* the wait status: 0 when all went well */
  Lines lines;     /* what `action` returned; empty when it did not come to that */
};

/* As long as this process has not called the library, the other one meets it freshly loaded. */
Reply apart(const std::function<Lines()>& action);

}  // namespace scenarios
