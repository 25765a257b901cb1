#include "console/server/account_routes.hpp"

#include <algorithm>

#include "console/server/json_body.hpp"
#include "console/server/log.hpp"
#include "console/server/passwords.hpp"
#include "console/server/secrets.hpp"

namespace console {

namespace {

constexpr std::size_t most_tokens = 16;
constexpr std::size_t longest_name = 32;

Json json_of(const Session& session, std::int64_t now) {
  return {{"kind", "session"},          {"scope", "apply"},
          {"csrf_token", session.csrf}, {"must_change_password", session.must_change_password},
          {"idle_seconds", idle_limit}, {"seconds_left", session.begun + absolute_limit - now}};
}

void set_cookie(const Console& console, Response& response, const std::string& id) {
  std::string value(console.cookie_name());
  value += "=" + id + "; Path=/; HttpOnly; SameSite=Strict";
  value += console.names().is_encrypted ? "; Secure" : "";
  value += id.empty() ? "; Max-Age=0" : "";
  response.headers.emplace_back("Set-Cookie", value);
}

Response not_written() {
  return problem(500, "state_not_written", "the console's state could not be written");
}

/* Compares a password, as often as this address may. */
std::optional<Response> fault_of_password(Console& console, const Request& request,
                                          const std::string& password) {
  const std::int64_t wait = console.attempts().seconds_to_wait(request.address, request.now);
  if (wait > 0) {
    return problem_for_now(429, "too_many_attempts", "too many wrong passwords; wait", wait);
  }
  const State state = console.store().read();
  if (is_password(password, state.password)) {
    console.attempts().note_success(request.address, request.now);
    return std::nullopt;
  }
  console.attempts().note_failure(request.address, request.now);
  log_event("wrong password", request.address);
  if (state.password.empty()) {
    return problem(403, "no_password", "\"l3-console --first-password\" on the gateway makes one");
  }
  return problem(403, "wrong_password", "this is not the password");
}

bool is_name(const std::string& text) {
  return !text.empty() && text.size() <= longest_name &&
         std::all_of(text.begin(), text.end(), [](char c) {
           return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                  std::string_view(" ._-").find(c) != std::string_view::npos;
         });
}

Json json_of(const Token& token) {
  return {{"id", token.id}, {"name", token.name}, {"scope", name_of(token.scope)}};
}

}  // namespace

Response log_in(Console& console, const Request& request, const Caller& /*caller*/) {
  const auto texts = texts_of(request, {"password"});
  if (!texts) {
    return body_fault("{\"password\": \"...\"}");
  }
  if (auto fault = fault_of_password(console, request, (*texts)[0])) {
    return *fault;
  }
  // What the browser has sent of an older session is of no use any more.
  console.sessions().end(cookie(request, console.cookie_name()));
  Session& session = console.sessions().begin(request.address, request.now);
  session.must_change_password = console.store().read().must_change_password;
  log_event("log-in", request.address);
  Response response = json_response(201, json_of(session, request.now));
  set_cookie(console, response, session.id);
  return response;
}

Response show_session(Console& console, const Request& request, const Caller& caller) {
  const Session* session = console.sessions().find(caller.session, request.now);
  if (!caller.token.empty() || session == nullptr) {
    return json_response(200, {{"kind", "token"}, {"scope", name_of(caller.scope)}});
  }
  return json_response(200, json_of(*session, request.now));
}

Response log_out(Console& console, const Request& request, const Caller& caller) {
  console.sessions().end(caller.session);
  log_event("log-out", request.address);
  Response response = no_content();
  set_cookie(console, response, "");
  return response;
}

Response change_password(Console& console, const Request& request, const Caller& caller) {
  const auto texts = texts_of(request, {"current", "new"});
  if (!texts || caller.session.empty()) {
    return caller.session.empty() ? problem(403, "scope", "a token has no password")
                                  : body_fault("{\"current\": \"...\", \"new\": \"...\"}");
  }
  if (auto fault = fault_of_password(console, request, (*texts)[0])) {
    return *fault;
  }
  std::string fault = fault_of_password((*texts)[1]);
  if ((*texts)[0] == (*texts)[1]) {
    fault = "the new password is the old one";
  }
  if (!fault.empty()) {
    return problem(422, "weak_password", fault);
  }
  State state = console.store().read();
  state.password = hash_password((*texts)[1]);
  state.must_change_password = false;
  if (state.password.empty() || !console.store().write(state)) {
    return not_written();
  }
  console.sessions().end_all_but(caller.session);
  if (Session* session = console.sessions().find(caller.session, request.now)) {
    session->must_change_password = false;
  }
  log_event("password changed", request.address);
  return no_content();
}

Response list_tokens(Console& console, const Request& /*request*/, const Caller& /*caller*/) {
  Json list = Json::array();
  for (const Token& token : console.store().read().tokens) {
    list.push_back(json_of(token));
  }
  return json_response(200, {{"tokens", list}});
}

Response make_token(Console& console, const Request& request, const Caller& /*caller*/) {
  const auto texts = texts_of(request, {"name", "scope"});
  const auto scope = texts ? scope_of((*texts)[1]) : std::nullopt;
  if (!scope || !is_name((*texts)[0])) {
    return body_fault(
        "{\"name\": \"...\", \"scope\": \"read\", \"plan\" or \"apply\"}; a name has up to 32 "
        "letters, digits, spaces, dots, dashes and underscores");
  }
  State state = console.store().read();
  if (state.tokens.size() >= most_tokens) {
    return problem(409, "too_many_tokens", "there are 16 tokens; delete one first");
  }
  const std::string secret = "l3_" + random_secret();
  state.tokens.push_back({random_secret().substr(0, 16), (*texts)[0], sha256(secret), *scope});
  if (!console.store().write(state)) {
    return not_written();
  }
  log_event("token made: " + (*texts)[0], request.address);
  Json body = json_of(state.tokens.back());
  body["token"] = secret;
  return json_response(201, body);
}

Response delete_token(Console& console, const Request& request, const Caller& /*caller*/) {
  const std::string id = request.path.substr(request.path.rfind('/') + 1);
  State state = console.store().read();
  if (std::erase_if(state.tokens, [&](const Token& token) { return token.id == id; }) == 0) {
    return problem(404, "not_found", "there is no such token");
  }
  if (!console.store().write(state)) {
    return not_written();
  }
  log_event("token deleted", request.address);
  return no_content();
}

}  // namespace console
