/* What the command of every filter has in common: list, add, delete, on, off, clear,
 * reset. */
#pragma once

#include "l3ctl/commands/filter.hpp"
#include "l3ctl/context.hpp"

namespace l3ctl {

/* Adds the filter's command with its verbs. */
void add_filter_command(CLI::App& app, Context& context, const Filter& filter);

}  // namespace l3ctl
