/* l3ctl completion: what a shell needs to complete command lines, written from the parser itself. */
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "l3ctl/commands.hpp"

namespace l3ctl {

namespace {

/* One word that may come next, and what it does. */
struct Word {
  std::string text;
  std::string help;
};

/* The words that may follow "l3ctl PATH", and the verbs beneath them. */
struct Place {
  std::string path; /* such as "wan update"; empty at the top */
  std::vector<Word> commands;
  std::vector<Word> options;
};

std::string first_sentence(const std::string& help) {
  return help.substr(0, help.find_first_of(";:("));
}

std::vector<Word> options_of(const CLI::App& app) {
  std::vector<Word> options;
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_lnames().empty()) {
      options.push_back({"--" + option->get_lnames().front(), option->get_description()});
    }
  }
  // The program's own options may stand behind a command too.
  if (const CLI::App* parent = app.get_parent(); parent != nullptr) {
    for (const Word& option : options_of(*parent)) {
      const bool is_here = std::any_of(options.begin(), options.end(), [&](const Word& known) {
        return known.text == option.text;
      });
      if (!is_here && option.text != "--version") {
        options.push_back(option);
      }
    }
  }
  return options;
}

void collect(const CLI::App& app, const std::string& path, std::vector<Place>& places) {
  Place place{path, {}, options_of(app)};
  const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
  for (const CLI::App* command : commands) {
    place.commands.push_back({command->get_name(), command->get_description()});
  }
  places.push_back(place);
  for (const CLI::App* command : commands) {
    collect(*command, path.empty() ? command->get_name() : path + " " + command->get_name(),
            places);
  }
}

std::string joined(const std::vector<Word>& words) {
  std::string text;
  for (const Word& word : words) {
    text += (text.empty() ? "" : " ") + word.text;
  }
  return text;
}

/* In single quotes, with what would end them taken out. */
std::string quoted(const std::string& text) {
  std::string result;
  for (const char c : text) {
    result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return "'" + result + "'";
}

constexpr const char* bash_function = R"(
_l3ctl() {
  local current=${COMP_WORDS[COMP_CWORD]} path='' word words
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ " $(_l3ctl_commands "$path") " == *" $word "* ]] && path=${path:+$path }$word
  done
  if [[ $current == -* ]]; then
    words=$(_l3ctl_options "$path")
  else
    words=$(_l3ctl_commands "$path")
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

# Where no word of l3ctl fits, file names do.
complete -o default -F _l3ctl l3ctl
)";

void write_bash_case(const char* name, const std::vector<Place>& places,
                     std::vector<Word> Place::*words) {
  std::cout << '\n' << name << "() {\n  case $1 in\n";
  for (const Place& place : places) {
    if (!(place.*words).empty()) {
      std::cout << "    " << quoted(place.path) << ") echo " << quoted(joined(place.*words))
                << " ;;\n";
    }
  }
  std::cout << "  esac\n}\n";
}

void write_bash(const std::vector<Place>& places) {
  std::cout << "# Completion of l3ctl for bash; \"l3ctl completion bash\" wrote it.\n";
  write_bash_case("_l3ctl_commands", places, &Place::commands);
  write_bash_case("_l3ctl_options", places, &Place::options);
  std::cout << bash_function;
}

/* zsh shows what stands behind the first colon as the explanation. */
void write_zsh_words(const char* name, const std::vector<Word>& words) {
  std::cout << "      " << name << "=(";
  for (const Word& word : words) {
    std::cout << "\n        " << quoted(word.text + ":" + first_sentence(word.help));
  }
  std::cout << ")\n";
}

constexpr const char* zsh_start = R"(#compdef l3ctl
# Completion of l3ctl for zsh; "l3ctl completion zsh" wrote it.

_l3ctl_words() {
  commands=() options=()
  case $1 in
)";
constexpr const char* zsh_end = R"(  esac
}

_l3ctl() {
  local place='' word
  local -a commands options
  _l3ctl_words "$place"
  for word in "${(@)words[2,CURRENT-1]}"; do
    if (( ${commands[(I)$word:*]} )); then
      place=${place:+$place }$word
      _l3ctl_words "$place"
    fi
  done
  if [[ $words[CURRENT] == -* ]]; then
    _describe -o option options
  elif (( $#commands )); then
    _describe command commands
  else
    _files
  fi
}

_l3ctl "$@"
)";

void write_zsh(const std::vector<Place>& places) {
  std::cout << zsh_start;
  for (const Place& place : places) {
    std::cout << "    " << quoted(place.path) << ")\n";
    write_zsh_words("commands", place.commands);
    write_zsh_words("options", place.options);
    std::cout << "      ;;\n";
  }
  std::cout << zsh_end;
}

int write_completion(const CLI::App& app, const std::string& shell) {
  std::vector<Place> places;
  collect(app, "", places);
  shell == "bash" ? write_bash(places) : write_zsh(places);
  return exit_done;
}

}  // namespace

void add_completion_command(CLI::App& app, Context& context) {
  CLI::App* command =
      app.add_subcommand("completion", "Write the completion of command lines for a shell");
  auto shell = std::make_shared<std::string>();
  command->add_option("SHELL", *shell, "bash or zsh")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh"}));
  command->footer(
      "Example:\n  . <(l3ctl completion bash)\n  l3ctl completion zsh >~/_l3ctl   # in a folder of "
      "$fpath\n\n" +
      command->get_footer());
  command->callback([&app, &context, shell] {
    context.action = [&app, shell] { return write_completion(app, *shell); };
  });
}

}  // namespace l3ctl
