#include "l3ctl/views/change_report.hpp"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "l3ctl/answer.hpp"
#include "l3ctl/views/colour.hpp"
#include "l3ctl/views/json_output.hpp"
#include "l3ctl/views/plan_report.hpp"
#include "management/system/escape.hpp"
#include "management/system/redirect_output.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;

/* Whether a tool said that a chain is missing, in the words of either backend. */
bool misses_chain(const std::string& message) {
  return message.find("No chain") != std::string::npos ||
         message.find("does not exist") != std::string::npos ||
         message.find("Couldn't load target") != std::string::npos;
}

Json failed_rules(const ChangeResult& result) {
  Json rules = Json::array();
  for (const FailedRule& rule : result.failed_rules) {
    rules.push_back({{"setting", rule.setting.empty() ? Json() : Json(rule.setting)},
                     {"line", rule.line},
                     {"outcome", rule.outcome},
                     {"message", rule.message}});
  }
  return rules;
}

void print_failed_rules(const ChangeResult& result) {
  for (const FailedRule& rule : result.failed_rules) {
    complain((rule.setting.empty() ? "" : rule.setting + ": ") + "\"" + rule.line + "\" " +
             rule.outcome + (rule.message.empty() ? "" : ": " + rule.message));
  }
  for (const std::string& what : result.failed) {
    complain(what + ": the library reports a failure");
  }
}

/* What was done stands out before the colon; what stays unchanged does not. */
std::string painted_words(const std::string& done) {
  const size_t colon = std::min(done.find(':'), done.size());
  const size_t unchanged = std::min(done.find("; unchanged: "), done.size());
  return painted(Paint::good, done.substr(0, colon)) + done.substr(colon, unchanged - colon) +
         painted(Paint::faint, done.substr(unchanged));
}

/* Returns the exit status. */
int print_failure(const ChangeResult& result) {
  const std::vector<FailedRule>& rules = result.failed_rules;
  if (std::any_of(rules.begin(), rules.end(),
                  [](const FailedRule& rule) { return misses_chain(rule.message); })) {
    inform("hint: the chains are made at start-up, by \"l3ctl init\"");
  }
  for (const std::string& problem : result.not_restored) {
    complain("cannot put back what was before: " + problem);
  }
  if (!result.not_restored.empty()) {
    return exit_failed;
  }
  if (result.plan) {
    complain("the library reports a failure, so would the change; nothing was changed");
    return exit_failed;
  }
  const std::string rest = result.on_failure == OnFailure::continue_
                               ? "all else is done"
                               : "everything is as it was before";
  if (rules.empty()) {
    complain("the change failed; " + rest);
    return exit_failed;
  }
  complain("the packet filter refused a rule; " + rest);
  return exit_rule_refused;
}

}  // namespace

int print_result(const Context& context, const ChangeResult& result, const std::string& done,
                 const Json& members) {
  if (result.plan && result.is_done) {
    return print_plan(context, *result.plan);
  }
  survive_lost_answer();
  if (result.is_done) {
    note_change_made();
  } else {
    print_held_library_output();
  }
  print_failed_rules(result);
  if (context.json) {
    Json object{{"done", result.is_done ? Json(done) : Json()}};
    if (result.is_done || result.on_failure == OnFailure::continue_) {
      object["id"] = result.id.empty() ? Json() : Json(result.id);
      object.update(members);
    }
    if (result.is_pending) {
      object["confirm_within"] = context.confirm_within;
    }
    object["failed"] = result.failed;
    object["failed_rules"] = failed_rules(result);
    object["messages"] = reported_messages();
    print_json(object);
  } else if (result.is_done && !context.quiet) {
    std::cout << painted_words(escape(done)) << '\n';
  }
  if (result.is_pending) {
    inform("\"l3ctl confirm\" within " + std::to_string(context.confirm_within) +
           " s keeps these settings; otherwise the old ones come back");
  }
  return result.is_done ? exit_done : print_failure(result);
}

int report(const Context& context, Change& change, const std::string& done, const Json& members) {
  return print_result(context, change.finish(), done, members);
}

int report(const Context& context, Change& change, const std::string& done) {
  return report(context, change, done, Json::object());
}

}  // namespace l3ctl
