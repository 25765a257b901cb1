#include "l3ctl/commands/filter_verbs.hpp"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "l3ctl/commands/entry_verbs.hpp"
#include "l3ctl/views/change_report.hpp"
#include "l3ctl/views/problem_report.hpp"
#include "l3ctl/views/settings_text.hpp"
#include "management/change/change.hpp"
#include "management/store/sections.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"
#include "settings/stored_file/span_lists.hpp"

namespace l3ctl {

namespace {

struct Choice {
  bool ipv4 = false;
  bool ipv6 = false;
};

/* The lists that the command line names; all of them where it names none. */
Lists chosen_lists(const Filter& filter, const Choice& choice) {
  if (choice.ipv4 == choice.ipv6) {
    return filter.lists;
  }
  return filter.lists.subspan(choice.ipv4 ? 0 : 1, 1);
}

int list(const Context& context, const Lists& lists, bool in_utc) {
  warn_of_stored_damage();
  settings::Settings stored = stored_or_defaults();
  if (in_utc) {
    write_in_utc(stored);
  }
  std::vector<std::string> sections;
  for (const FilterList& one : lists) {
    sections.emplace_back(one.section);
  }
  sections = with_zone(stored, sections);
  std::cout << (context.json ? settings::write(stored, sections) : text_view(stored, sections));
  return exit_done;
}

int clear(const Context& context, const Filter& filter, const Lists& lists) {
  Change change(context);
  settings::Settings cleared = change.stored();
  for (const FilterList& one : lists) {
    if (one.clear != nullptr) {
      one.clear(cleared);
    }
    change.call(one.section, one.remove_all);
  }
  warn_of_change(change.stored(), cleared);
  const char* note = filter.clear_note != nullptr ? filter.clear_note(change.stored()) : nullptr;
  if (note != nullptr) {
    inform(std::string("note: ") + note);
  }
  return report(context, change, std::string(filter.command) + ": cleared");
}

int reset(const Context& context, const Filter& filter) {
  Change change(context);
  change.call(filter.command, filter.reset);
  return report(context, change, std::string(filter.command) + ": back to the factory state");
}

int enable(const Context& context, const Filter& filter, const Lists& lists, bool on) {
  Change change(context);
  settings::Settings wanted = change.stored();
  for (const FilterList& one : lists) {
    const Section& section = section_named(one.section);
    section.list->enable(wanted, on);
    change.call(section.name, [&] { return section.set(wanted); });
  }
  warn_of_change(change.stored(), wanted);
  if (on && filter.on_note != nullptr) {
    inform(std::string("note: ") + filter.on_note);
  }
  return report(context, change, std::string(filter.command) + (on ? ": on" : ": off"));
}

void add_list_verb(CLI::App& command, Context& context, const Filter& filter,
                   const std::shared_ptr<Choice>& choice) {
  CLI::App* verb = command.add_subcommand("list", "Show the entries");
  const auto in_utc = settings::has_spans(filter.lists.front().section)
                          ? add_utc_option(*verb)
                          : std::make_shared<bool>(false);
  verb->callback([&context, filter, choice, in_utc] {
    context.action = [&context, filter, choice, in_utc] {
      return list(context, chosen_lists(filter, *choice), *in_utc);
    };
  });
}

/* The verbs that name an entry, with the words or the name as it is told. */
void add_entry_verbs(CLI::App& command, Context& context, const Filter& filter,
                     const std::shared_ptr<Choice>& choice) {
  CLI::App* add = command.add_subcommand("add", "Add an entry at the end of the list");
  auto words = std::make_shared<std::vector<std::string>>();
  add->add_option("WORD", *words,
                  filter.main_key == nullptr
                      ? std::string("KEY=VALUE, with the keys of the settings file")
                      : std::string("The entry's ") + filter.main_key +
                            ", and KEY=VALUE with other keys of the settings file")
      ->required();
  add->footer(std::string("Example:\n  l3ctl ") + filter.command + " add " + filter.example +
              "\n\nThe keys stand in docs/settings.md" +
              (std::string_view(filter.example).find("active=") == std::string_view::npos
                   ? "."
                   : "; time spans (active) are in time_zone, or UTC."));
  add->callback([&context, filter, choice, words] {
    context.action = [&context, filter, choice, words] {
      return add_entry(context, filter, chosen_lists(filter, *choice), *words);
    };
  });
  CLI::App* remove = command.add_subcommand("delete", "Delete an entry");
  auto which = std::make_shared<std::string>();
  remove
      ->add_option("ENTRY", *which,
                   filter.main_key == nullptr
                       ? std::string("Its number in the list")
                       : std::string("Its number in the list, or its ") + filter.main_key)
      ->required();
  remove->callback([&context, filter, choice, which] {
    context.action = [&context, filter, choice, which] {
      return delete_entry(context, filter, chosen_lists(filter, *choice), *which);
    };
  });
}

}  // namespace

void add_filter_command(CLI::App& app, Context& context, const Filter& filter) {
  CLI::App* command = app.add_subcommand(filter.command, filter.help);
  command->require_subcommand(1);
  auto choice = std::make_shared<Choice>();
  if (filter.lists.size() == 2) {
    command->add_flag("--ipv4", choice->ipv4, "The IPv4 list alone");
    command->add_flag("--ipv6", choice->ipv6, "The IPv6 list alone");
  }
  const auto add_verb = [&](const char* name, const char* help, auto action) {
    command->add_subcommand(name, help)->callback([&context, filter, choice, action] {
      context.action = [&context, filter, choice, action] {
        return action(context, filter, chosen_lists(filter, *choice));
      };
    });
  };
  add_list_verb(*command, context, filter, choice);
  add_entry_verbs(*command, context, filter, choice);
  add_verb("on", "Apply the list whenever the firewall is on",
           [](const Context& c, const Filter& f, const Lists& l) { return enable(c, f, l, true); });
  add_verb(
      "off", "Keep the list without applying it",
      [](const Context& c, const Filter& f, const Lists& l) { return enable(c, f, l, false); });
  add_verb("clear", "Remove all entries; mode (see \"l3ctl apply\") and switch stay", clear);
  add_verb("reset", "Factory state: no entries, mode and switch as on a new gateway",
           [](const Context& c, const Filter& f, const Lists&) { return reset(c, f); });
  command->footer(
      "Whether a list is black or white (\"mode\", where it has one) is said in a settings file:\n"
      "\"l3ctl apply\" sets it.");
}

}  // namespace l3ctl
