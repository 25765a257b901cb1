/* l3ctl apply: a settings file is checked as a whole, and then what differs from the stored is set. */
#include "management/change/apply.hpp"

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "l3ctl/commands.hpp"
#include "l3ctl/input/read_input.hpp"
#include "l3ctl/input/settings_file.hpp"
#include "l3ctl/views/change_report.hpp"
#include "l3ctl/views/problem_report.hpp"
#include "l3ctl/views/settings_text.hpp"
#include "management/change/change.hpp"
#include "management/store/time_zone_file.hpp"
#include "management/system/text.hpp"

namespace l3ctl {

namespace {

std::string names_of(const std::vector<std::string>& sections) {
  return sections.empty() ? "nothing" : joined(sections);
}

/* For whoever waits at a terminal. */
void show_progress(const char* section, size_t place, size_t total) {
  if (isatty(STDERR_FILENO) != 0) {
    inform(std::to_string(place) + "/" + std::to_string(total) + " " + section);
  }
}

/* No rule is made of the portal's old destinations where the portal alone is set, and for good. */
bool sets_only_portal(const settings::Settings& wanted, int confirm_within) {
  const auto all = sections();
  return wanted.captive_portal && confirm_within == 0 &&
         std::count_if(all.begin(), all.end(),
                       [&](const Section& section) { return section.is_wanted(wanted); }) == 1;
}

/* `file` is one that "l3ctl export" wrote; empty where the caller does not care. */
class StoredBefore {
 public:
  StoredBefore(const std::string& file, const std::string& settings_file) : file_(file) {
    if (file == "-" && settings_file == "-") {
      throw Error("--if-stored: standard input holds the settings; nothing was changed",
                  ErrorKind::invalid_input);
    }
    text_ = file.empty() ? "" : read_input(file, largest);
  }

  void check(const settings::Settings& stored) const {
    if (!file_.empty() && text_ != settings::write(stored, with_zone(stored, {}))) {
      throw Error("what is stored is not what " + input_name(file_) + " says; nothing was changed",
                  ErrorKind::busy);
    }
  }

 private:
  static constexpr size_t largest = 1 << 20;
  std::string file_;
  std::string text_;
};

int apply_file(const Context& context, const SettingsFile& file, const std::string& if_stored) {
  const StoredBefore before(if_stored, file.file);
  const settings::TimeZone zone = stored_time_zone();
  const settings::Settings wanted = read_settings_file(file);
  Change change(context, sets_only_portal(wanted, context.confirm_within)
                             ? Preconditions{.allow_unsafe_text = true}
                             : sound_state);
  before.check(change.stored());
  if (!same_zone(zone, *change.stored().time_zone)) {
    throw Error("the time zone of spans has changed meanwhile; nothing was changed",
                ErrorKind::busy);
  }
  warn_of_change(change.stored(), with_changes(change.stored(), wanted), wanted);
  const Applied applied = apply_in_order(change, wanted, show_progress);
  const nlohmann::ordered_json members{{"applied", applied.set}, {"unchanged", applied.unchanged}};
  return report(context, change,
                "applied: " + names_of(applied.set) + "; unchanged: " + names_of(applied.unchanged),
                members);
}

}  // namespace

void add_apply_command(CLI::App& app, Context& context) {
  CLI::App* command =
      app.add_subcommand("apply", "Check a settings file as a whole and set what it changes");
  command->footer(
      "A section that FILE leaves out stays as it is; one that says what is stored already is not "
      "set\n"
      "again. Time spans are in time_zone, or else in UTC. In UTC, \"all day\", and an end of "
      "24:00, end at 23:59, which leaves "
      "the\n"
      "day's last minute open.");
  auto file = add_settings_file_options(*command);
  auto if_stored = std::make_shared<std::string>();
  command->add_option(
      "--if-stored", *if_stored,
      "Only if what is stored is still what this file, an export, says; else status 5");
  command->callback([&context, file, if_stored] {
    context.action = [&context, file, if_stored] { return apply_file(context, *file, *if_stored); };
  });
}

}  // namespace l3ctl
