/* l3ctl dhcp-filter: devices that get an address from the gateway. */
#include "l3_advance/dhcp_filter.h"

#include "l3ctl/commands.hpp"
#include "l3ctl/commands/filter_verbs.hpp"

namespace l3ctl {

namespace {

using settings::Settings;

constexpr FilterList dhcp_lists[] = {
    {.section = "dhcp_filter", .remove_all = gl3_web_remove_all_dhcp_rule},
};

const Filter dhcp_filter = {.command = "dhcp-filter",
                            .help = "Which devices get an address from the gateway",
                            .main_key = "mac",
                            .example = "02:00:00:00:00:01",
                            .lists = dhcp_lists,
                            .reset = gl3_web_set_dhcp_table_default,
                            .modes = {"mode"}};

}  // namespace

void add_dhcp_filter_command(CLI::App& app, Context& context) {
  add_filter_command(app, context, dhcp_filter);
}

}  // namespace l3ctl
