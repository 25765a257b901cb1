/* l3ctl ip-filter: forwarded traffic by protocol, addresses and ports. */
#include "l3_advance/ip_filter.h"

#include "l3ctl/commands.hpp"
#include "l3ctl/commands/filter_verbs.hpp"

namespace l3ctl {

namespace {

using settings::Settings;

constexpr FilterList ip_lists[] = {
    {.section = "ip_filter",
     .remove_all = gl3_web_remove_all_firewall_rule,
     .clear = [](Settings& s) { s.ip_filter->count = 0; }},
    {.section = "ip6_filter",
     .remove_all = gl3_web_remove_all_firewall6_rule,
     .clear = [](Settings& s) { s.ip6_filter->count = 0; }},
};

const Filter ip_filter = {.command = "ip-filter",
                          .help = "Forwarded traffic by protocol, addresses and ports",
                          .main_key = nullptr,
                          .example = "direction=upstream protocol=tcp destination_ports=25",
                          .lists = ip_lists,
                          .reset = gl3_web_set_ip_table_default,
                          .modes = {"upstream", "downstream"}};

}  // namespace

void add_ip_filter_command(CLI::App& app, Context& context) {
  add_filter_command(app, context, ip_filter);
}

}  // namespace l3ctl
