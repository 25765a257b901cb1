/*
 * l3ctl manual: the part of the manual page that lists commands and options, in mdoc(7), written from the
 * parser itself. The rest of the page is man/l3ctl.8.in.
 */
#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "l3ctl/commands.hpp"

namespace l3ctl {

namespace {

/* Text for a line of its own: nothing in it is taken for a request or an escape. */
std::string plain(const std::string& text) {
  std::string result;
  for (const char c : text) {
    result += c == '\\' ? std::string("\\e") : std::string(1, c);
  }
  return (result.starts_with('.') || result.starts_with('\'') ? "\\&" : "") + result;
}

/* One sentence on lines of at most 78 characters. */
void write_sentence(const std::string& sentence) {
  constexpr size_t width = 78;
  size_t start = 0;
  while (sentence.size() - start > width) {
    const size_t end = sentence.rfind(' ', start + width);
    if (end == std::string::npos || end <= start) {
      break;
    }
    std::cout << plain(sentence.substr(start, end - start)) << '\n';
    start = end + 1;
  }
  std::cout << plain(sentence.substr(start)) << '\n';
}

/* Each sentence begins a line, as mdoc wants it: the formatter sets the space between them. */
void write_text(const std::string& text) {
  if (text.empty()) {
    return;
  }
  size_t start = 0;
  for (size_t end = text.find(". "); end != std::string::npos; end = text.find(". ", start)) {
    write_sentence(text.substr(start, end + 1 - start));
    start = end + 2;
  }
  const std::string last = text.substr(start);
  write_sentence(last.ends_with('.') || last.ends_with(':') ? last : last + ".");
}

/* What a command says of itself below its options: the part of its footer that is not everybody's. */
void write_remarks(const CLI::App& command, const std::string& common) {
  std::string own = command.get_footer();
  // What statuses mean stands in the page once, unless a command has its own.
  if (own.ends_with(common.substr(common.rfind("\n\n")))) {
    own.resize(own.rfind("Exit status:"));
  }
  own.erase(own.find_last_not_of('\n') + 1);
  if (own.empty()) {
    return;
  }
  std::cout << ".Bd -unfilled -compact\n.Pp\n";
  for (size_t start = 0; start <= own.size();) {
    const size_t end = std::min(own.find('\n', start), own.size());
    const std::string line = own.substr(start, end - start);
    std::cout << (line.empty() ? ".Pp" : plain(line)) << '\n';
    start = end + 1;
  }
  std::cout << ".Ed\n";
}

/* Whether it belongs into the list of a command's options: every command has --help. */
bool is_listed(const CLI::App& app, const CLI::Option* option) {
  return !option->get_lnames().empty() &&
         (app.get_parent() == nullptr || option->get_lnames().front() != "help");
}

void write_options(const CLI::App& app) {
  const std::vector<const CLI::Option*> options =
      app.get_options([&](const CLI::Option* option) { return is_listed(app, option); });
  if (options.empty()) {
    return;
  }
  std::cout << ".Bl -tag -width Ds -compact\n";
  for (const CLI::Option* option : options) {
    std::cout << ".It Fl Fl " << option->get_lnames().front();
    if (option->get_items_expected_max() > 0) {
      std::cout << " Ar value";
    }
    std::cout << '\n';
    write_text(option->get_description());
  }
  std::cout << ".El\n";
}

void write_command(const CLI::App& command, const std::string& path, const std::string& common) {
  std::cout << ".It Xo\n.Ic " << path << '\n';
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_lnames().empty()) {
      const std::string name = option->get_name();
      std::cout << (option->get_required() ? ".Ar " : ".Op Ar ") << name
                << (option->get_items_expected_max() > 1 ? " ..." : "") << '\n';
    }
  }
  std::cout << ".Xc\n";
  write_text(command.get_description());
  write_options(command);
  write_remarks(command, common);
  for (const CLI::App* verb : command.get_subcommands([](const CLI::App*) { return true; })) {
    write_command(*verb, path + " " + verb->get_name(), common);
  }
}

int write_manual(const CLI::App& app) {
  std::cout << ".Sh OPTIONS\n";
  write_options(app);
  std::cout << ".Sh COMMANDS\n.Bl -tag -width Ds\n";
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    write_command(*command, command->get_name(), app.get_footer());
  }
  std::cout << ".El\n";
  return exit_done;
}

}  // namespace

void add_manual_command(CLI::App& app, Context& context) {
  app.add_subcommand("manual", "Write the commands and options as a part of a manual page")
      ->callback([&app, &context] {
        context.action = [&app, &context] {
          refuse_json(context, "manual");
          return write_manual(app);
        };
      });
}

}  // namespace l3ctl
