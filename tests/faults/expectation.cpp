#include "expectation.hpp"

#include <sstream>

namespace scenarios {

using harness::Lines;

namespace {

constexpr char config_file[] = "/ztcfg/l3_advance.dat";

Expectation of_kind(const std::string& kind, size_t times, bool counts) {
  return Expectation(times, {kind, counts});
}

const Expectations& all_expectations() {
  static const Expectations all = [] {
    Expectations expectations = file_expectations();
    expectations.merge(filter_expectations());
    expectations.merge(control_expectations());
    return expectations;
  }();
  return all;
}

}  // namespace

Expectation operator+(Expectation left, const Expectation& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Expectation runs(size_t lines) {
  return of_kind("run", lines, false);
}

Expectation needs(size_t lines) {
  return of_kind("run", lines, true);
}

Expectation asks(const Lines& says) {
  return {{"platform", true, says}};
}

Expectation silent(const std::string& operations) {
  Expectation expectation;
  std::istringstream words(operations);
  for (std::string kind; words >> kind;) {
    expectation.push_back({kind, kind != "close"});
  }
  return expectation;
}

Expectation named(const std::string& call, const std::string& operations, const std::string& path) {
  Expectation expectation = silent(operations);
  for (Step& step : expectation) {
    step.says = harness::out(call + "::" + step.kind + " " + path + " error!\n");
  }
  return looks() + expectation + silent("close");
}

Expectation named(const std::string& call, const std::string& operations) {
  return named(call, operations, config_file);
}

Expectation looks(size_t times) {
  return of_kind("access", times, false);
}

Expectation ignored(Expectation expectation) {
  for (Step& step : expectation) {
    step.counts = false;
  }
  return expectation;
}

Expectation with_message(Expectation expectation, const Lines& words) {
  for (Step& step : expectation) {
    if (step.counts) {
      step.says = harness::operator+(step.says, words);
    }
  }
  return expectation;
}

Expectation load() {
  return named("get_firewall_rules_from_cfgfile", "open lseek read lseek read");
}

Expectation store() {
  return named("set_firewall_rules_to_cfgfile", "open lseek write lseek write");
}

Expectation read_state() {
  return looks() + silent("open lseek read close");
}

const Expectation& expectation_of(const std::string& scenario) {
  static const Expectation none;
  const auto found = all_expectations().find(scenario);
  EXPECT_NE(found, all_expectations().end()) << "nothing says how " << scenario << " fails";
  return found == all_expectations().end() ? none : found->second;
}

}  // namespace scenarios
