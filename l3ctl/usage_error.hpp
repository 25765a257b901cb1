/* Command lines as people type them: words that mean another word, and errors in them. */
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace l3ctl {

/* "l3ctl record read" */
std::string path_of(const CLI::App& command);

/* The command or verb of this name, also where it is typed with underscores for dashes or in another
 * word for it, such as "enable" for "on"; null where there is none. */
const CLI::App* find_command(const CLI::App& parent, const std::string& word);

/* Puts the names of commands and verbs where the words mean them. */
void replace_other_words(const CLI::App& app, std::vector<std::string>& words);

/* Transforms and checks an option or argument that takes one of a few words. Dashes may stand for
 * underscores, and the reverse; the error names the closest word, or all of them. */
CLI::Validator one_of(const std::vector<std::string>& allowed);

/* The known word that differs in less than a third of its letters; empty where there is none. */
std::string closest_match(const std::string& word, const std::vector<std::string>& known);

/* What is wrong with a word that `command` does not take, and which it might have been. */
std::string unknown_word_message(const std::string& word, const CLI::App& command);

/* One line about a command line that the parser has refused: the first of `words` that is unknown and
 * what it might have been, or what the parser says. */
std::string usage_error_message(const CLI::App& app, const CLI::Error& error,
                                const std::vector<std::string>& words);

/* Whether a word of the command line is this name; underscores count as dashes. */
bool is_same_word(const std::string& word, const std::string& name);

}  // namespace l3ctl
