/* l3ctl acl: who may reach the gateway's own services. */
#include "l3_advance/access_list.h"
#include "l3ctl/commands.hpp"
#include "l3ctl/commands/filter_verbs.hpp"
#include "l3ctl/input/acl_words.hpp"

namespace l3ctl {

namespace {

using settings::Settings;

constexpr FilterList acl_lists[] = {
    {.section = "acl", .remove_all = gl3_web_remove_all_acl_rule},
};

const Filter acl = {.command = "acl",
                    .help = "Who may reach the gateway's own services",
                    .main_key = nullptr,
                    .example = "service=web from=lan sources=192.168.1.2-192.168.1.10",
                    .lists = acl_lists,
                    .reset = gl3_web_set_acl_table_default,
                    .complete = complete_acl_entry};

}  // namespace

void add_acl_command(CLI::App& app, Context& context) {
  add_filter_command(app, context, acl);
}

}  // namespace l3ctl
