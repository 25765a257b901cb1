/* l3ctl completion: what a shell needs to complete command lines, written from the parser itself. */
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "l3ctl/commands.hpp"
#include "l3ctl/usage_error.hpp"

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

/* What may stand behind "l3ctl show" or "apply --section", where the parser takes a few words alone. */
struct Values {
  std::string place;
  std::string words;
};

struct Known {
  std::vector<Place> places;
  std::vector<Values> values;
};

std::string first_sentence(const std::string& help) {
  return help.substr(0, help.find_first_of(";:("));
}

std::vector<Word> options_of(const CLI::App& app) {
  std::vector<Word> options;
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_lnames().empty() && !option->get_group().empty()) {
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

/* The words that the parser takes for an option: it writes them as "{off,low,high}" into its help. */
std::string words_taken(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const size_t start = type.find('{');
  const size_t end = type.find('}');
  if (start == std::string::npos || end == std::string::npos) {
    return "";
  }
  std::string words = type.substr(start + 1, end - start - 1);
  std::replace(words.begin(), words.end(), ',', ' ');
  return words;
}

void collect_values(const CLI::App& app, const std::string& path, std::vector<Values>& values) {
  for (const CLI::Option* option : app.get_options()) {
    const auto& names = option->get_lnames();
    if (const std::string words = words_taken(*option); !words.empty()) {
      values.push_back({names.empty() ? path : path + " --" + names.front(), words});
    }
  }
}

void collect(const CLI::App& app, const std::string& path, Known& known) {
  Place place{path, {}, options_of(app)};
  const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
  for (const CLI::App* command : commands) {
    place.commands.push_back({command->get_name(), command->get_description()});
  }
  known.places.push_back(place);
  collect_values(app, path, known.values);
  for (const CLI::App* command : commands) {
    collect(*command, path.empty() ? command->get_name() : path + " " + command->get_name(), known);
  }
}

std::string texts_of(const std::vector<Word>& words) {
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
    words=$(_l3ctl_values "$path ${COMP_WORDS[COMP_CWORD-1]}")
    words=${words:-$(_l3ctl_commands "$path") $(_l3ctl_values "$path")}
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
      std::cout << "    " << quoted(place.path) << ") echo " << quoted(texts_of(place.*words))
                << " ;;\n";
    }
  }
  std::cout << "  esac\n}\n";
}

/* For both shells. */
void write_values(const std::vector<Values>& values) {
  std::cout << "\n_l3ctl_values() {\n  case $1 in\n";
  for (const Values& one : values) {
    std::cout << "    " << quoted(one.place) << ") echo " << quoted(one.words) << " ;;\n";
  }
  std::cout << "  esac\n}\n";
}

void write_bash(const Known& known) {
  std::cout << "# Completion of l3ctl for bash; \"l3ctl completion bash\" wrote it.\n";
  write_bash_case("_l3ctl_commands", known.places, &Place::commands);
  write_bash_case("_l3ctl_options", known.places, &Place::options);
  write_values(known.values);
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

constexpr const char* zsh_start = R"(
_l3ctl_words() {
  commands=() options=()
  case $1 in
)";
constexpr const char* zsh_end = R"(  esac
}

_l3ctl() {
  local place='' word
  local -a commands options values
  _l3ctl_words "$place"
  for word in "${(@)words[2,CURRENT-1]}"; do
    if (( ${commands[(I)$word:*]} )); then
      place=${place:+$place }$word
      _l3ctl_words "$place"
    fi
  done
  values=(${=$(_l3ctl_values "$place $words[CURRENT-1]")})
  (( $#values )) || values=(${=$(_l3ctl_values "$place")})
  if [[ $words[CURRENT] == -* ]]; then
    _describe -o option options
  elif (( $#values )); then
    _describe value values
  elif (( $#commands )); then
    _describe command commands
  else
    _files
  fi
}

_l3ctl "$@"
)";

void write_zsh(const Known& known) {
  std::cout
      << "#compdef l3ctl\n# Completion of l3ctl for zsh; \"l3ctl completion zsh\" wrote it.\n";
  write_values(known.values);
  std::cout << zsh_start;
  for (const Place& place : known.places) {
    std::cout << "    " << quoted(place.path) << ")\n";
    write_zsh_words("commands", place.commands);
    write_zsh_words("options", place.options);
    std::cout << "      ;;\n";
  }
  std::cout << zsh_end;
}

int write_completion(const CLI::App& app, const std::string& shell) {
  Known known;
  collect(app, "", known);
  shell == "bash" ? write_bash(known) : write_zsh(known);
  return exit_done;
}

}  // namespace

void add_completion_command(CLI::App& app, Context& context) {
  CLI::App* command =
      app.add_subcommand("completion", "Write the completion of command lines for a shell");
  auto shell = std::make_shared<std::string>();
  command->add_option("SHELL", *shell, "bash or zsh")
      ->required()
      ->transform(one_of({"bash", "zsh"}));
  command->footer(
      "Example:\n  . <(l3ctl completion bash)\n  l3ctl completion zsh >~/_l3ctl   # in a folder of "
      "$fpath");
  command->callback([&app, &context, shell] {
    context.action = [&app, &context, shell] {
      refuse_json(context, "completion");
      return write_completion(app, *shell);
    };
  });
}

}  // namespace l3ctl
