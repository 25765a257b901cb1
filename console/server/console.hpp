/* The console without its sockets: what becomes of a request. */
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "console/server/attempts.hpp"
#include "console/server/http.hpp"
#include "console/server/origin.hpp"
#include "console/server/sessions.hpp"
#include "console/server/state.hpp"

namespace console {

/* Who asks, once that is known. */
struct Caller {
  std::string session; /* id of the session; empty for a token */
  std::string csrf;
  bool must_change_password = false;
  std::string token; /* id of the token */
  Scope scope = Scope::apply;
  std::string who; /* for the history */
};

/* What a route wants of its caller. */
enum class Need : std::uint8_t {
  nothing,  /* the page and the log-in */
  identity, /* any session, also one that must change its password first */
  account,  /* a session */
  read,     /* a session, or a token of this scope */
  plan,
  apply,
};

struct Waiting {
  std::string change; /* its id */
  std::string maker;
};

class Console;

struct Route {
  std::string_view method;
  std::string_view path; /* "{id}" is one step of any text */
  Need need;
  Response (*handle)(Console& console, const Request& request, const Caller& caller);
};

std::span<const Route> routes();

/* What every response has: the security headers, and that no one keeps it. */
void add_usual_headers(Response& response);

class Console {
 public:
  Console(OurNames names, StateStore& store) : names_(std::move(names)), store_(&store) {}

  Response handle(const Request& request);

  /* Whether the session or token of an event stream is still good. */
  bool is_live(const EventStream& stream, std::int64_t now);

  /* For the routes. */
  Sessions& sessions() { return sessions_; }
  Attempts& attempts() { return attempts_; }
  StateStore& store() { return *store_; }
  [[nodiscard]] const OurNames& names() const { return names_; }
  [[nodiscard]] std::string_view cookie_name() const;

  /* One change at a time: whoever comes meanwhile is told so. */
  bool is_changing = false;
  /* The last change that waits for its confirmation, and the session or token that made it: only
   that one may confirm. */
  Waiting waiting;

 private:
  Response handle_route(const Route& route, const Request& request);
  Caller caller_of_cookie(const Request& request);
  Caller caller_of_token(const Request& request);

  OurNames names_;
  StateStore* store_;
  Sessions sessions_;
  Attempts attempts_;
};

}  // namespace console
