/* What changes the settings, and what becomes of a change that waits for its confirmation. */
#include "console/server/ask.hpp"
#include "console/server/gateway_routes.hpp"
#include "console/server/json_body.hpp"

namespace console {

namespace {

/* The session or token, for whoever may confirm. */
std::string identity_of(const Caller& caller) {
  return caller.token.empty() ? "session " + caller.session : "token " + caller.token;
}

/* The change that a body names: empty where it names none, nothing where it is another body. */
std::optional<std::string> change_of(const Request& request) {
  if (request.body.empty() || Json::parse(request.body, nullptr, false) == Json::object()) {
    return "";
  }
  const auto texts = texts_of(request, {"id"});
  return texts && !(*texts)[0].empty() ? std::optional((*texts)[0]) : std::nullopt;
}

Response change_fault() {
  return body_fault("{\"id\": \"...\"}, the id of a change");
}

Response seconds_fault() {
  return problem(422, "confirm_seconds", "confirm has to be from 1 to 3600 seconds");
}

/* A change that changes nothing waits for nothing. */
Response changed(Console& console, const std::string& maker, const Answer& answer) {
  const Json result = Json::parse(answer.output, nullptr, false);
  const bool waits = result.is_object() && result.contains("confirm_within") &&
                     result.contains("id") && result["id"].is_string();
  if (waits) {
    console.waiting = {result["id"].get<std::string>(), maker};
  }
  Response response = pass_on(answer);
  response.status = waits ? 202 : 200;
  return response;
}

Response ask_for_settings(Console& console, const Caller& caller, Call call) {
  return ask_for_change(console, caller, std::move(call),
                        [&console, maker = identity_of(caller)](const Answer& answer) {
                          return changed(console, maker, answer);
                        });
}

/* Asks about the change that waits, for its maker: whoever cannot reach us any more after a change
 * must not have it confirmed by others. */
Response ask_as_maker(Console& console, const Request& request, const Caller& caller,
                      Operation operation, const std::string& seconds) {
  const auto change = change_of(request);
  if (!change) {
    return change_fault();
  }
  const Waiting& waiting = console.waiting;
  if (waiting.maker != identity_of(caller) || (!change->empty() && *change != waiting.change)) {
    return problem(403, "not_yours", "only the session that applied a change may confirm it");
  }
  const Call call = call_of(operation, "", waiting.change + (seconds.empty() ? "" : " ") + seconds);
  return command_line(call) ? ask_for_change(console, caller, call) : seconds_fault();
}

}  // namespace

/* Settings go on as they came, so that l3ctl's line numbers are the client's. l3ctl plan ends with
 * 2 where there are changes. */
Response plan(Console& /*console*/, const Request& request, const Caller& /*caller*/) {
  return ask(call_of(Operation::plan, request.body), {0, 2});
}

/* The settings are read once more, and l3ctl sets the new ones only if they are still stored: nothing
 * that anyone has changed meanwhile is overwritten. */
Response apply(Console& console, const Request& request, const Caller& caller) {
  const std::string known = header(request, "if-match");
  if (known.empty()) {
    return problem(428, "if_match_required", "apply needs the ETag of the settings in If-Match");
  }
  const std::string seconds = query_parameter(request, "confirm");
  const Call change =
      call_of(seconds.empty() ? Operation::apply : Operation::apply_with_confirmation, request.body,
              seconds);
  if (!command_line(change)) {
    return seconds_fault();
  }
  if (console.is_changing) {
    return problem_for_now(409, "busy", "another change is being made", 1);
  }
  console.is_changing = true;
  Response response = ask(call_of(Operation::settings), {0}, [=, &console](const Answer& answer) {
    if (known != "*" && known != etag_of(answer.output)) {
      return problem(412, "settings_changed", "the settings have changed since they were read");
    }
    Call checked = change;
    checked.stored = known == "*" ? "" : answer.output;
    return ask_for_settings(console, caller, checked);
  });
  response.then = [&console, then = std::move(response.then)](const Answer& answer) {
    console.is_changing = false;
    return then(answer);
  };
  return response;
}

Response confirm(Console& console, const Request& request, const Caller& caller) {
  return ask_as_maker(console, request, caller, Operation::confirm, "");
}

Response extend(Console& console, const Request& request, const Caller& caller) {
  return ask_as_maker(console, request, caller, Operation::extend,
                      query_parameter(request, "confirm"));
}

Response revert(Console& console, const Request& request, const Caller& caller) {
  const auto change = change_of(request);
  const Call call = change && change->empty()
                        ? call_of(Operation::revert)
                        : call_of(Operation::revert_change, "", change.value_or(""));
  return command_line(call) ? ask_for_change(console, caller, call) : change_fault();
}

Response undo(Console& console, const Request& request, const Caller& caller) {
  const std::string change = change_of(request).value_or("");
  if (!command_line(call_of(Operation::undo, "", change))) {
    return change_fault();
  }
  const std::string seconds = query_parameter(request, "confirm");
  const Call call = seconds.empty()
                        ? call_of(Operation::undo, "", change)
                        : call_of(Operation::undo_with_confirmation, "", change + " " + seconds);
  return command_line(call) ? ask_for_settings(console, caller, call) : seconds_fault();
}

}  // namespace console
