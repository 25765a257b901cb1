#include "l3ctl/usage_error.hpp"

#include <algorithm>
#include <numeric>

#include "management/system/escape.hpp"
#include "management/system/text.hpp"

namespace l3ctl {

namespace {

using management::escape;
using management::joined;

/* Words that other programs have for ours. */
constexpr struct {
  const char* typed;
  const char* meant;
} other_words[] = {
    {"enable", "on"},     {"disable", "off"},   {"enable", "allow"},
    {"disable", "block"}, {"remove", "delete"}, {"delete", "remove"},
};

std::vector<const CLI::App*> verbs_of(const CLI::App& command) {
  return command.get_subcommands([](const CLI::App*) { return true; });
}

const CLI::App* find_verb(const CLI::App& parent, const std::string& name) {
  const auto verbs = verbs_of(parent);
  const auto found = std::find_if(verbs.begin(), verbs.end(),
                                  [&](const CLI::App* verb) { return verb->get_name() == name; });
  return found == verbs.end() ? nullptr : *found;
}

std::string with_dashes(std::string word) {
  std::replace(word.begin(), word.end(), '_', '-');
  return word;
}

/* The innermost command that the command line has named. */
const CLI::App* named_command(const CLI::App* app) {
  while (!app->get_subcommands().empty()) {
    app = app->get_subcommands().back();
  }
  return app;
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
std::vector<std::string> known_words(const CLI::App& command) {
  std::vector<std::string> words;
  for (const CLI::App* verb : verbs_of(command)) {
    words.push_back(verb->get_name());
  }
  for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
    add_options(app, words);
  }
  return words;
}

bool contains(const std::vector<std::string>& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

/* The message about the first unknown word, at the command that it follows. */
std::string first_unknown_word_message(const CLI::App& app, const std::vector<std::string>& words,
                                       const std::vector<std::string>& unknown) {
  const CLI::App* command = &app;
  for (const std::string& word : words) {
    if (contains(unknown, word)) {
      return unknown_word_message(word, *command);
    }
    const CLI::App* verb = find_verb(*command, word);
    command = verb == nullptr ? command : verb;
  }
  return unknown_word_message(unknown.front(), *named_command(&app));
}

}  // namespace

std::string path_of(const CLI::App& command) {
  return (command.get_parent() == nullptr ? "" : path_of(*command.get_parent()) + " ") +
         command.get_name();
}

const CLI::App* find_command(const CLI::App& parent, const std::string& word) {
  const CLI::App* verb = find_verb(parent, word);
  if (verb == nullptr) {
    verb = find_verb(parent, with_dashes(word));
  }
  for (const auto& other : other_words) {
    if (verb == nullptr && word == other.typed) {
      verb = find_verb(parent, other.meant);
    }
  }
  return verb;
}

void replace_other_words(const CLI::App& app, std::vector<std::string>& words) {
  const CLI::App* command = &app;
  for (size_t i = 0; i < words.size(); ++i) {
    if (words[i].find('=') != std::string::npos && !words[i].starts_with('-') &&
        find_verb(*command, "mode") != nullptr) {
      words.insert(words.begin() + static_cast<std::ptrdiff_t>(i), "mode");
    }
    std::string& word = words[i];
    if (verbs_of(*command).empty()) {
      return;
    }
    if (const CLI::App* verb = find_command(*command, word); verb != nullptr) {
      word = verb->get_name();
      command = verb;
    } else if (word == "help") {
      word = "--help";
    }
  }
}

bool is_same_word(const std::string& word, const std::string& name) {
  return with_dashes(word) == name;
}

CLI::Validator one_of(const std::vector<std::string>& allowed) {
  const auto check = [allowed](std::string& word) {
    for (const std::string& one : allowed) {
      if (with_dashes(word) == with_dashes(one)) {
        word = one;
        return std::string();
      }
    }
    const std::string match = closest_match(word, allowed);
    return match.empty() ? "\"" + word + "\" is not one of " + joined(allowed)
                         : "\"" + word + "\" is not known; did you mean \"" + match + "\"?";
  };
  // Completion takes the values from this text.
  std::string values = joined(allowed);
  values.erase(std::remove(values.begin(), values.end(), ' '), values.end());
  return {check, "{" + values + "}", ""};
}

std::string closest_match(const std::string& word, const std::vector<std::string>& known) {
  std::string best;
  size_t least = word.size();
  for (const std::string& candidate : known) {
    const size_t letters = distance(word, candidate);
    if (letters < least && 3 * letters < std::max(word.size(), candidate.size())) {
      best = candidate;
      least = letters;
    }
  }
  return best;
}

std::string unknown_word_message(const std::string& word, const CLI::App& command) {
  const char* kind = word.starts_with("-")       ? "option"
                     : verbs_of(command).empty() ? "word"
                                                 : "command";
  const std::string path = path_of(command);
  const std::string match = closest_match(word, known_words(command));
  return "\"" + escape(word) + "\" is no " + kind + " of \"" + path + "\"; " +
         (match.empty() ? "\"" + path + " --help\" lists what there is"
                        : "did you mean \"" + match + "\"?");
}

std::string usage_error_message(const CLI::App& app, const CLI::Error& error,
                                const std::vector<std::string>& words) {
  const std::vector<std::string> unknown = app.remaining(true);
  const auto code = static_cast<CLI::ExitCodes>(error.get_exit_code());
  const bool is_about_words =
      code == CLI::ExitCodes::RequiredError || code == CLI::ExitCodes::ExtrasError;
  if (is_about_words && !unknown.empty()) {
    return first_unknown_word_message(app, words, unknown);
  }
  const std::string text = escape(error.what());
  return text.ends_with("?")
             ? text
             : text + "; \"" + path_of(*named_command(&app)) + " --help\" tells more";
}

}  // namespace l3ctl
