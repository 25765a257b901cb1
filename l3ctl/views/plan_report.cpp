#include "l3ctl/views/plan_report.hpp"

#include <iostream>
#include <nlohmann/json.hpp>

#include "l3ctl/views/colour.hpp"
#include "l3ctl/views/field_changes.hpp"
#include "l3ctl/views/json_output.hpp"
#include "management/store/paths.hpp"
#include "management/system/escape.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;

Json rule_list(const std::vector<RuleChange>& changes) {
  Json list = Json::array();
  for (const RuleChange& change : changes) {
    list.push_back({{"family", family_name(change.family)},
                    {"table", change.table},
                    {"chain", change.chain.chain},
                    {"kept", change.chain.kept},
                    {"added", change.chain.added},
                    {"removed", change.chain.removed},
                    {"refilled", change.chain.is_refilled}});
  }
  return list;
}

void print_as_json(const Plan& plan) {
  Json bytes = Json::array();
  for (const ByteChange& change : plan.bytes) {
    bytes.push_back({{"offset", change.offset},
                     {"old", in_hexadecimal(change.old_bytes)},
                     {"new", in_hexadecimal(change.new_bytes)}});
  }
  const Json result{{"fields", field_list(plan.fields)},
                    {"steps", plan.steps},
                    {"rules", rule_list(plan.rules)},
                    {"bytes", bytes},
                    {"messages", reported_messages()}};
  print_json(result);
}

/* As much of a row of bytes as people look at; --json has them all. */
std::string shortened(const std::string& bytes) {
  constexpr size_t most = 16;
  return bytes.size() <= most ? in_hexadecimal(bytes)
                              : in_hexadecimal(bytes.substr(0, most)) + "... (" +
                                    std::to_string(bytes.size()) + " bytes)";
}

void print_text(const Plan& plan) {
  if (!plan.fields.empty()) {
    std::cout << painted(Paint::strong, "Fields:") << '\n' << field_lines(plan.fields);
  }
  if (!plan.steps.empty()) {
    std::cout << painted(Paint::strong, "Lines and platform calls, in order:") << '\n';
  }
  for (const Json& step : plan.steps) {
    const Json& text = step.contains("line") ? step["line"] : step["call"];
    std::cout << escape(text.get<std::string>()) << '\n';
  }
  if (!plan.rules.empty()) {
    std::cout << painted(Paint::strong, "Edited in the kernel:") << '\n';
  }
  for (const RuleChange& change : plan.rules) {
    std::cout << in_words(change) << '\n';
  }
  if (!plan.bytes.empty()) {
    std::cout << painted(Paint::strong, std::string("Bytes of ") + configuration_path + ":")
              << '\n';
  }
  for (const ByteChange& change : plan.bytes) {
    const std::string old = change.old_bytes.empty() ? "(none)" : shortened(change.old_bytes);
    std::cout << change.offset << ": " << painted(Paint::bad, old) << " -> "
              << painted(Paint::good, shortened(change.new_bytes)) << '\n';
  }
  if (plan.steps.empty() && plan.bytes.empty()) {
    std::cout << "nothing to do\n";
  }
}

}  // namespace

int print_plan(const Context& context, const Plan& plan) {
  context.json ? print_as_json(plan) : print_text(plan);
  return plan.steps.empty() && plan.bytes.empty() ? exit_done : exit_changes;
}

}  // namespace l3ctl
