/* l3ctl doctor: what is well with the gateway, what is not, and what to do about it. */
#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "l3ctl/commands.hpp"
#include "l3ctl/views/colour.hpp"
#include "l3ctl/views/json_output.hpp"
#include "l3ctl/views/remedy_words.hpp"
#include "l3ctl/views/stored_report.hpp"
#include "management/health/health.hpp"
#include "management/system/escape.hpp"
#include "management/system/text.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;
using State = Finding::State;

const char* state_name(State state) {
  switch (state) {
    case State::ok:
      return "ok";
    case State::warning:
      return "warning";
    case State::problem:
      break;
  }
  return "problem";
}

Paint paint_of(State state) {
  if (state == State::ok) {
    return Paint::good;
  }
  return state == State::warning ? Paint::warning : Paint::bad;
}

std::string advice_of(const Finding& finding) {
  if (finding.stored) {
    return advice_on(*finding.stored);
  }
  return finding.remedies.empty() ? finding.advice : remedy_words(finding.remedies);
}

/* Quietly, only what is not well. */
void print(const Findings& findings, bool is_quiet) {
  size_t width = 0;
  for (const Finding& finding : findings) {
    width = std::max(width, escape(finding.about).size());
  }
  for (const Finding& finding : findings) {
    if (is_quiet && finding.state == State::ok) {
      continue;
    }
    std::cout << painted(paint_of(finding.state), padded(state_name(finding.state), 9))
              << padded(escape(finding.about), width + 2) << escape(finding.what) << '\n';
    if (const std::string advice = advice_of(finding); !advice.empty()) {
      std::cout << std::string(9 + width + 2, ' ') << painted(Paint::strong, "to do: ")
                << escape(advice) << '\n';
    }
  }
}

Json as_json(const Findings& findings, bool is_healthy) {
  Json list = Json::array();
  for (const Finding& finding : findings) {
    const std::string advice = advice_of(finding);
    list.push_back({{"state", state_name(finding.state)},
                    {"about", finding.about},
                    {"finding", finding.what},
                    {"advice", advice.empty() ? Json() : Json(advice)}});
  }
  return {{"healthy", is_healthy}, {"findings", list}};
}

int doctor(const Context& context) {
  const Findings findings = examine(context);
  const bool is_healthy = std::none_of(findings.begin(), findings.end(), [](const Finding& one) {
    return one.state == State::problem;
  });
  if (context.json) {
    print_json(as_json(findings, is_healthy));
  } else {
    print(findings, context.quiet);
  }
  return is_healthy ? exit_done : exit_unhealthy;
}

}  // namespace

void add_doctor_command(CLI::App& app, Context& context) {
  app.add_subcommand("doctor",
                     "Look at tools, kernel, files, configuration and rules, and say what to do")
      ->callback([&context] { context.action = [&context] { return doctor(context); }; });
}

}  // namespace l3ctl
