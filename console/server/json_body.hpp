/* The JSON of requests and responses. */
#pragma once

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>

#include "console/server/http.hpp"
#include "console/server/problem.hpp"

namespace console {

using Json = nlohmann::ordered_json;

inline Response json_response(int status, const Json& body) {
  Response response;
  response.status = status;
  response.headers = {{"Content-Type", "application/json"}};
  response.body = body.dump(-1, ' ', true, Json::error_handler_t::replace);
  return response;
}

inline Response no_content() {
  Response response;
  response.status = 204;
  return response;
}

/* The body as an object of exactly these texts, in their order. */
inline std::optional<std::vector<std::string>> texts_of(const Request& request,
                                                        std::initializer_list<const char*> names) {
  const Json body = Json::parse(request.body, nullptr, false);
  std::vector<std::string> texts;
  for (const char* name : names) {
    if (!body.is_object() || !body.contains(name) || !body[name].is_string()) {
      return std::nullopt;
    }
    texts.push_back(body[name].get<std::string>());
  }
  return body.is_object() && body.size() == names.size() ? std::optional(texts) : std::nullopt;
}

inline Response body_fault(const std::string& wanted) {
  return problem(422, "body", "the body has to be " + wanted);
}

}  // namespace console
