#include "l3ctl/views/verdict_words.hpp"

#include <nlohmann/json.hpp>

#include "management/system/escape.hpp"

namespace l3ctl {

using Json = nlohmann::ordered_json;
using settings::Outcome;
using settings::Verdict;

const char* outcome_word(Outcome outcome) {
  switch (outcome) {
    case Outcome::accepted:
      return "accepted";
    case Outcome::dropped:
      return "dropped";
    default:
      return "accepted at first";
  }
}

Paint paint_of(Outcome outcome) {
  return outcome == Outcome::accepted  ? Paint::good
         : outcome == Outcome::dropped ? Paint::bad
                                       : Paint::warning;
}

Json decider_of(const Verdict& verdict) {
  return verdict.decided_by.empty() ? Json() : Json(verdict.decided_by);
}

Json verdict_json(const Verdict& verdict) {
  Json passed = Json::array();
  for (const settings::Step& step : verdict.passed) {
    passed.push_back({{"setting", step.setting}, {"what", step.what}});
  }
  return {{"outcome", outcome_word(verdict.outcome)},
          {"decided_by", decider_of(verdict)},
          {"reason", verdict.reason},
          {"passed", passed}};
}

std::string verdict_line(const Verdict& verdict) {
  return painted(paint_of(verdict.outcome), outcome_word(verdict.outcome)) + " by " +
         (verdict.decided_by.empty() ? "no setting" : verdict.decided_by) + ": " +
         management::escape(verdict.reason);
}

}  // namespace l3ctl
