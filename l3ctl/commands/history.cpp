/* l3ctl history: the last changes. l3ctl undo: the way back. */
#include "management/store/history.hpp"

#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "l3ctl/commands.hpp"
#include "l3ctl/views/change_report.hpp"
#include "l3ctl/views/colour.hpp"
#include "l3ctl/views/field_changes.hpp"
#include "l3ctl/views/json_output.hpp"
#include "l3ctl/views/problem_report.hpp"
#include "management/change/apply.hpp"
#include "management/change/change.hpp"
#include "management/change/settings_diff.hpp"
#include "management/store/sections.hpp"
#include "management/store/time_zone_file.hpp"
#include "management/system/escape.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;
using Entries = std::vector<HistoryEntry>;

/* Of a change with many differences the list shows this many; its number shows all. */
constexpr size_t few_fields = 5;

[[noreturn]] void refuse_unknown(const std::string& command, const std::string& change,
                                 const std::string& why) {
  throw Error(command + ": there is no change " + change + why, ErrorKind::invalid_input);
}

/* The change of that number, of which 1 is the last. */
const HistoryEntry& entry_at(const char* command, const Entries& entries, size_t number) {
  if (number > entries.size()) {
    refuse_unknown(command, std::to_string(number),
                   entries.empty() ? "; there is none yet"
                                   : "; the oldest is " + std::to_string(entries.size()));
  }
  return entries[number - 1];
}

/* What a change did to the settings, spans in the zone that they have now. */
std::vector<FieldChange> fields_of(const HistoryEntry& entry) {
  settings::Settings before = entry.before;
  if (!entry.after.time_zone) {
    before.time_zone = time_zone_to_show();
  }
  return settings_diff(before, entry.after);
}

Json as_json(const HistoryEntry& entry, size_t number) {
  Json rolled_back;
  if (entry.rolled_back) {
    rolled_back = {{"time", entry.rolled_back->time}, {"why", entry.rolled_back->why}};
  }
  return {{"number", number},           {"id", entry.id},
          {"time", entry.time},         {"who", entry.who},
          {"origin", entry.origin},     {"command", entry.command},
          {"rolled_back", rolled_back}, {"fields", field_list(fields_of(entry))}};
}

void print(const HistoryEntry& entry, size_t number, bool shows_all) {
  std::cout << painted(Paint::strong, std::to_string(number) + "  " + escape(entry.time)) << "  "
            << escape(entry.id) << "  " << escape(entry.who) << " by " << escape(entry.origin)
            << ": " << escape(entry.command) << '\n';
  if (entry.rolled_back) {
    std::cout << "   " << painted(Paint::warning, "rolled back") << " at "
              << escape(entry.rolled_back->time) << ": " << escape(entry.rolled_back->why) << '\n';
  }
  std::vector<FieldChange> fields = fields_of(entry);
  const size_t more = shows_all || fields.size() <= few_fields ? 0 : fields.size() - few_fields;
  fields.resize(fields.size() - more);
  for (const FieldChange& field : fields) {
    std::cout << "   " << field_lines({field});
  }
  if (more != 0) {
    std::cout << "   and " << more << " more: \"l3ctl history " << number << "\"\n";
  }
}

int show_history(const Context& context, size_t number) {
  const Entries entries = read_history();
  const size_t first = number == 0 ? 1 : number;
  const size_t last = number == 0 ? entries.size() : number;
  Json list = Json::array();
  for (size_t i = first; i <= last; ++i) {
    const HistoryEntry& entry = entry_at("history", entries, i);
    context.json ? list.push_back(as_json(entry, i)) : print(entry, i, number != 0);
  }
  if (context.json) {
    print_json({{"changes", list}});
  } else if (entries.empty()) {
    std::cout << "no changes yet\n";
  }
  return exit_done;
}

/* The settings that were stored before a change, of every section that it or a later one has changed. What was rolled
 * back is as it was already. */
settings::Settings settings_before(const Entries& entries, size_t number) {
  settings::Settings before;
  for (size_t i = 0; i < number; ++i) {
    if (!entries[i].rolled_back) {
      before = with_changes(before, entries[i].before);
    }
  }
  return before;
}

size_t number_of(const Entries& entries, const std::string& id) {
  const auto found = std::find_if(entries.begin(), entries.end(),
                                  [&](const HistoryEntry& entry) { return entry.id == id; });
  if (found == entries.end()) {
    refuse_unknown("undo", id, "");
  }
  return static_cast<size_t>(found - entries.begin()) + 1;
}

/* `change` is a number or an id; without it, the last change that is in force. */
size_t number_to_undo(const Entries& entries, const std::string& change) {
  const size_t number = is_change_id(change) ? number_of(entries, change)
                        : change.empty()     ? 0
                                             : std::stoul(change);
  size_t chosen = number == 0 ? 1 : number;
  while (number == 0 && chosen <= entries.size() && entries[chosen - 1].rolled_back) {
    ++chosen;
  }
  if (const auto& rollback = entry_at("undo", entries, chosen).rolled_back) {
    throw Error("undo: change " + std::to_string(chosen) + " was rolled back at " + rollback->time +
                    ": " + rollback->why + "; nothing was changed",
                ErrorKind::invalid_input);
  }
  return chosen;
}

int undo(const Context& context, const std::string& which) {
  Change change(context);
  const Entries entries = read_history();
  const size_t chosen = number_to_undo(entries, which);
  const settings::Settings wanted = settings_before(entries, chosen);
  const auto fields = settings_diff(change.stored(), with_changes(change.stored(), wanted));
  warn_of_change(change.stored(), with_changes(change.stored(), wanted));
  apply_in_order(change, wanted, [](const char*, size_t, size_t) {});
  const ChangeResult result = change.finish();
  const HistoryEntry& entry = entries[chosen - 1];
  const int status =
      print_result(context, result, "undo: as before change " + entry.id + " of " + entry.time,
                   Json{{"undone", entry.id}, {"fields", field_list(fields)}});
  if (result.is_done && !result.plan && !context.json && !context.quiet) {
    std::cout << field_lines(fields);
  }
  return status;
}

std::string check_change(const std::string& change) {
  const bool is_number = !change.empty() && change.size() <= 6 && change.front() != '0' &&
                         change.find_first_not_of("0123456789") == std::string::npos;
  return is_number || is_change_id(change)
             ? ""
             : "must be the number of a change, or its id, 16 hexadecimal digits";
}

}  // namespace

void add_history_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand(
      "history", "The last 20 changes: when, by whom, how, and what they changed");
  auto number = std::make_shared<size_t>(0);
  command->add_option("N", *number, "Only this change, whole; 1 is the last")
      ->check(CLI::Range(1, 1000000));
  command->footer(
      "It lies in /ztcfg/l3ctl.history, which only root can read. Changes without effect, and "
      "those\n"
      "that another program made without l3ctl, are not in it. On a full disk it is dropped before "
      "a\n"
      "change is.");
  command->callback([&context, number] {
    context.action = [&context, number] { return show_history(context, *number); };
  });
}

void add_undo_command(CLI::App& app, Context& context) {
  CLI::App* command =
      app.add_subcommand("undo", "Go back to before the last change, or before CHANGE");
  auto change = std::make_shared<std::string>();
  command
      ->add_option("CHANGE", *change,
                   "Back to before this change of \"l3ctl history\", by number or id; without it "
                   "before the last one")
      ->check(CLI::Validator(check_change, ""));
  command->footer(
      "Sections that CHANGE and later ones have changed are set as they were before it; all "
      "others\n"
      "stay. It is a change of its own, so a second undo brings back what the first has undone.");
  command->callback([&context, change] {
    context.action = [&context, change] { return undo(context, *change); };
  });
}

}  // namespace l3ctl
