/* What is told of a command line that the parser does not take. */
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "l3ctl/context.hpp"

namespace l3ctl {

/* One line: the unknown word and the closest known one, or the parser's words. */
std::string usage_error(const CLI::App* app, const CLI::Error& error);

}  // namespace l3ctl
