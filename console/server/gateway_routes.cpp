#include "console/server/gateway_routes.hpp"

#include <algorithm>

#include "console/server/ask.hpp"
#include "console/server/json_body.hpp"
#include "console/server/secrets.hpp"

namespace console {

namespace {

constexpr std::size_t largest_packet = 4096;

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

Response read_history(Console& /*console*/, const Request& /*request*/, const Caller& /*caller*/) {
  return ask(call_of(Operation::history), {0});
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
