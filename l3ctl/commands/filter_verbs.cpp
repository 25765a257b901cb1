#include "l3ctl/commands/filter_verbs.hpp"

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "l3ctl/commands/entry_verbs.hpp"
#include "l3ctl/views/change_report.hpp"
#include "l3ctl/views/hits_view.hpp"
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

int list(const Context& context, const Lists& lists, bool in_utc, bool has_counters) {
  warn_of_stored_damage();
  settings::Settings stored = stored_or_defaults();
  if (in_utc) {
    write_in_utc(stored);
  }
  std::vector<std::string> sections;
  for (const FilterList& one : lists) {
    sections.emplace_back(one.section);
  }
  if (!has_counters || !context.json) {
    const auto shown = with_zone(stored, sections);
    std::cout << (context.json ? settings::write(stored, shown) : text_view(stored, shown));
  }
  if (has_counters) {
    std::vector<Hits> hits = hits_by_setting(compare_rules(context));
    std::erase_if(hits, [&](const Hits& one) {
      return std::find(sections.begin(), sections.end(), one.section) == sections.end();
    });
    print_hits(context, hits);
  }
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
  auto has_counters = std::make_shared<bool>(false);
  verb->add_flag("--counters", *has_counters,
                 "Packets and bytes that the rules of each entry have met, too");
  verb->callback([&context, filter, choice, in_utc, has_counters] {
    context.action = [&context, filter, choice, in_utc, has_counters] {
      return list(context, chosen_lists(filter, *choice), *in_utc, *has_counters);
    };
  });
}

/* A verb that takes words. */
template <typename Action>
CLI::App* add_words_verb(CLI::App& command, Context& context, const Filter& filter,
                         const std::shared_ptr<Choice>& choice, const char* name, const char* help,
                         const char* word, const std::string& words_help, Action action) {
  CLI::App* verb = command.add_subcommand(name, help);
  auto words = std::make_shared<std::vector<std::string>>();
  verb->add_option(word, *words, words_help)->required();
  verb->callback([&context, filter, choice, words, action] {
    context.action = [&context, filter, choice, words, action] {
      return action(context, filter, chosen_lists(filter, *choice), *words);
    };
  });
  return verb;
}

void add_set_verb(CLI::App& command, Context& context, const Filter& filter,
                  const std::shared_ptr<Choice>& choice, const std::string& name) {
  CLI::App* verb = command.add_subcommand("set", "Change keys of one entry");
  auto entry = std::make_shared<std::string>();
  auto values = std::make_shared<std::vector<std::string>>();
  verb->add_option("ENTRY", *entry, "Its " + name)->required();
  verb->add_option("CHANGE", *values, "KEY=VALUE; KEY= takes a key out")->required();
  const std::string example = filter.example;
  const size_t last = example.rfind(' ') + 1;
  const bool names_one = filter.main_key != nullptr || filter.lists.size() == 1;
  if (names_one && example.find('=', last) != std::string::npos) {
    verb->footer(std::string("Example:\n  l3ctl ") + filter.command + " set " +
                 (filter.main_key == nullptr ? "0" : example.substr(0, example.find(' '))) + " " +
                 example.substr(last));
  }
  verb->callback([&context, filter, choice, entry, values] {
    context.action = [&context, filter, choice, entry, values] {
      return set_entry(context, filter, chosen_lists(filter, *choice), *entry, *values);
    };
  });
}

/* The verbs that name entries, with the words or the name as it is told. */
void add_entry_verbs(CLI::App& command, Context& context, const Filter& filter,
                     const std::shared_ptr<Choice>& choice) {
  const std::string main_key = filter.main_key == nullptr ? "" : filter.main_key;
  const std::string name =
      main_key.empty() ? "number in the list" : "number in the list, or its " + main_key;
  const bool has_spans = std::string_view(filter.example).find("active=") != std::string_view::npos;
  const std::string keys = std::string("\n\nThe keys stand in docs/settings.md") +
                           (has_spans ? "; time spans (active) are in time_zone, or UTC." : ".");
  add_words_verb(
      command, context, filter, choice, "add", "Add entries at the end of the list", "WORD",
      main_key.empty()
          ? "KEY=VALUE, with the keys of the settings file"
          : "The entry's " + main_key + ", and KEY=VALUE with other keys of the settings file",
      add_entries)
      ->footer(std::string("Example:\n  l3ctl ") + filter.command + " add " + filter.example +
               "\n\nThe word \"and\" separates several entries" +
               (main_key.empty()
                    ? "."
                    : "; several " + main_key + " words side by side get the same\nkeys.") +
               " An entry that is there already is not added again." + keys);
  add_words_verb(command, context, filter, choice, "delete", "Delete entries", "ENTRY",
                 "Its " + name, delete_entries);
  add_set_verb(command, context, filter, choice, name);
  if (!filter.modes.empty()) {
    add_words_verb(command, context, filter, choice, "mode",
                   "Make it a black list (what it lists is blocked) or a white list (all else is)",
                   "MODE",
                   filter.modes.size() == 1 ? "black-list or white-list"
                                            : "DIRECTION=black-list or DIRECTION=white-list",
                   set_modes)
        ->footer("\"l3ctl " + std::string(filter.command) + " " + filter.modes.front() +
                 "=white-list\" is the same in one word.");
  }
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
  add_verb("clear", "Remove all entries; mode and switch stay", clear);
  add_verb("reset", "Factory state: no entries, mode and switch as on a new gateway",
           [](const Context& c, const Filter& f, const Lists&) { return reset(c, f); });
}

}  // namespace l3ctl
