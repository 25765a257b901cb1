#include "l3ctl/commands/explain_notes.hpp"

#include <algorithm>

#include "l3ctl/views/colour.hpp"
#include "l3ctl/views/problem_report.hpp"
#include "management/system/escape.hpp"

namespace l3ctl {

namespace {

using settings::Settings;
using settings::Verdict;

/* A device filter without a device to judge. */
void note_missing_mac(const settings::Packet& packet, const Verdict& verdict, Notes& notes) {
  std::vector<settings::Step> met = verdict.passed;
  met.push_back({verdict.decided_by, verdict.reason});
  for (const settings::Step& step : met) {
    const std::string section = step.setting.substr(0, step.setting.find('.'));
    const bool is_of_devices =
        section == "mac_filter" || section == "mac6_filter" || section == "dhcp_filter";
    if (is_of_devices && !packet.mac && step.what.starts_with("not on the ")) {
      add_note(notes, "no --mac is given, so " + section +
                          " is judged as for a device that is on no list");
    }
  }
}

/* What the settings' own check has to say of those that the packet passed: a rule that matches
 * nothing is the usual reason why one that should stop it does not. */
void add_warnings(const Verdict& verdict, const Settings& settings, Notes& notes) {
  const settings::Reading reading =
      settings::read(settings::write(settings), settings::Origin::stored,
                     settings.time_zone.value_or(settings::TimeZone()));
  for (const settings::Problem& warning : reading.warnings) {
    for (const settings::Step& step : verdict.passed) {
      if (!warning.locks_out && warning.path.starts_with(step.setting + ".")) {
        add_note(notes, to_text(warning));
      }
    }
  }
}

/* The verdict is about one query; the same name can be looked up in ways that the filter misses. */
void note_url_filter_limits(const settings::Packet& packet, const Settings& settings,
                            Notes& notes) {
  const bool has_ports =
      packet.protocol == settings::Protocol::udp || packet.protocol == settings::Protocol::tcp;
  const bool is_look_up =
      packet.from == settings::Side::lan && has_ports && packet.destination_port == 53;
  if (is_look_up && *settings.firewall && settings.url_filter->url_filter_ctrl != 0) {
    add_note(notes, url_filter_limits);
  }
}

}  // namespace

void add_note(Notes& notes, const std::string& note) {
  if (std::find(notes.begin(), notes.end(), note) == notes.end()) {
    notes.push_back(note);
  }
}

void add_notes(const settings::Packet& packet, const Verdict& verdict, const Settings& settings,
               Notes& notes) {
  note_missing_mac(packet, verdict, notes);
  add_warnings(verdict, settings, notes);
  note_url_filter_limits(packet, settings, notes);
}

std::string notes_text(const Notes& notes) {
  std::string text;
  for (const std::string& note : notes) {
    text += "  " + painted(Paint::warning, "note:") + " " + management::escape(note) + "\n";
  }
  return text;
}

}  // namespace l3ctl
