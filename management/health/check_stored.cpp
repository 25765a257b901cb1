/* What doctor says of the configuration that is stored, and of how the machine follows it. */
#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <optional>

#include "management/change/clock_shift.hpp"
#include "management/change/confirmation.hpp"
#include "management/error.hpp"
#include "management/health/health.hpp"
#include "management/health/remedies.hpp"
#include "management/options.hpp"
#include "management/rules/drift.hpp"
#include "management/store/paths.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"
#include "management/system/atomic_file.hpp"
#include "management/system/find_tool.hpp"
#include "management/system/platform_info.hpp"
#include "management/system/redirect_output.hpp"
#include "settings/stored_file/stored_file.hpp"

namespace management {

namespace {

using State = Finding::State;
using Kind = settings::StoredFinding::Kind;

constexpr size_t stored_size = 15019;

std::optional<std::string> content_if_readable(const std::string& path) {
  try {
    return read_if_exists(path, stored_size);
  } catch (const Error&) {
    return std::nullopt;
  }
}

/* The newest whole copy of a configuration beside the stored one; empty where there is none. */
std::string newest_copy() {
  std::string newest;
  std::filesystem::file_time_type newest_time = std::filesystem::file_time_type::min();
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(settings_folder, error)) {
    const std::string path = entry.path();
    if (path == configuration_path || path.ends_with(temporary_suffix) ||
        !entry.is_regular_file(error) || entry.file_size(error) != stored_size) {
      continue;
    }
    const std::optional<std::string> bytes = content_if_readable(path);
    const auto time = entry.last_write_time(error);
    if (bytes && settings::is_plausible(settings::read_stored_file(*bytes)) && time > newest_time) {
      newest = path;
      newest_time = time;
    }
  }
  return newest;
}

Finding finding_of(const settings::StoredFinding& found) {
  const State state = found.kind == Kind::note ? State::warning : State::problem;
  return {state, "configuration", found.where + ": " + found.what, "", {}, found};
}

/* "2026-11-20 08:15 UTC" */
std::string time_of(const std::string& path) {
  struct stat about = {};
  std::tm clock = {};
  char text[32] = {};
  if (stat(path.c_str(), &about) == 0 && gmtime_r(&about.st_mtime, &clock) != nullptr) {
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M UTC", &clock);
  }
  return text;
}

/* The backup to use where the stored file is damaged. */
void name_the_backup(Findings& findings) {
  const std::string copy = newest_copy();
  if (copy.empty()) {
    findings.push_back({State::warning,
                        "backup",
                        std::string("there is none in ") + settings_folder,
                        "",
                        {{Remedy::Kind::restore_other_backup}}});
  } else {
    findings.push_back({State::ok,
                        "backup",
                        copy + " of " + time_of(copy) + " is whole",
                        "",
                        {{Remedy::Kind::restore_backup, copy}}});
  }
}

void look_at_bytes(Findings& findings, const std::string& bytes) {
  const settings::StoredFile stored = settings::read_stored_file(bytes);
  if (stored.order != settings::host_byte_order() && stored.order != settings::ByteOrder::unknown) {
    findings.push_back({State::problem, "configuration",
                        "is of a machine with the other byte order",
                        "put a backup of this gateway back"});
  }
  const size_t count = stored.findings.size();
  for (size_t i = 0; i < std::min(count, few_findings); ++i) {
    findings.push_back(finding_of(stored.findings[i]));
  }
  if (count > few_findings) {
    findings.push_back({settings::is_plausible(stored) ? State::warning : State::problem,
                        "configuration",
                        "and " + std::to_string(count - few_findings) + " more",
                        "",
                        {{Remedy::Kind::inspect_all}}});
  }
  if (!settings::is_plausible(stored)) {
    name_the_backup(findings);
  }
  if (stored.findings.empty()) {
    findings.push_back({State::ok, "configuration", "is whole and plausible", ""});
  }
}

/* Whether an entry in use is bound to a span that ends before the day does. */
template <typename Region>
bool has_spans(const Region& region) {
  const int32_t capacity = static_cast<int32_t>(std::size(decltype(region.entries){}));
  for (int32_t i = 0; i < region.count && i < capacity; ++i) {
    const auto& entry = region.entries[i];
    const bool begins_later = entry.start_hour != 0 || entry.start_minute != 0;
    const bool ends_before =
        entry.stop_hour < 23 || (entry.stop_hour == 23 && entry.stop_minute < 59);
    if (begins_later || ends_before) {
      return true;
    }
  }
  return false;
}

/* What the settings' own check warns of: a rule that matches no packet, say. */
void look_at_warnings(Findings& findings, const settings::Settings& stored) {
  const auto warnings =
      settings::read(settings::write(stored), settings::Origin::stored, *stored.time_zone).warnings;
  for (size_t i = 0; i < std::min(warnings.size(), few_findings); ++i) {
    findings.push_back({State::warning, "settings", to_text(warnings[i]),
                        warnings[i].locks_out
                            ? "add an entry for what shall pass, or switch the list off, unless it "
                              "is meant so"
                            : "set the entry again, or delete it, unless it is meant so"});
  }
  if (warnings.size() > few_findings) {
    findings.push_back({State::warning,
                        "settings",
                        "and " + std::to_string(warnings.size() - few_findings) + " more",
                        "",
                        {{Remedy::Kind::list_warnings}}});
  }
}

/* A clock that was never set, and the zone of time spans. Returns whether that is all there is to say of the clock. */
bool check_time_zone(Findings& findings, bool is_used) {
  const ClockState state = clock_state();
  const std::string spans = "UTC" + settings::offset_text(state.zone.offset_minutes);
  const bool has_zone = !state.zone.is_utc();
  if (!state.is_set && (is_used || has_zone)) {
    findings.push_back({State::problem, "clock", "was never set, so time spans mean other hours",
                        "set it, by NTP for one; until then time spans are left as they are"});
    return true;
  }
  if (!has_zone) {
    return false;
  }
  if (!state.offset_now) {
    findings.push_back({State::problem, "clock", state.problem,
                        "install the zone's file, or set time_zone to a POSIX string; until then "
                        "time spans stay at " +
                            spans});
  } else if (state.is_due()) {
    findings.push_back({State::problem,
                        "clock",
                        "time spans are still at " + spans + ", and " + state.zone.name +
                            " is at UTC" + settings::offset_text(*state.offset_now),
                        "",
                        {{Remedy::Kind::shift_spans}}});
  } else {
    findings.push_back(
        {State::ok, "clock", "time spans follow " + state.zone.name + " (" + spans + ")", ""});
  }
  return true;
}

void check_clock(Findings& findings, const settings::Settings& stored) {
  const std::time_t now = std::time(nullptr);
  const bool is_used = has_spans(*stored.url_filter) || has_spans(*stored.mac_filter) ||
                       has_spans(*stored.mac6_filter);
  try {
    if (check_time_zone(findings, is_used)) {
      return;
    }
  } catch (const Error& failure) {
    findings.push_back({State::problem, time_zone_path,
                        without_path(failure.what(), time_zone_path),
                        "remove it, then set time_zone again"});
    return;
  }
  std::tm local = {};
  localtime_r(&now, &local);
  if (local.tm_gmtoff == 0) {
    findings.push_back({State::ok, "clock", "runs in UTC, as time spans do", ""});
    return;
  }
  char offset[16] = {};
  std::strftime(offset, sizeof offset, "%z", &local);
  findings.push_back({is_used ? State::warning : State::ok, "clock",
                      std::string("runs at UTC") + offset + ", and time spans are in UTC",
                      is_used
                          ? "check that the spans of url_filter, mac_filter and mac6_filter are "
                            "meant in UTC"
                          : ""});
}

void check_wan(Findings& findings) {
  const std::string wan = quietly(internet_wan_name);
  if (wan.empty()) {
    findings.push_back({State::warning,
                        "Internet WAN",
                        "there is none: no IPv4 default route",
                        "",
                        {{Remedy::Kind::connect_wan}}});
  } else {
    findings.push_back({State::ok, "Internet WAN", wan, ""});
  }
}

void check_drift(const Options& options, Findings& findings, const settings::Settings& stored) {
  if (!missing_tools().empty()) {
    findings.push_back({State::warning, "rules",
                        "were not compared with the settings, since tools are missing",
                        "run doctor once more when they are there"});
    return;
  }
  const RuleComparison comparison = compare_rules(options);
  const std::vector<Drift> found = drifts(comparison);
  const bool is_bare = comparison.tables[0].is_bare || comparison.tables[1].is_bare;
  if (found.empty()) {
    findings.push_back({State::ok, "rules", "follow the settings", ""});
  } else if (is_bare) {
    findings.push_back(
        {State::problem, "rules", in_words(found.front()), "", {{Remedy::Kind::start_at_boot}}});
  } else {
    findings.push_back({State::problem, "rules",
                        "differ from the settings in " + std::to_string(found.size()) +
                            (found.size() == 1 ? " place: " : " places; the first: ") +
                            in_words(found.front()),
                        "", remedies_for(found, stored, quietly(internet_wan_name))});
  }
  for (const std::string& note : comparison.notes) {
    findings.push_back({State::warning, "rules", note, ""});
  }
}

}  // namespace

void check_configuration(Findings& findings) {
  std::error_code error;
  const auto kind = std::filesystem::status(configuration_path, error);
  if (std::filesystem::exists(kind) && !std::filesystem::is_regular_file(kind)) {
    return;  // Told of with the files.
  }
  std::optional<std::string> bytes;
  try {
    bytes = read_start_if_exists(configuration_path, largest_stored_file);
  } catch (const Error& failure) {
    findings.push_back({State::problem, "configuration",
                        without_path(failure.what(), configuration_path),
                        "see to the storage it lies on; until then no setting is known"});
    name_the_backup(findings);
  }
  if (bytes) {
    look_at_bytes(findings, *bytes);
  }
}

namespace {

Finding finding_of(const ConfirmationStatus& pending) {
  constexpr char name[] = "confirmation";
  switch (pending.state) {
    case ConfirmationState::waiting:
      return {State::warning,
              name,
              "is pending; without it the old settings are restored",
              "",
              {{Remedy::Kind::confirm}}};
    case ConfirmationState::overdue:
      return {State::warning, name, "is overdue; the old settings are being restored", ""};
    case ConfirmationState::retrying:
      return {State::problem, name,
              "is overdue, and the old settings cannot be restored: " + pending.reason,
              "mend the cause; the timer tries again every 30 seconds at the latest"};
    case ConfirmationState::timer_gone:
      break;
  }
  return {State::problem,
          name,
          pending.reason.empty()
              ? "is pending, and the timer that restores the old settings is gone"
              : "is pending, the timer is gone, and the rollback has failed: " + pending.reason,
          "",
          {{pending.seconds_left == 0 ? Remedy::Kind::revert : Remedy::Kind::confirm_in_time}}};
}

}  // namespace

void check_confirmation(Findings& findings) {
  try {
    if (const auto pending = confirmation_status()) {
      findings.push_back(finding_of(*pending));
    }
  } catch (const Error& failure) {
    findings.push_back(
        {State::problem, "confirmation", failure.what(),
         std::string("remove ") + pending_path + "; the settings that are stored now are kept"});
  }
}

void check_settings(const Options& options, Findings& findings) {
  try {
    const settings::Settings stored = stored_or_defaults();
    look_at_warnings(findings, stored);
    check_clock(findings, stored);
    check_wan(findings);
    check_drift(options, findings, stored);
  } catch (const Error& failure) {
    findings.push_back({State::problem, "rules", failure.what(),
                        "mend what stands above, then run doctor once more"});
  }
}

Findings examine(const Options& options) {
  Findings findings;
  check_tools(findings);
  check_kernel(findings);
  check_files(findings);
  check_configuration(findings);
  check_confirmation(findings);
  check_settings(options, findings);
  return findings;
}

}  // namespace management
