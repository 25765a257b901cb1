/* Errors as RFC 9457 describes them, with a code that stays the same whatever the words are. */
#pragma once

#include <string>
#include <string_view>

#include "console/server/http.hpp"

namespace console {

/* `code` is one of console/openapi.yaml's. */
Response problem(int status, std::string_view code, const std::string& detail);

/* The same, to be tried again after so many seconds. */
Response problem_for_now(int status, std::string_view code, const std::string& detail,
                         std::int64_t seconds);

/* What l3ctl's answer to a call becomes where it is no success: the messages, and for wrong
 * settings the line, path and value of each. `sent` is the settings' text. */
Response problem_of(const Answer& answer, const std::string& sent);

}  // namespace console
