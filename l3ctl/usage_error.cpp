#include "l3ctl/usage_error.hpp"

#include <algorithm>
#include <numeric>
#include <vector>

#include "management/system/escape.hpp"

namespace l3ctl {

namespace {

/* The innermost command that the command line has named. */
const CLI::App* named_command(const CLI::App* app) {
  while (!app->get_subcommands().empty()) {
    app = app->get_subcommands().back();
  }
  return app;
}

/* "l3ctl record read" */
std::string path_of(const CLI::App* app) {
  return (app->get_parent() == nullptr ? "" : path_of(app->get_parent()) + " ") + app->get_name();
}

/* How many letters have to be put in, left out or changed to make one word the other. */
size_t distance(const std::string& from, const std::string& to) {
  std::vector<size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < from.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i + 1;
    for (size_t j = 0; j < to.size(); ++j) {
      const size_t changed = diagonal + (from[i] == to[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

void add_options(const CLI::App* app, std::vector<std::string>& words) {
  for (const CLI::Option* option : app->get_options()) {
    if (option->get_group().empty()) {
      continue;  // in no help
    }
    for (const std::string& name : option->get_lnames()) {
      words.push_back("--" + name);
    }
  }
}

/* The words that may stand where the unknown one does. */
std::vector<std::string> known_words(const CLI::App* command) {
  std::vector<std::string> words;
  for (const CLI::App* verb : command->get_subcommands([](const CLI::App*) { return true; })) {
    words.push_back(verb->get_name());
  }
  for (const CLI::App* app = command; app != nullptr; app = app->get_parent()) {
    add_options(app, words);
  }
  return words;
}

/* The known word that is closest; empty where none is near. */
std::string closest_match(const std::string& word, const std::vector<std::string>& known) {
  const size_t far = std::max<size_t>(2, word.size() / 3) + 1;
  std::string best;
  size_t least = far;
  for (const std::string& candidate : known) {
    const size_t letters = distance(word, candidate);
    if (letters < least && letters < candidate.size()) {
      best = candidate;
      least = letters;
    }
  }
  return best;
}

std::string about_unknown(const std::string& word, const CLI::App* command) {
  const bool has_verbs = !command->get_subcommands([](const CLI::App*) { return true; }).empty();
  const char* kind = word.starts_with("-") ? "option" : has_verbs ? "command" : "word";
  const std::string path = path_of(command);
  const std::string near = closest_match(word, known_words(command));
  return "\"" + escape(word) + "\" is no " + kind + " of \"" + path + "\"; " +
         (near.empty() ? "\"" + path + " --help\" lists what there is"
                       : "did you mean \"" + near + "\"?");
}

}  // namespace

std::string usage_error(const CLI::App* app, const CLI::Error& error) {
  const CLI::App* command = named_command(app);
  const std::vector<std::string> unknown = app->remaining(true);
  const auto code = static_cast<CLI::ExitCodes>(error.get_exit_code());
  const bool is_about_words =
      code == CLI::ExitCodes::RequiredError || code == CLI::ExitCodes::ExtrasError;
  if (is_about_words && !unknown.empty()) {
    // The value of an unknown option is unknown too.
    const auto option = std::find_if(unknown.begin(), unknown.end(),
                                     [](const auto& word) { return word.starts_with("-"); });
    return "l3ctl: " + about_unknown(option != unknown.end() ? *option : unknown.front(), command) +
           "\n";
  }
  return "l3ctl: " + escape(error.what()) + "; \"" + path_of(command) + " --help\" tells more\n";
}

}  // namespace l3ctl
