/* Log-in, password and tokens. */
#pragma once

#include "console/server/console.hpp"

namespace console {

Response log_in(Console& console, const Request& request, const Caller& caller);
Response show_session(Console& console, const Request& request, const Caller& caller);
Response log_out(Console& console, const Request& request, const Caller& caller);
Response change_password(Console& console, const Request& request, const Caller& caller);
Response list_tokens(Console& console, const Request& request, const Caller& caller);
Response make_token(Console& console, const Request& request, const Caller& caller);
Response delete_token(Console& console, const Request& request, const Caller& caller);

}  // namespace console
