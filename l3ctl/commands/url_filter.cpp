/* l3ctl url-filter: host names that LAN clients may, or may not, look up. */
#include "l3_advance/url_filter.h"

#include "l3ctl/commands.hpp"
#include "l3ctl/commands/filter_verbs.hpp"
#include "l3ctl/views/problem_report.hpp"

namespace l3ctl {

namespace {

using settings::Settings;

constexpr FilterList url_lists[] = {
    {.section = "url_filter",
     .remove_all = gl3_web_remove_all_url_rule,
     .clear = [](Settings& s) { s.url_filter->count = 0; }},
};

const Filter url_filter = {.command = "url-filter",
                           .help = "Look-ups of host names, by daily time span",
                           .main_key = "host",
                           .example = "games.example.com active=08:00-21:30",
                           .lists = url_lists,
                           .reset = gl3_web_set_url_table_default,
                           .on_note = url_filter_limits,
                           .modes = {"mode"}};

}  // namespace

void add_url_filter_command(CLI::App& app, Context& context) {
  add_filter_command(app, context, url_filter);
}

}  // namespace l3ctl
