/* l3ctl metrics: numbers about the gateway, for a monitor. */
#include <iostream>
#include <memory>

#include "l3ctl/commands.hpp"
#include "l3ctl/views/metrics_text.hpp"
#include "management/store/stored_check.hpp"

namespace l3ctl {

void add_metrics_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand(
      "metrics", "Numbers for a monitor: packets and bytes by entry, drift, findings");
  auto is_open = std::make_shared<bool>(false);
  command->add_flag("--openmetrics", *is_open,
                    "OpenMetrics 1.0 instead of the text format of Prometheus");
  command->callback([&context, is_open] {
    context.action = [&context, is_open] {
      refuse_json(context, "metrics");
      warn_of_stored_damage();
      std::cout << metrics_text(read_metrics(context, L3CTL_VERSION),
                                *is_open ? MetricsFormat::openmetrics : MetricsFormat::prometheus);
      return exit_done;
    };
  });
}

}  // namespace l3ctl
