/* The commands: each adds itself to the parser, and sets the context's action when it is chosen. */
#pragma once

#include "l3ctl/context.hpp"

namespace l3ctl {

using AddCommand = void (*)(CLI::App& app, Context& context);

void add_apply_command(CLI::App& app, Context& context);
void add_show_command(CLI::App& app, Context& context);
void add_export_command(CLI::App& app, Context& context);
void add_ip_filter_command(CLI::App& app, Context& context);

}  // namespace l3ctl
