#include "management/change/plan.hpp"

#include "executor/system.hpp"
#include "management/store/paths.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"
#include "management/store/temporary_root.hpp"
#include "management/system/atomic_file.hpp"
#include "platform/linux/platform_linux.hpp"

namespace management {

namespace {

using Json = nlohmann::ordered_json;

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
Json recorded_steps(size_t first) {
  Json steps = Json::array();
  auto call = recorded_calls.begin();
  const auto add_calls_up_to = [&](size_t lines) {
    for (; call != recorded_calls.end() && call->lines_before <= lines; ++call) {
      steps.push_back({{"call", call->text}});
    }
  };
  const auto& lines = executor::system_executor().recorded_lines();
  for (size_t i = first; i < lines.size(); ++i) {
    add_calls_up_to(i);
    steps.push_back({{"line", lines[i]}});
  }
  add_calls_up_to(lines.size());
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

}  // namespace

PlanRecorder::PlanRecorder() {
  enter_temporary_root();
  bytes_ = configuration_bytes();
}

void PlanRecorder::start() {
  first_line_ = executor::system_executor().recorded_lines().size();
  platform_linux::observe(record_call);
}

Plan PlanRecorder::finish(const settings::Settings& before) {
  platform_linux::observe(nullptr);
  const auto& lines = executor::system_executor().recorded_lines();
  return {settings_diff(before, load_stored()), recorded_steps(first_line_),
          rule_changes({lines.begin() + static_cast<std::ptrdiff_t>(first_line_), lines.end()}),
          byte_changes(bytes_, configuration_bytes())};
}

}  // namespace management
