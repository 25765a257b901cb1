/* Asking l3ctl, and handing its JSON on. */
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "console/server/console.hpp"

namespace console {

Call call_of(Operation operation, std::string input = {}, std::string argument = {});

/* Makes the response of a successful answer. */
using Success = std::function<Response(const Answer&)>;

/* Its JSON as it is. */
Response pass_on(const Answer& answer);

/* Asks the broker; what ends with another status than `good` becomes a problem. */
Response ask(Call call, std::vector<int> good, Success success = pass_on);

/* The same for a change: only one at a time, in the name of the caller. */
Response ask_for_change(Console& console, const Caller& caller, Call call,
                        Success success = pass_on);

/* What names a version of the settings. */
std::string etag_of(const std::string& settings);

}  // namespace console
