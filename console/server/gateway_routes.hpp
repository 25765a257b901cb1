/* What l3ctl does for a client, by way of the broker. */
#pragma once

#include "console/server/console.hpp"

namespace console {

Response read_settings(Console& console, const Request& request, const Caller& caller);
Response read_status(Console& console, const Request& request, const Caller& caller);
Response read_rules(Console& console, const Request& request, const Caller& caller);
Response read_health(Console& console, const Request& request, const Caller& caller);
Response read_devices(Console& console, const Request& request, const Caller& caller);
Response read_blocked(Console& console, const Request& request, const Caller& caller);
Response read_metrics(Console& console, const Request& request, const Caller& caller);
Response explain(Console& console, const Request& request, const Caller& caller);
Response plan(Console& console, const Request& request, const Caller& caller);
Response apply(Console& console, const Request& request, const Caller& caller);
Response confirm(Console& console, const Request& request, const Caller& caller);
Response extend(Console& console, const Request& request, const Caller& caller);
Response revert(Console& console, const Request& request, const Caller& caller);
Response read_history(Console& console, const Request& request, const Caller& caller);
Response undo(Console& console, const Request& request, const Caller& caller);
Response make_backup(Console& console, const Request& request, const Caller& caller);
Response restore(Console& console, const Request& request, const Caller& caller);
Response stream_events(Console& console, const Request& request, const Caller& caller);

}  // namespace console
