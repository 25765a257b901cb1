/* l3ctl metrics: numbers about the gateway, for a monitor. */
#include <iostream>
#include <memory>

#include "l3ctl/commands.hpp"
#include "l3ctl/views/metrics_text.hpp"
#include "management/store/stored_check.hpp"
#include "management/system/atomic_file.hpp"

namespace l3ctl {

void add_metrics_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand(
      "metrics", "Numbers for a monitor: packets and bytes by entry, drift, findings");
  auto is_open = std::make_shared<bool>(false);
  auto file = std::make_shared<std::string>("-");
  command->add_flag("--openmetrics", *is_open,
                    "OpenMetrics 1.0 instead of the text format of Prometheus");
  command
      ->add_option(
          "--output", *file,
          "Write FILE, whole or not at all and readable by all, as the textfile collector\n"
          "of node_exporter wants it")
      ->type_name("FILE");
  command->callback([&context, is_open, file] {
    context.action = [&context, is_open, file] {
      refuse_json(context, "metrics");
      warn_of_stored_damage();
      const std::string text =
          metrics_text(read_metrics(context, L3CTL_VERSION),
                       *is_open ? MetricsFormat::openmetrics : MetricsFormat::prometheus);
      if (*file == "-") {
        std::cout << text;
      } else {
        write_world_readable(*file, text);
      }
      return exit_done;
    };
  });
}

}  // namespace l3ctl
