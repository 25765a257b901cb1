#include "console/server/gateway_routes.hpp"

#include <algorithm>

#include "console/server/ask.hpp"
#include "console/server/json_body.hpp"
#include "console/server/secrets.hpp"

namespace console {

namespace {

constexpr std::size_t largest_packet = 4096;

Call call_of(Operation operation, std::string input = {}, std::string argument = {}) {
  return {operation, std::move(argument), {}, std::move(input), {}};
}

/* The texts of a packet, and nothing nested. */
bool is_packet(const Json& body) {
  return body.is_object() && std::all_of(body.begin(), body.end(),
                                         [](const Json& value) { return value.is_primitive(); });
}

std::string text_of(const Json& value) {
  return value.dump(-1, ' ', true, Json::error_handler_t::replace);
}

/* {"device", "destination", "settings"}: a device's whole day, or its way to a destination; with
 * settings as if they were applied. */
Response explain_device(const Json& body) {
  const Json none = Json::object();
  const Json settings = body.value("settings", none);
  const std::size_t known = 1U + body.count("destination") + body.count("settings");
  if (body.size() == known && body["device"].is_string() &&
      body.value("destination", body["device"]).is_string()) {
    const std::string device = body["device"].get<std::string>();
    const Call call = body.contains("destination")
                          ? call_of(Operation::explain_way, text_of(settings),
                                    device + " " + body["destination"].get<std::string>())
                          : call_of(Operation::explain_device, text_of(settings), device);
    if (command_line(call)) {
      return ask(call, {0});
    }
  }
  return body_fault(
      "one packet, or {\"device\", \"destination\", \"settings\"} with a name or an address of "
      "plain letters, of which only the device is needed");
}

/* The session or token, for whoever may confirm. */
std::string identity_of(const Caller& caller) {
  return caller.token.empty() ? "session " + caller.session : "token " + caller.token;
}

Response applied(Console& console, const std::string& identity, bool waits, const Answer& answer) {
  // An apply that changes nothing waits for nothing.
  const bool is_pending =
      waits && Json::parse(answer.output, nullptr, false).contains("confirm_within");
  if (is_pending) {
    console.confirmer = identity;
  }
  Response response = pass_on(answer);
  response.status = is_pending ? 202 : 200;
  return response;
}

}  // namespace

Response read_settings(Console& /*console*/, const Request& request, const Caller& /*caller*/) {
  return ask(call_of(Operation::settings), {0},
             [known = header(request, "if-none-match")](const Answer& answer) {
               const std::string etag = etag_of(answer.output);
               Response response =
                   known == etag ? Response{304, {}, {}, {}, {}, {}} : pass_on(answer);
               response.headers.emplace_back("ETag", etag);
               return response;
             });
}

Response read_status(Console& /*console*/, const Request& /*request*/, const Caller& /*caller*/) {
  return ask(call_of(Operation::status), {0});
}

Response read_rules(Console& /*console*/, const Request& /*request*/, const Caller& /*caller*/) {
  return ask(call_of(Operation::rules), {0});
}

/* l3ctl doctor ends with 3 where it has found something. */
Response read_health(Console& /*console*/, const Request& /*request*/, const Caller& /*caller*/) {
  return ask(call_of(Operation::health), {0, 3});
}

Response read_devices(Console& /*console*/, const Request& /*request*/, const Caller& /*caller*/) {
  return ask(call_of(Operation::devices), {0});
}

Response read_blocked(Console& /*console*/, const Request& /*request*/, const Caller& /*caller*/) {
  return ask(call_of(Operation::blocked), {0});
}

/* As Prometheus reads it. */
Response read_metrics(Console& /*console*/, const Request& /*request*/, const Caller& /*caller*/) {
  return ask(call_of(Operation::metrics), {0}, [](const Answer& answer) {
    Response response = pass_on(answer);
    response.headers = {{"Content-Type", "text/plain; version=0.0.4; charset=utf-8"}};
    return response;
  });
}

Response explain(Console& /*console*/, const Request& request, const Caller& /*caller*/) {
  const Json body = Json::parse(request.body, nullptr, false);
  if (body.is_object() && body.contains("device")) {
    return explain_device(body);
  }
  if (!is_packet(body) || request.body.size() > largest_packet) {
    return body_fault("an object that describes one packet");
  }
  // A line for each packet: the text of the client may have several.
  const std::string line = text_of(body);
  return ask(call_of(Operation::explain, line.size() > largest_packet ? "{}" : line), {0});
}

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
  const bool waits = !seconds.empty();
  const Call change =
      call_of(waits ? Operation::apply_with_confirmation : Operation::apply, request.body, seconds);
  if (!command_line(change)) {
    return problem(422, "confirm_seconds", "confirm has to be from 1 to 3600 seconds");
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
    return ask_for_change(console, caller, checked, [=, &console](const Answer& made) {
      return applied(console, identity_of(caller), waits, made);
    });
  });
  response.then = [&console, then = std::move(response.then)](const Answer& answer) {
    console.is_changing = false;
    return then(answer);
  };
  return response;
}

/* Whoever cannot reach us any more after a change must not have it confirmed by others. */
Response confirm(Console& console, const Request& /*request*/, const Caller& caller) {
  if (console.confirmer != identity_of(caller)) {
    return problem(403, "not_yours", "only the session that applied a change may confirm it");
  }
  return ask_for_change(console, caller, call_of(Operation::confirm));
}

Response revert(Console& console, const Request& /*request*/, const Caller& caller) {
  return ask_for_change(console, caller, call_of(Operation::revert));
}

Response make_backup(Console& /*console*/, const Request& /*request*/, const Caller& /*caller*/) {
  return ask(call_of(Operation::backup), {0}, [](const Answer& answer) {
    return json_response(200, {{"backup", to_base64(answer.output)}});
  });
}

Response restore(Console& console, const Request& request, const Caller& caller) {
  const auto texts = texts_of(request, {"backup"});
  const auto bytes = texts ? from_base64((*texts)[0]) : std::nullopt;
  const Call call = call_of(Operation::restore, bytes.value_or(""));
  if (!bytes || !command_line(call)) {
    return body_fault("{\"backup\": \"...\"}, as GET /api/v1/backup answers");
  }
  return ask_for_change(console, caller, call);
}

Response stream_events(Console& /*console*/, const Request& request, const Caller& caller) {
  Response response;
  response.headers = {{"Content-Type", "text/event-stream"}};
  response.stream =
      EventStream{std::strtoull(header(request, "last-event-id").c_str(), nullptr, 10),
                  caller.session, caller.token};
  return response;
}

}  // namespace console
