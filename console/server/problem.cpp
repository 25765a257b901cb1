#include "console/server/problem.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

namespace console {

namespace {

using Json = nlohmann::ordered_json;

/* The path of a value, as l3ctl names it: mac_filter.devices[0].mac. */
bool is_path(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           std::string_view("_.[]").find(c) != std::string_view::npos;
  });
}

/* The value that stands at a path of the settings, where it is a plain one. */
Json value_at(const Json& settings, std::string_view path) {
  const Json* at = &settings;
  while (!path.empty() && at != nullptr) {
    const bool is_index = path.front() == '[';
    const std::size_t end = is_index ? path.find(']') : path.find_first_of(".[");
    const std::string step(path.substr(is_index ? 1 : 0, is_index ? end - 1 : end));
    path.remove_prefix(
        std::min(end == std::string_view::npos ? end : end + (is_index ? 1 : 0), path.size()));
    path.remove_prefix(!path.empty() && path.front() == '.' ? 1 : 0);
    const auto index = is_index ? std::strtoul(step.c_str(), nullptr, 10) : 0;
    if (is_index) {
      at = at->is_array() && index < at->size() ? &(*at)[index] : nullptr;
    } else {
      at = at->is_object() && at->contains(step) ? &(*at)[step] : nullptr;
    }
  }
  return at != nullptr && at->is_primitive() ? *at : Json();
}

std::optional<long> take_number(std::string_view& text) {
  const std::size_t end = text.find_first_not_of("0123456789");
  if (end == 0 || end > 9 || end == std::string_view::npos || text[end] != ':') {
    return std::nullopt;
  }
  const long number = std::stol(std::string(text.substr(0, end)));
  text.remove_prefix(end + 1);
  return number;
}

/* "standard input:3: mac_filter.enabled: 1 is not allowed" in its parts; nothing where the line is
 about no settings. */
std::optional<Json> fault_of(std::string_view message, const Json& settings) {
  constexpr std::string_view source = "standard input:";
  if (!starts_with(message, source)) {
    return std::nullopt;
  }
  message.remove_prefix(source.size());
  Json fault{{"line", Json()}, {"path", Json()}, {"value", Json()}};
  if (const auto line = take_number(message)) {
    fault["line"] = *line;
  }
  take_number(message);  // the column
  message.remove_prefix(std::min(message.find_first_not_of(' '), message.size()));
  const std::size_t colon = message.find(": ");
  if (colon != std::string_view::npos && is_path(message.substr(0, colon))) {
    fault["path"] = message.substr(0, colon);
    fault["value"] = value_at(settings, message.substr(0, colon));
    message.remove_prefix(colon + 2);
  }
  fault["message"] = message;
  return fault;
}

struct Kind {
  int status;
  std::string_view code;
};

/* By the exit status, and where it has several meanings by the words. */
Kind kind_of(const Answer& answer, const std::string& error, bool has_faults) {
  constexpr int refused_or_torn = 3;
  constexpr int busy = 5;
  if (has_faults) {
    return {422, "settings_invalid"};
  }
  if (answer.status == busy && error.find("what is stored is not what") != std::string::npos) {
    return {412, "settings_changed"};
  }
  if (answer.status == busy) {
    const bool waits = error.find("confirm") != std::string::npos;
    return waits ? Kind{409, "confirmation_pending"} : Kind{409, "busy"};
  }
  if (error.find("no confirmation is pending") != std::string::npos ||
      error.find("the time for the confirmation") != std::string::npos ||
      error.find(" is pending, and not ") != std::string::npos) {
    return {409, "nothing_pending"};
  }
  if (answer.status == refused_or_torn) {
    return answer.output.find("\"failed_rules\"") != std::string::npos
               ? Kind{422, "rule_refused"}
               : Kind{409, "stored_damaged"};
  }
  return answer.status == 2 ? Kind{422, "refused"} : Kind{500, "l3ctl_failed"};
}

Response made(int status, const Json& body) {
  Response response;
  response.status = status;
  response.headers = {{"Content-Type", "application/problem+json"}};
  response.body = body.dump(-1, ' ', true, Json::error_handler_t::replace);
  return response;
}

Json body_of(int status, std::string_view code, const std::string& detail) {
  return {{"type", "urn:l3-advance:problem:" + std::string(code)},
          {"status", status},
          {"code", code},
          {"detail", detail}};
}

Response problem_of_run(Outcome outcome) {
  switch (outcome) {
    case Outcome::not_started:
      return problem(504, "l3ctl_missing", "l3ctl could not be started");
    case Outcome::too_slow:
      return problem(504, "l3ctl_timeout", "l3ctl took too long and was ended");
    case Outcome::too_long:
      return problem(502, "answer_too_long", "l3ctl wrote more than an answer may hold");
    case Outcome::crashed:
      return problem(502, "l3ctl_crashed", "l3ctl was ended by a signal");
    case Outcome::refused:
      return problem(500, "call_refused", "the broker does not allow this call");
    default:
      return problem_for_now(503, "broker_gone", "the console's broker is gone", 5);
  }
}

}  // namespace

Response problem(int status, std::string_view code, const std::string& detail) {
  return made(status, body_of(status, code, detail));
}

Response problem_for_now(int status, std::string_view code, const std::string& detail,
                         std::int64_t seconds) {
  Response response = problem(status, code, detail);
  response.headers.emplace_back("Retry-After", std::to_string(seconds));
  return response;
}

Response problem_of(const Answer& answer, const std::string& sent) {
  if (answer.outcome != Outcome::ended) {
    return problem_of_run(answer.outcome);
  }
  // Its last line, where it is an error; a refused rule comes with a result of its own.
  const Json output = Json::parse(answer.output, nullptr, false);
  const bool is_error =
      output.is_object() && output.contains("error") && output["error"].is_string();
  const std::string error = is_error ? output["error"].get<std::string>() : std::string();
  const Json settings = Json::parse(sent, nullptr, false);
  Json faults = Json::array();
  Json messages = is_error ? output.value("messages", Json::array()) : Json::array();
  for (const Json& message : messages) {
    if (auto fault =
            message.is_string() ? fault_of(message.get<std::string>(), settings) : std::nullopt) {
      faults.push_back(std::move(*fault));
    }
  }
  const Kind kind = kind_of(answer, error, !faults.empty());
  Json body = body_of(kind.status, kind.code, error);
  if (!is_error) {
    const std::size_t end = std::min(answer.errors.find('\n'), answer.errors.size());
    body["detail"] = answer.errors.substr(0, end);
  }
  body["messages"] = messages;
  if (!faults.empty()) {
    body["errors"] = faults;
  }
  if (output.is_object() && output.contains("failed_rules")) {
    body["failed_rules"] = output["failed_rules"];
  }
  Response response = made(kind.status, body);
  if (kind.code == "busy") {
    response.headers.emplace_back("Retry-After", "1");
  }
  return response;
}

}  // namespace console
