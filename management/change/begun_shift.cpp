#include "management/change/begun_shift.hpp"

#include <string>

#include "executor/process.hpp"
#include "management/error.hpp"
#include "management/store/time_zone_file.hpp"

namespace management {

namespace {

constexpr char own_program[] = "/proc/self/exe";

}  // namespace

void shift_in_own_process(const Options& options) {
  const executor::ProcessResult run = executor::run(
      {own_program, "--quiet", "--lock-timeout", std::to_string(options.lock_timeout), "clock"});
  if (run.status != 0) {
    // "l3ctl: reason" and more lines before it.
    std::string why = run.errors.substr(0, run.errors.find_last_not_of('\n') + 1);
    why.erase(0, why.rfind('\n') + 1);
    why.erase(0, why.find(": ") == std::string::npos ? 0 : why.find(": ") + 2);
    throw Error("time spans could not be shifted: " + why);
  }
}

void complete_begun_shift(const Options& options) {
  try {
    const auto file = read_zone_file();
    if (!file || !file->shift) {
      return;
    }
  } catch (const Error&) {
    return;  // The change itself decides about a damaged file.
  }
  try {
    shift_in_own_process(options);
  } catch (const Error& error) {
    throw Error(std::string(error.what()) + "; nothing was changed");
  }
}

}  // namespace management
