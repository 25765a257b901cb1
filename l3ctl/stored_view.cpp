#include "l3ctl/stored_view.hpp"

#include <algorithm>
#include <filesystem>

#include "l3ctl/context.hpp"
#include "l3ctl/library.hpp"

namespace l3ctl {

using settings::ByteOrder;
using settings::StoredFile;
using settings::StoredFinding;

StoredFile judged(const std::string& file, std::string_view bytes) {
  StoredFile stored = settings::read_stored_file(bytes);
  const bool is_other =
      stored.order != ByteOrder::unknown && stored.order != settings::host_byte_order();
  if (is_other && is_in_use(file)) {
    stored.findings.insert(
        stored.findings.begin(),
        {StoredFinding::Kind::implausible, 0, "the file",
         std::string("was written by a ") + name_of(stored.order) +
             " host: the library of this one reads the bytes of every word in the wrong order",
         // What else is wrong would be taken over.
         settings::is_plausible(stored)
             ? std::string("convert it: \"l3ctl restore ") + configuration_path + "\""
             : "put a backup back (\"l3ctl restore BACKUP\")"});
  }
  return stored;
}

bool is_in_use(const std::string& file) {
  std::error_code error;
  return file == configuration_path || std::filesystem::equivalent(file, configuration_path, error);
}

const char* name_of(ByteOrder order) {
  return order == ByteOrder::little ? "little-endian"
         : order == ByteOrder::big  ? "big-endian"
                                    : "unknown";
}

const char* name_of(StoredFinding::Kind kind) {
  return kind == StoredFinding::Kind::torn          ? "torn"
         : kind == StoredFinding::Kind::implausible ? "implausible"
                                                    : "note";
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
          {"advice",
           is_in_use(file) ? nlohmann::ordered_json(finding.advice) : nlohmann::ordered_json()}};
}

void tell_findings(const std::string& file, const StoredFile& stored) {
  const bool has_advice = is_in_use(file);
  const size_t count = stored.findings.size();
  for (size_t i = 0; i < std::min(count, few_findings); ++i) {
    complain(line_of(stored.findings[i]));
    if (has_advice) {
      complain("  what to do: " + stored.findings[i].advice);
    }
  }
  if (count > few_findings) {
    const std::string command = has_advice ? "l3ctl inspect" : "l3ctl inspect " + file;
    complain("and " + std::to_string(count - few_findings) + " more; \"" + command +
             " --all\" tells them");
  }
}

}  // namespace l3ctl
