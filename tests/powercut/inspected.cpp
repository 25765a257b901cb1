#include "inspected.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "settings/stored_file/stored_file.hpp"

using settings::StoredFinding;
using Findings = std::vector<StoredFinding>;

namespace {

bool is_same(const StoredFinding& one, const StoredFinding& other) {
  return one.where == other.where && one.what == other.what;
}

/* Findings about a torn file that the whole ones do not have: these hold values that settings cannot express. */
Findings findings_of(const std::string& file, const std::vector<std::string>& whole_files) {
  Findings all = settings::read_stored_file(file).findings;
  std::erase_if(
      all, [](const StoredFinding& finding) { return finding.kind == StoredFinding::Kind::note; });
  for (const std::string& whole : whole_files) {
    for (const StoredFinding& usual : settings::read_stored_file(whole).findings) {
      std::erase_if(all, [&](const StoredFinding& finding) { return is_same(finding, usual); });
    }
  }
  return all;
}

bool has(const std::string& text, const char* words) {
  return text.find(words) != std::string::npos;
}

bool is_about_the_end(const StoredFinding& finding, size_t size) {
  const std::string whole = "short: " + std::to_string(size) + " of 15019 bytes";
  return finding.kind == StoredFinding::Kind::torn && finding.where == "the file" &&
         finding.what.rfind(size == 0 ? "is empty" : whole, 0) == 0 &&
         (size == 0 || has(finding.what, "; the last part is "));
}

/* Between the records of a change of the level. */
bool is_about_the_level(const StoredFinding& finding) {
  return finding.kind == StoredFinding::Kind::torn &&
         finding.where == "fw6_rules_table.security_level" &&
         finding.what.rfind("differs from ", 0) == 0;
}

bool is_about_a_list(const StoredFinding& finding) {
  return finding.kind == StoredFinding::Kind::implausible ||
         has(finding.what, " not empty behind the count of ") ||
         has(finding.what, "is in use by the count, but empty");
}

std::string text_of(const StoredFinding& finding) {
  return finding.where + ": " + finding.what;
}

}  // namespace

void inspect(const std::string& file, Torn torn, const std::vector<std::string>& whole_files) {
  const Findings findings = findings_of(file, whole_files);
  if (torn == Torn::short_file) {
    EXPECT_TRUE(std::any_of(
        findings.begin(), findings.end(),
        [&](const StoredFinding& finding) { return is_about_the_end(finding, file.size()); }))
        << "nothing about a file of " << file.size() << " bytes";
    return;
  }
  for (const StoredFinding& finding : findings) {
    EXPECT_TRUE(is_about_the_level(finding) ||
                (torn == Torn::cut_section && is_about_a_list(finding)))
        << text_of(finding);
  }
}
