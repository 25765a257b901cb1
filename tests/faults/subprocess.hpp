/* Runs a function in a forked process and returns the lines that it reports. */
#pragma once

#include <functional>

#include "harness.hpp"

namespace scenarios {

using harness::Lines;

struct Reply {
  int status = -1; /* the wait status: 0 when all went well */
  Lines lines;     /* what `action` returned; empty when the process ended before */
};

/* As long as this process has not called the library, the forked one finds it freshly loaded. */
Reply in_subprocess(const std::function<Lines()>& action);

}  // namespace scenarios
