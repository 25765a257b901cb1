#include "l3ctl/stored_damage.hpp"

#include "l3ctl/context.hpp"
#include "l3ctl/library.hpp"
#include "l3ctl/stored_view.hpp"
#include "l3ctl/whole_file.hpp"

namespace l3ctl {

namespace {

using settings::StoredFinding;

/* The first fault, and how many follow. */
std::string in_one_line(const settings::StoredFile& stored) {
  const StoredFinding* first = nullptr;
  size_t more = 0;
  for (const StoredFinding& finding : stored.findings) {
    if (finding.kind == StoredFinding::Kind::note) {
      continue;
    }
    more += first != nullptr ? 1 : 0;
    first = first != nullptr ? first : &finding;
  }
  if (first == nullptr) {
    return "";
  }
  return std::string(configuration_path) + " is " + name_of(first->kind) + " (" + first->where +
         ": " + first->what + (more == 0 ? "" : "; and " + std::to_string(more) + " more") + ")";
}

}  // namespace

std::string stored_damage() {
  if (!stored_exists()) {
    return "";
  }
  try {
    return in_one_line(
        judged(configuration_path, read_up_to(configuration_path, largest_stored_file)));
  } catch (const Failure&) {
    return "";  // Whoever loads a file that cannot be read tells why.
  }
}

void warn_of_stored_damage() {
  if (const std::string damage = stored_damage(); !damage.empty()) {
    complain("warning: " + damage + "; \"l3ctl inspect\" tells all");
  }
}

}  // namespace l3ctl
