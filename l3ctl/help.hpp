/* The end of each help text: the command's own remarks, and the exit statuses that it can end with. */
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace l3ctl {

/* Composes it when somebody asks for help; the remarks are what the command has set as its footer. */
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_footer(const CLI::App* app) const override;
};

/* "Exit status:" and a line for each, of the program or of one of its commands or verbs. */
std::string exit_statuses(const CLI::App& app);

/* Whether its statuses 0 to 2 have a meaning of their own. */
bool has_own_statuses(const CLI::App& app);

}  // namespace l3ctl
