#include "l3ctl/views/stored_report.hpp"

#include <algorithm>
#include <filesystem>

#include "l3ctl/context.hpp"

namespace l3ctl {

using settings::StoredFile;
using settings::StoredFinding;

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

void print_findings(const std::string& file, const StoredFile& stored) {
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
