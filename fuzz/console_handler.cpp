/*
 * Requests as anyone may send them to the console, from a stranger and from a session, and answers of
 * l3ctl of any kind: every request gets a response with the headers that protect its reader, no
 * stranger gets a call of l3ctl, and no call is one that the broker would refuse.
 */
#include <nlohmann/json.hpp>

#include "console/server/console.hpp"
#include "oracle.hpp"
#include "world.hpp"

using namespace fuzz;

namespace {

class MemoryStore : public console::StateStore {
 public:
  [[nodiscard]] console::State read() const override { return state_; }
  bool write(const console::State& state) override {
    state_ = state;
    return true;
  }

 private:
  console::State state_;
};

/* Cuts the text up to a mark off, and the mark. */
std::string take(std::string& text, char mark) {
  const std::size_t end = std::min(text.find(mark), text.size());
  const std::string part = text.substr(0, end);
  text.erase(0, end + 1);
  return part;
}

/* Method, path, query and whether the session asks, a line each; headers up to an empty line; then the
 * body up to a zero byte. What is left is l3ctl's answer. */
console::Request request_of(std::string& text, const console::Session& session) {
  console::Request request;
  request.method = take(text, '\n');
  request.path = take(text, '\n');
  request.query = take(text, '\n');
  const bool has_session = take(text, '\n') == "session";
  request.address = "192.168.1.10";
  request.local_address = "192.168.1.1";
  request.now = 1;
  request.headers = {{"host", "192.168.1.1"}};
  if (has_session) {
    request.headers.insert(request.headers.end(), {{"cookie", "__Host-l3=" + session.id},
                                                   {"x-l3-token", session.csrf},
                                                   {"content-type", "application/json"},
                                                   {"sec-fetch-site", "same-origin"}});
  }
  for (std::string line = take(text, '\n'); !line.empty(); line = take(text, '\n')) {
    const std::string name = take(line, ':');
    request.headers.emplace_back(console::lower_case(name), line);
  }
  request.body = take(text, '\0');
  return request;
}

void check_response(const console::Response& response) {
  const auto has = [&](const std::string& name) {
    return std::any_of(response.headers.begin(), response.headers.end(),
                       [&](const auto& one) { return one.first == name; });
  };
  check(response.status >= 200 && response.status < 600, "a status of HTTP");
  check(has("Content-Security-Policy") && has("Cache-Control"), "with the usual headers");
  for (const auto& [name, value] : response.headers) {
    check(value.find_first_of("\r\n") == std::string::npos, "no header is split", value);
  }
  if (response.status >= 400) {
    const auto body = nlohmann::json::parse(response.body, nullptr, false);
    check(body.is_object() && body.contains("code"), "an error is a problem", response.body);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  MemoryStore store;
  console::Console console({{}, 443, true}, store);
  const console::Session session = console.sessions().begin("192.168.1.10", 1);
  std::string text(reinterpret_cast<const char*>(data), size);
  const console::Request request = request_of(text, session);
  const bool is_stranger = console::cookie(request, "__Host-l3") != session.id;
  console::Response response = console.handle(request);
  for (int calls = 0; response.call; ++calls) {
    check(!is_stranger, "a stranger runs nothing", request.path);
    check(command_line(*response.call).has_value(), "the broker would not refuse it", request.path);
    check(calls < 3, "a request ends");
    const bool is_good = text.empty() || text.front() == 'g';
    response = response.then({1, is_good ? console::Outcome::ended : console::Outcome::crashed,
                              is_good ? 0 : 1, text, text});
  }
  check_response(response);
  check(!console.is_changing, "the next change is let in");
  return 0;
}
