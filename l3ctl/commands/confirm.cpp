/* l3ctl confirm: keeps what an "apply --confirm" set, or gives it up at once. */
#include <memory>
#include <nlohmann/json.hpp>

#include "l3ctl/commands.hpp"
#include "l3ctl/views/change_report.hpp"
#include "management/change/change.hpp"
#include "management/change/confirmation.hpp"

namespace l3ctl {

namespace {

int confirm(const Context& context, bool goes_back) {
  Change change(context, any_state);
  const auto pending = read_pending();
  if (!pending) {
    throw Error("nothing waits for a confirmation; nothing was changed");
  }
  int status = exit_done;
  if (goes_back) {
    status = print_result(context, restore_old_settings(change, *pending),
                          "confirm: the old settings are back", nlohmann::ordered_json::object());
  } else {
    remove_pending();
    status = report(context, change, "confirm: the new settings stay");
  }
  if (status == exit_done) {
    stop_timer(*pending);
  }
  return status;
}

}  // namespace

void add_confirm_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("confirm", "Keep what an apply with --confirm has set");
  auto goes_back = std::make_shared<bool>(false);
  command->add_flag("--revert", *goes_back, "Bring the old settings back at once instead");
  command->callback([&context, goes_back] {
    context.action = [&context, goes_back] { return confirm(context, *goes_back); };
  });
}

}  // namespace l3ctl
