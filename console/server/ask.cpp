#include "console/server/ask.hpp"

#include <algorithm>

#include "console/server/problem.hpp"
#include "console/server/secrets.hpp"

namespace console {

Call call_of(Operation operation, std::string input, std::string argument) {
  return {operation, std::move(argument), {}, std::move(input), {}};
}

Response pass_on(const Answer& answer) {
  Response response;
  response.headers = {{"Content-Type", "application/json"}};
  response.body = answer.output;
  return response;
}

Response ask(Call call, std::vector<int> good, Success success) {
  Response response;
  response.call = call;
  response.then = [sent = std::move(call.input), good = std::move(good),
                   success = std::move(success)](const Answer& answer) {
    const bool is_good = answer.outcome == Outcome::ended &&
                         std::find(good.begin(), good.end(), answer.status) != good.end();
    return is_good ? success(answer) : problem_of(answer, sent);
  };
  return response;
}

Response ask_for_change(Console& console, const Caller& caller, Call call, Success success) {
  if (console.is_changing) {
    return problem_for_now(409, "busy", "another change is being made", 1);
  }
  console.is_changing = true;
  call.who = caller.who;
  Response response = ask(std::move(call), {0}, std::move(success));
  response.then = [&console, then = std::move(response.then)](const Answer& answer) {
    console.is_changing = false;
    return then(answer);
  };
  return response;
}

std::string etag_of(const std::string& settings) {
  return "\"" + sha256(settings).substr(0, 32) + "\"";
}

}  // namespace console
