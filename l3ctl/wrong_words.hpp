/* What is told of a command line that the parser does not take. */
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace l3ctl {

/* One line: the word that nobody knows and the nearest one that somebody does, or the parser's words. */
std::string wrong_words(const CLI::App* app, const CLI::Error& error);

}  // namespace l3ctl
