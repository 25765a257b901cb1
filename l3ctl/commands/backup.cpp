/* l3ctl backup, restore: the configuration file as a whole, out and back in. */
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>

#include "executor/system.hpp"
#include "l3_advance/l3_advance.h"
#include "l3ctl/answer.hpp"
#include "l3ctl/commands.hpp"
#include "l3ctl/input/read_input.hpp"
#include "l3ctl/views/change_report.hpp"
#include "l3ctl/views/json_output.hpp"
#include "l3ctl/views/stored_report.hpp"
#include "management/change/apply.hpp"
#include "management/change/change.hpp"
#include "management/store/paths.hpp"
#include "management/store/setters.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/time_zone_file.hpp"
#include "management/store/unsafe_text.hpp"
#include "management/system/atomic_file.hpp"
#include "management/system/escape.hpp"
#include "settings/stored_file/span_lists.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;
using settings::StoredFile;

struct Copy {
  std::string file;
  bool force = false;
  bool file_only = false;
};

bool is_torn(const StoredFile& stored) {
  return std::any_of(stored.findings.begin(), stored.findings.end(),
                     [](const settings::StoredFinding& finding) {
                       return finding.kind == settings::StoredFinding::Kind::torn;
                     });
}

void refuse_stored_file_as_target(const std::string& file) {
  std::error_code error;
  if (std::filesystem::equivalent(file, configuration_path, error)) {
    throw Error(file + ": is the stored file itself; nothing was changed",
                ErrorKind::invalid_input);
  }
}

std::string in_words(const settings::TimeZone& zone) {
  return "UTC" + settings::offset_text(zone.offset_minutes) + " (" + zone.name + ")";
}

/* The time spans in a backup are in UTC at the offset of now. */
void write_zone_of_backup(const std::string& backup, const settings::TimeZone& zone) {
  const std::string path = zone_file_of(backup);
  std::error_code error;
  // One of an older backup under this name would be taken for this one's.
  if (!zone.is_utc() || std::filesystem::exists(path, error)) {
    write_zone_file({zone, std::nullopt}, path);
  }
}

void note_lost_zone(const settings::TimeZone& zone) {
  if (!zone.is_utc()) {
    inform("note: standard output has no room for the time zone: the spans are at " +
           in_words(zone));
  }
}

/* The zone of a backup with its offset of now, and its spans shifted to that. */
settings::TimeZone shift_backup(const settings::TimeZone& zone, std::string& image) {
  const auto offset = settings::offset_now(zone.name);
  if (!offset.value) {
    inform("warning: the time zone of the backup is not known here (it must be " + offset.allowed +
           "): its spans stay at " + in_words(zone));
    return zone;
  }
  image = settings::with_shifted_spans(std::move(image), zone.offset_minutes, *offset.value);
  return {zone.name, *offset.value};
}

/* What becomes the zone of the stored spans with a backup; nothing where that stays as it is. */
std::optional<settings::TimeZone> zone_of_backup(const std::string& file, std::string& image) {
  const auto beside = file == "-" ? std::nullopt : read_zone_file(zone_file_of(file));
  if (beside) {
    return beside->zone.is_utc() ? settings::TimeZone() : shift_backup(beside->zone, image);
  }
  if (const settings::TimeZone stored = time_zone_to_show(); !stored.is_utc()) {
    inform("note: the backup comes without its time zone, so its spans are taken to be at " +
           in_words(stored));
  }
  return std::nullopt;
}

int backup(const Context& context, const Copy& copy) {
  refuse_stored_file_as_target(copy.file);
  if (context.json && copy.file == "-") {
    throw Error("a backup to standard output leaves no room for --json", ErrorKind::invalid_input);
  }
  // No other l3ctl is in the middle of a change while the file is read.
  const Lock no_change = Lock(context);
  const std::string bytes = read_up_to(configuration_path, largest_stored_file);
  const StoredFile stored = inspect_stored_file(configuration_path, bytes);
  print_findings(configuration_path, stored);
  if (is_torn(stored) && !copy.force) {
    throw Error("no backup was made; --force makes one all the same", ErrorKind::stored_damaged);
  }
  if (copy.file == "-") {
    note_lost_zone(stored_time_zone());
    std::cout << bytes;
    return exit_done;
  }
  remove_stale_temporaries_of(copy.file);
  write_atomically(copy.file, bytes);
  write_zone_of_backup(copy.file, stored_time_zone());
  note_change_made();
  const std::string done =
      "backup: " + std::to_string(bytes.size()) + " bytes written to " + copy.file;
  if (context.json) {
    const Json result = {{"done", done},
                         {"id", nullptr},
                         {"failed", Json::array()},
                         {"failed_rules", Json::array()},
                         {"messages", reported_messages()}};
    print_json(result);
  } else if (!context.quiet) {
    std::cout << escape(done) << '\n';
  }
  return exit_done;
}

/* Whether the bytes begin as JSON settings do; no configuration file begins so. */
bool begins_as_settings(const std::string& bytes) {
  const size_t begin = bytes.find_first_not_of(" \t\r\n");
  return begin != std::string::npos && bytes[begin] == '{';
}

/* The bytes to put in place; nothing is returned for a file that should not be. */
std::string checked_image(const Copy& copy) {
  const std::string bytes = read_input(copy.file, largest_stored_file);
  if (begins_as_settings(bytes)) {
    throw Error(input_name(copy.file) + ": is a settings file, no backup: \"l3ctl apply " +
                    copy.file + "\" takes it; nothing was changed",
                ErrorKind::invalid_input);
  }
  const StoredFile stored = settings::read_stored_file(bytes);
  print_findings(copy.file, stored);
  if (!settings::is_plausible(stored) && !copy.force) {
    throw Error(input_name(copy.file) +
                    ": torn or implausible; nothing was changed, --force restores it all the same",
                ErrorKind::invalid_input);
  }
  // Not even --force lets one through.
  if (const std::string command = find_unsafe_text(settings::settings_of(stored));
      !command.empty()) {
    throw Error(input_name(copy.file) + ": " + command + "; nothing was changed",
                ErrorKind::invalid_input);
  }
  if (stored.order != settings::ByteOrder::unknown && stored.order != settings::host_byte_order()) {
    inform("note: " + input_name(copy.file) + " is " + name_of(stored.order) +
           " and is converted; the platform's own bytes in route_qos (reserved2) stay as they "
           "are");
  }
  return settings::with_clean_lines(stored.image);
}

/* IPsec rules lie outside the chains that the master switch empties. The call does nothing for the
 * value that is in memory, which the load has just put there, so another is put there first. */
int32_t set_ipsec_again() {
  const uint32_t pass = fw_rules_table.ipsec_pass_ctrl;
  fw_rules_table.ipsec_pass_ctrl = ~pass;
  return gl3_web_set_ipsec_pass_ctrl(pass);
}

/* As start-up, the generator for the switch leaves the DHCP rules out; here they are settings as
 * any other. */
int32_t make_dhcp_rules() {
  return config_fw_dhcp() == 0 && save_fw() == 0 ? 0 : -1;
}

/*
 * Brings what runs in line with the records that are loaded. Start-up would append every hook of the
 * tree once more, and the set calls of the filters do nothing for what is in memory already; the
 * master switch is the call that empties every chain and makes all rules anew, or none. What it
 * leaves out follows. VPN pass-through is set without the call that reads it, which would hand the
 * stored state to the platform and leave nothing to change.
 */
void bring_in_line(Change& change) {
  const settings::Settings& now = change.stored();
  executor::system_executor().allow_failure("iptables -t filter -D FORWARD -p udp ");
  change.call("firewall", [&] { return set_firewall(*now.firewall); });
  if (*now.firewall && now.dhcp_filter->dhcp_mac_filter_ctrl != 0) {
    change.call("dhcp_filter", make_dhcp_rules);
  }
  change.call("ipsec_pass_through", set_ipsec_again);
  change.call("route_qos", gl3_init_qos);
  change.call("vpn_pass_through",
              [&] { return gl3_web_set_vpn_pass_through(*now.vpn_pass_through ? 1 : 0); });
}

int restore(const Context& context, const Copy& copy) {
  std::string image = checked_image(copy);
  const auto zone = zone_of_backup(copy.file, image);
  Change change(context, Preconditions{.allow_damaged = true, .allow_unsafe_text = true});
  write_atomically(configuration_path, image);
  if (zone) {
    change.call("time_zone",
                [&] { return zone->is_utc() ? remove_time_zone() : store_time_zone(*zone); });
  }
  if (copy.file_only) {
    return report(context, change,
                  "restore: the file is in place; its rules come with the next start");
  }
  change.load();
  bring_in_line(change);
  return report(context, change, "restore: the file is in place, and the rules follow it");
}

}  // namespace

void add_backup_command(CLI::App& app, Context& context) {
  CLI::App* command =
      app.add_subcommand("backup", "Copy what is stored into a file, byte for byte");
  auto copy = std::make_shared<Copy>();
  command->footer(
      "Where time_zone is set, FILE.time_zone beside it says of which zone and offset its time "
      "spans\n"
      "are.");
  command->add_option("FILE", copy->file, "Where to; - is standard output")->required();
  command->add_flag("--force", copy->force, "Also when what is stored is torn");
  command->callback(
      [&context, copy] { context.action = [&context, copy] { return backup(context, *copy); }; });
}

void add_restore_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand(
      "restore", "Check a backup of either byte order, put it in place and follow it");
  command->footer(
      "Programs of the device that have loaded the old settings would store them again with their\n"
      "next change: restart them. FILE.time_zone, which a backup has where time_zone was set, "
      "comes\n"
      "back too: the local hours of its time spans stay what they were.");
  auto copy = std::make_shared<Copy>();
  command->add_option("FILE", copy->file, "The backup; - is standard input")->required();
  command->add_flag("--force", copy->force, "Also when it is torn or implausible");
  command->add_flag("--file-only", copy->file_only, "Leave the running rules as they are");
  command->callback(
      [&context, copy] { context.action = [&context, copy] { return restore(context, *copy); }; });
}

}  // namespace l3ctl
