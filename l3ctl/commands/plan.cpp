/*
 * l3ctl plan: what apply would do. The library does it for real, on a copy of what is stored that
 * nobody else sees; its command lines are kept instead of run, and so are the calls that it makes to the
 * platform.
 */
#include <fstream>
#include <iostream>
#include <iterator>

#include "executor/system.hpp"
#include "l3ctl/commands.hpp"
#include "l3ctl/input/settings_file.hpp"
#include "l3ctl/views/colour.hpp"
#include "l3ctl/views/field_changes.hpp"
#include "l3ctl/views/json_output.hpp"
#include "l3ctl/views/problem_report.hpp"
#include "management/change/apply.hpp"
#include "management/change/change.hpp"
#include "management/change/pending_confirmation.hpp"
#include "management/change/settings_diff.hpp"
#include "management/rules/rule_changes.hpp"
#include "management/store/paths.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"
#include "management/store/temporary_root.hpp"
#include "management/system/atomic_file.hpp"
#include "management/system/escape.hpp"
#include "platform/linux/platform_linux.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;

/* Bytes of the configuration file that lie side by side and change. */
struct ByteChange {
  size_t offset;
  std::string old_bytes; /* none where there was no file yet */
  std::string new_bytes;
};

struct Plan {
  std::vector<FieldChange> fields;
  Json steps = Json::array(); /* {"line": …} or {"call": …}, in order */
  std::vector<RuleChange> rules;
  std::vector<ByteChange> bytes;
};

struct Call {
  size_t lines_before;
  std::string text;
};

std::vector<Call> recorded_calls;

void record_call(const std::string& call) {
  recorded_calls.push_back({executor::system_executor().recorded_lines().size(), call});
}

std::string configuration_bytes() {
  return read_start_if_exists(configuration_path, largest_stored_file).value_or("");
}

/* The lines and the calls, in the order in which the library made them. */
Json recorded_steps() {
  Json steps = Json::array();
  auto call = recorded_calls.begin();
  const auto add_calls_up_to = [&](size_t lines) {
    for (; call != recorded_calls.end() && call->lines_before <= lines; ++call) {
      steps.push_back({{"call", call->text}});
    }
  };
  size_t count = 0;
  for (const std::string& line : executor::system_executor().recorded_lines()) {
    add_calls_up_to(count++);
    steps.push_back({{"line", line}});
  }
  add_calls_up_to(count);
  return steps;
}

std::vector<ByteChange> byte_changes(const std::string& before, const std::string& after) {
  std::vector<ByteChange> changes;
  for (size_t i = 0; i < after.size(); ++i) {
    if (i < before.size() && before[i] == after[i]) {
      continue;
    }
    if (changes.empty() || changes.back().offset + changes.back().new_bytes.size() != i) {
      changes.push_back({i, "", ""});
    }
    changes.back().old_bytes += i < before.size() ? before.substr(i, 1) : "";
    changes.back().new_bytes += after[i];
  }
  return changes;
}

Plan make_plan(const Context& context, const settings::Settings& wanted) {
  {
    // In the copy nothing is seen of those who are at work, nor of an apply that waits.
    const Lock no_change = Lock::shared(context);
    require_regular_store();
    refuse_while_pending();
    enter_temporary_root();
  }
  const std::string before = configuration_bytes();
  Change change(context);
  warn_of_change(change.stored(), with_changes(change.stored(), wanted), wanted);
  executor::system_executor().set_mode(executor::Mode::record);
  platform_linux::observe(record_call);
  apply_in_order(change, wanted, [](const char*, size_t, size_t) {});
  platform_linux::observe(nullptr);
  if (!change.failed().empty()) {
    throw Error(change.failed().front() + ": the library reports a failure, so would apply");
  }
  const settings::Settings stored = change.stored();
  return {settings_diff(stored, load_stored()), recorded_steps(),
          rule_changes(executor::system_executor().recorded_lines()),
          byte_changes(before, configuration_bytes())};
}

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

void print_json(const Plan& plan) {
  Json bytes = Json::array();
  for (const ByteChange& change : plan.bytes) {
    bytes.push_back({{"offset", change.offset},
                     {"old", in_hexadecimal(change.old_bytes)},
                     {"new", in_hexadecimal(change.new_bytes)}});
  }
  const Json result{{"fields", field_list(plan.fields)},
                    {"steps", plan.steps},
                    {"rules", rule_list(plan.rules)},
                    {"bytes", bytes}};
  l3ctl::print_json(result);
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

int show_plan(const Context& context, const SettingsFile& file) {
  const settings::Settings wanted = read_settings_file(file);
  const Plan plan = make_plan(context, wanted);
  if (context.json) {
    print_json(plan);
  } else {
    print_text(plan);
  }
  return plan.steps.empty() && plan.bytes.empty() ? exit_done : exit_changes;
}

}  // namespace

void add_plan_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("plan", "What apply would do, without doing it");
  command->footer(
      "Shown are the fields that change, the command lines and the calls to the platform in their\n"
      "order, and the bytes of the configuration file that change. They are those of the library\n"
      "itself, which works on a private copy here while every command is taken to succeed: what\n"
      "apply --one-by-one runs. Without that, apply hands one iptables-restore and one\n"
      "ip6tables-restore what differs from the rules in the kernel; the plan counts the rules "
      "that\n"
      "stay, with their counters, and those that it adds and removes. Bytes that no terminal "
      "shows\n"
      "stand as \\x07; --json has them as they are. A plan needs to read the configuration and a "
      "mount of\n"
      "its own: root, or user namespaces.");
  auto file = add_settings_file_options(*command);
  command->callback([&context, file] {
    context.action = [&context, file] { return show_plan(context, *file); };
  });
}

}  // namespace l3ctl
