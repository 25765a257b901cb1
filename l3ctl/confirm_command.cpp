/* l3ctl confirm: keeps what an "apply --confirm" set, or gives it up at once. */
#include <memory>

#include "l3ctl/commands.hpp"
#include "l3ctl/confirmation.hpp"

namespace l3ctl {

namespace {

int confirm(const Context& context, bool goes_back) {
  Change change(context, Meets::anything);
  const auto pending = read_pending();
  if (!pending) {
    throw Failure("nothing waits for a confirmation; nothing was changed");
  }
  int status = exit_done;
  if (goes_back) {
    status = bring_back(change, *pending);
  } else {
    remove_pending();
    status = change.report("confirm: the new settings stay");
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
