#include "console/server/console.hpp"

#include <algorithm>
#include <array>
#include <optional>

#include "console/server/problem.hpp"
#include "console/server/secrets.hpp"

namespace console {

namespace {

constexpr std::size_t largest_body = std::size_t{256} * 1024;

/* Only what is here may be fetched, run or framed. Trusted Types: no text becomes markup or code.
 */
constexpr std::string_view content_security_policy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src "
    "'self'; "
    "form-action 'self'; base-uri 'none'; object-src 'none'; frame-ancestors 'none'; "
    "require-trusted-types-for 'script'; trusted-types 'none'";

}  // namespace

void add_usual_headers(Response& response) {
  response.headers.insert(response.headers.end(),
                          {{"Content-Security-Policy", std::string(content_security_policy)},
                           {"X-Content-Type-Options", "nosniff"},
                           {"Referrer-Policy", "no-referrer"},
                           {"Cross-Origin-Opener-Policy", "same-origin"},
                           {"Cross-Origin-Resource-Policy", "same-origin"},
                           {"Cache-Control", "no-store"}});
  // Of a response that waits for the broker the last one has them.
  if (response.then) {
    response.then = [then = std::move(response.then)](const Answer& answer) {
      Response next = then(answer);
      add_usual_headers(next);
      return next;
    };
  }
}

namespace {

/* A header that decides something must not be there twice: we and a proxy could each take another
 one. */
bool has_doubled_header(const Request& request) {
  constexpr std::array<std::string_view, 8> single = {"host",     "cookie",         "authorization",
                                                      "origin",   "sec-fetch-site", "content-type",
                                                      "if-match", "x-l3-token"};
  return std::any_of(single.begin(), single.end(), [&](std::string_view name) {
    return std::count_if(request.headers.begin(), request.headers.end(),
                         [name](const auto& one) { return one.first == name; }) > 1;
  });
}

/* "{id}" stands for one step that is not empty. */
bool matches(std::string_view pattern, std::string_view path) {
  const std::size_t place = pattern.find('{');
  if (place == std::string_view::npos) {
    return pattern == path;
  }
  return path.size() > place && path.substr(0, place) == pattern.substr(0, place) &&
         path.find('/', place) == std::string_view::npos;
}

bool is_change(const Request& request) {
  return request.method != "GET" && request.method != "HEAD";
}

bool is_json(const Request& request) {
  const std::string type = lower_case(header(request, "content-type"));
  return type == "application/json" || type == "application/json; charset=utf-8" ||
         type == "application/json;charset=utf-8";
}

Response unknown_method(const std::string& allowed) {
  Response response = problem(405, "method_not_allowed", "this path has other methods");
  response.headers.emplace_back("Allow", allowed);
  return response;
}

Response log_in_first() {
  Response response = problem(401, "log_in", "log in first, or send a token that is known");
  response.headers.emplace_back("WWW-Authenticate", "Bearer");
  return response;
}

/* What is wrong with a request that wants to change something, whoever asks. */
std::optional<Response> fault_of_change(const Request& request, const OurNames& names,
                                        bool has_token) {
  if (!is_same_origin(request, names, !has_token)) {
    return problem(403, "foreign_origin", "a change has to come from a page of this console");
  }
  if (!is_json(request)) {
    return problem(415, "content_type", "a change needs Content-Type: application/json");
  }
  return std::nullopt;
}

bool is_allowed(Need need, const Caller& caller) {
  switch (need) {
    case Need::nothing:
    case Need::identity:
      return true;
    case Need::account:
      return !caller.session.empty();
    default:
      return static_cast<int>(caller.scope) >=
             static_cast<int>(need) - static_cast<int>(Need::read);
  }
}

}  // namespace

std::string_view Console::cookie_name() const {
  return names_.is_encrypted ? "__Host-l3" : "l3-plain";
}

bool Console::is_live(const EventStream& stream, std::int64_t now) {
  if (!stream.session.empty()) {
    return sessions_.find(stream.session, now) != nullptr;
  }
  const State state = store_->read();
  return std::any_of(state.tokens.begin(), state.tokens.end(),
                     [&](const Token& token) { return token.id == stream.token; });
}

Caller Console::caller_of_cookie(const Request& request) {
  Session* session = sessions_.find(cookie(request, cookie_name()), request.now);
  if (session == nullptr) {
    return {};
  }
  // An event stream reconnects by itself: it shows no one's activity.
  if (request.path != "/api/v1/events") {
    session->used = request.now;
  }
  return {session->id, session->csrf, session->must_change_password,
          {},          Scope::apply,  "session from " + request.address};
}

Caller Console::caller_of_token(const Request& request) {
  constexpr std::string_view scheme = "Bearer ";
  const std::string value = header(request, "authorization");
  if (!starts_with(value, scheme)) {
    return {};
  }
  const std::string hash = sha256(std::string_view(value).substr(scheme.size()));
  Caller caller;
  for (const Token& token : store_->read().tokens) {
    if (is_equal_secret(token.hash, hash)) {
      caller.token = token.id;
      caller.scope = token.scope;
      caller.who = "token " + token.name;
    }
  }
  return caller;
}

Response Console::handle_route(const Route& route, const Request& request) {
  const bool has_token = has_header(request, "authorization");
  if (is_change(request)) {
    if (auto fault = fault_of_change(request, names_, has_token)) {
      return *fault;
    }
  }
  if (route.need == Need::nothing) {
    return route.handle(*this, request, {});
  }
  const Caller caller = has_token ? caller_of_token(request) : caller_of_cookie(request);
  if (caller.session.empty() && caller.token.empty()) {
    return log_in_first();
  }
  if (is_change(request) && !has_token &&
      !is_equal_secret(header(request, "x-l3-token"), caller.csrf)) {
    return problem(403, "csrf_token", "a change needs the session's token in X-L3-Token");
  }
  if (caller.must_change_password && route.need != Need::identity) {
    return problem(403, "password_change_required", "the first password has to be changed first");
  }
  if (!is_allowed(route.need, caller)) {
    return problem(403, "scope", "this token may not do that");
  }
  return route.handle(*this, request, caller);
}

Response Console::handle(const Request& request) {
  const auto answer = [&]() -> Response {
    if (has_doubled_header(request)) {
      return problem(400, "doubled_header", "a header is there twice");
    }
    if (!is_our_host(request, names_)) {
      return problem(421, "foreign_host", "the Host header is no name of this console");
    }
    if (request.body.size() > largest_body) {
      return problem(413, "too_large", "a body has at most 256 KiB");
    }
    std::string allowed;
    for (const Route& route : routes()) {
      if (matches(route.path, request.path)) {
        if (route.method == request.method) {
          return handle_route(route, request);
        }
        allowed += (allowed.empty() ? "" : ", ") + std::string(route.method);
      }
    }
    return allowed.empty() ? problem(404, "not_found", "there is nothing at this path")
                           : unknown_method(allowed);
  };
  Response response = answer();
  add_usual_headers(response);
  return response;
}

}  // namespace console
