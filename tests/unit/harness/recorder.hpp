/* How the stand-ins for system(), the platform and the file calls write into the transcript. */
#pragma once

#include "harness.hpp"

namespace harness {

/* Whether record() is running its action. */
bool recording();

/* One event a line, whatever bytes it holds. */
std::string printable(std::string_view text);

void add_event(const std::string& event);

/* File calls are counted from here, and descriptors are those opened from here. */
void start_counting_file_calls();

}  // namespace harness
