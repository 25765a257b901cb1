/* A line on standard error, which the journal keeps. */
#pragma once

#include <string>

namespace console {

/* `what` has no line feed and no control character. */
void log_event(const std::string& what, const std::string& address);

}  // namespace console
