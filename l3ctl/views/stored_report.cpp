#include "l3ctl/views/stored_report.hpp"

#include <algorithm>
#include <filesystem>

#include "l3ctl/context.hpp"
#include "management/store/paths.hpp"

namespace l3ctl {

using settings::StoredFile;
using settings::StoredFinding;

namespace {

using settings::Remedy;

constexpr char replace_the_file[] =
    "put a backup back (\"l3ctl restore BACKUP\"), or remove the file: the next start makes one "
    "with defaults";

/* The command of a section's switch or list. */
std::string command_of(const std::string& section) {
  if (section == "port_scan_protection") {
    return "port-scan";
  }
  if (section == "ipsec_pass_through") {
    return "ipsec";
  }
  if (section == "route_qos") {
    return "qos";
  }
  return section == "dhcp_filter" ? "dhcp-filter" : "mac-filter";
}

/* A command that puts the stored file in place of itself. */
std::string restore_itself(const char* options) {
  return std::string("\"l3ctl restore ") + options + configuration_path + "\"";
}

}  // namespace

std::string advice_on(const StoredFinding& finding) {
  const std::string command = command_of(finding.section);
  switch (finding.remedy) {
    case Remedy::replace_file:
      return replace_the_file;
    case Remedy::replace_to_clean:
      return std::string("nothing reads it; ") + replace_the_file;
    case Remedy::restore_backup:
      return "put a backup back (\"l3ctl restore BACKUP\")";
    case Remedy::convert_file:
      return "convert it: " + restore_itself("");
    case Remedy::drop_excess:
      return restore_itself("--force ") + " leaves them out";
    case Remedy::rewrite_line:
      return restore_itself("--force ") + " writes it anew as it counts";
    case Remedy::set_switch:
      return "\"l3ctl --force " + command + " on\", or \"l3ctl --force " + command + " off\"";
    case Remedy::set_level:
      return "set the level and look at the other settings (\"l3ctl --force level low\"), or put a "
             "backup back (\"l3ctl restore BACKUP\")";
    case Remedy::rewrite_section:
      return "write the section to a file (\"l3ctl export --section " + finding.section +
             " >FILE\"), mend that and set it again (\"l3ctl --force apply FILE\"), or put a "
             "backup "
             "back (\"l3ctl restore BACKUP\")";
    case Remedy::delete_entry:
      return "\"l3ctl " + command + " delete " + finding.entry + "\"";
    case Remedy::check_text:
      break;
  }
  return "look whether the text is the one that was set";
}

std::string line_of(const StoredFinding& finding) {
  return std::string(name_of(finding.kind)) + ": byte " + std::to_string(finding.offset) + ", " +
         finding.where + ": " + finding.what;
}

nlohmann::ordered_json as_json(const std::string& file, const StoredFinding& finding) {
  return {{"kind", name_of(finding.kind)},
          {"offset", finding.offset},
          {"where", finding.where},
          {"what", finding.what},
          {"advice", is_in_use(file) ? nlohmann::ordered_json(advice_on(finding))
                                     : nlohmann::ordered_json()}};
}

void print_findings(const std::string& file, const StoredFile& stored) {
  const bool has_advice = is_in_use(file);
  const size_t count = stored.findings.size();
  for (size_t i = 0; i < std::min(count, few_findings); ++i) {
    complain(line_of(stored.findings[i]));
    if (has_advice) {
      complain("  what to do: " + advice_on(stored.findings[i]));
    }
  }
  if (count > few_findings) {
    const std::string command = has_advice ? "l3ctl inspect" : "l3ctl inspect " + file;
    complain("and " + std::to_string(count - few_findings) + " more; \"" + command +
             " --all\" tells them");
  }
}

}  // namespace l3ctl
