/* l3ctl mac-filter: devices whose traffic is forwarded, or not, by daily time span. */
#include "l3_advance/mac_filter.h"

#include "l3ctl/commands.hpp"
#include "l3ctl/commands/filter_verbs.hpp"

namespace l3ctl {

namespace {

using settings::Settings;

constexpr FilterList mac_lists[] = {
    {.section = "mac_filter",
     .remove_all = gl3_web_remove_all_mac_rule,
     .clear = [](Settings& s) { s.mac_filter->count = 0; }},
    {.section = "mac6_filter",
     .remove_all = gl3_web_remove_all_mac6_rule,
     .clear = [](Settings& s) { s.mac6_filter->count = 0; }},
};

const Filter mac_filter = {.command = "mac-filter",
                           .help = "Forwarded traffic of LAN devices, by daily time span",
                           .main_key = "mac",
                           .example = "02:00:00:00:00:01 active=22:00-06:00",
                           .lists = mac_lists,
                           .reset = gl3_web_set_mac_table_default,
                           .modes = {"mode"}};

}  // namespace

void add_mac_filter_command(CLI::App& app, Context& context) {
  add_filter_command(app, context, mac_filter);
}

}  // namespace l3ctl
