/* A request and its response, without a type of the HTTP library: what handles them can be tested
 and fuzzed alone. */
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "console/broker/protocol.hpp"

namespace console {

using Headers = std::vector<std::pair<std::string, std::string>>;

struct Request {
  std::string method;
  std::string path;
  std::string query;
  Headers headers; /* names in lower case */
  std::string body;
  std::string address; /* the client's; an IPv6 network of 64 bits counts as one */
  std::string local_address;
  std::int64_t now = 0; /* seconds of a clock that no one sets */
};

/* Where a stream of events begins, and whose it is. */
struct EventStream {
  std::uint64_t after = 0;
  std::string session; /* it ends with its session or with its token */
  std::string token;
};

struct Response {
  int status = 200;
  Headers headers;
  std::string body;
  /* Where the broker has to be asked first: `then` makes the response of its answer. */
  std::optional<Call> call;
  std::function<Response(const Answer&)> then;
  std::optional<EventStream> stream;
};

/* The value of a header, or of a parameter of the query ("" where there is none). */
std::string header(const Request& request, std::string_view name);
bool has_header(const Request& request, std::string_view name);
std::string query_parameter(const Request& request, std::string_view name);

/* The cookie's value; empty where it is not there, or there twice. */
std::string cookie(const Request& request, std::string_view name);

bool starts_with(std::string_view text, std::string_view beginning);
std::string lower_case(std::string_view text);

}  // namespace console
